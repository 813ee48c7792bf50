#include "QClasses/QSequenceGrabber.h"

#include "CoreX/CoreMachDebugLog.h"
#include "QClasses/QSGDeviceList.h"

QSequenceGrabber::~QSequenceGrabber() { CloseIF(); }

int QSequenceGrabber::OnThisDataProc(SGChannel* channel, std::uint8_t const* data, long length,
                                     long* offset, long chRefCon, std::int64_t time,
                                     short writeType) {
    return noErr;
}

bool QSequenceGrabber::OnThisModalDialogFilter(void* dialog, void* event, short* itemHit) {
    return false;
}

std::unique_ptr<SGComponent> QSequenceGrabber::OpenComponent() {
    std::unique_ptr<SGComponent> component = SGComponent::OpenDefault();
    VERIFY(component);
    return component;
}

int QSequenceGrabber::OpenInitialize() {
    CloseIF();
    mComponent = OpenComponent();
    if (!mComponent) {
        return paramErr;
    }
    int err;
    VERIFY_ERR(err = mComponent->Initialize());
    return err;
}

int QSequenceGrabber::CloseIF() {
    // Destroying the component disposes of its channels and closes their cameras.
    mComponent.reset();
    return noErr;
}

int QSequenceGrabber::SetThisDataProc() {
    if (!mComponent) {
        return paramErr;
    }
    return mComponent->SetDataProc(sDataProc, this);
}

int QSequenceGrabber::GetChannelDeviceList(SGChannel* channel, long selectionFlags,
                                           QSGDeviceList& outList) {
    outList.mComponent = mComponent.get();
    if (channel == nullptr) {
        return paramErr;
    }
    return channel->GetDeviceList(selectionFlags, outList.mDeviceList);
}

int QSequenceGrabber::sDataProc(SGChannel* channel, std::uint8_t const* data, long length,
                                long* offset, long chRefCon, std::int64_t time, short writeType,
                                void* refCon) {
    VERIFY(refCon);
    if (refCon == nullptr) {
        return paramErr;
    }
    return static_cast<QSequenceGrabber*>(refCon)->OnThisDataProc(channel, data, length, offset,
                                                                  chRefCon, time, writeType);
}

bool QSequenceGrabber::sModalDialogFilter(void* dialog, void* event, short* itemHit, void* refCon) {
    VERIFY(refCon);
    if (refCon == nullptr) {
        return false;
    }
    return static_cast<QSequenceGrabber*>(refCon)->OnThisModalDialogFilter(dialog, event, itemHit);
}
