#pragma once
// Owns one open sequence grabber and turns its plain callbacks into virtual calls on the
// owning object. The camera grabbers derive from it.

#include <cstdint>
#include <memory>

#include "platform/capture/SGComponent.h"

class QSGDeviceList;

class QSequenceGrabber {
public:
    QSequenceGrabber() = default;
    virtual ~QSequenceGrabber();
    QSequenceGrabber(QSequenceGrabber const&) = delete;
    QSequenceGrabber& operator=(QSequenceGrabber const&) = delete;

    // Called with every frame while recording, inside SGComponent::Idle. The base does
    // nothing with it.
    virtual int OnThisDataProc(SGChannel* channel, std::uint8_t const* data, long length,
                               long* offset, long chRefCon, std::int64_t time, short writeType);
    // Filters events of a device settings dialog; this platform shows none.
    virtual bool OnThisModalDialogFilter(void* dialog, void* event, short* itemHit);

    // A new instance of the default sequence grabber, or null (logged).
    static std::unique_ptr<SGComponent> OpenComponent();
    // Closes, then opens and initialises a new component. paramErr when none opens.
    int OpenInitialize();
    int CloseIF();
    int Close() { return CloseIF(); }
    // Routes the component's data procedure to OnThisDataProc of this object.
    int SetThisDataProc();
    // A fresh device list of `channel` into `outList`.
    int GetChannelDeviceList(SGChannel* channel, long selectionFlags, QSGDeviceList& outList);

    static int sDataProc(SGChannel* channel, std::uint8_t const* data, long length, long* offset,
                         long chRefCon, std::int64_t time, short writeType, void* refCon);
    static bool sModalDialogFilter(void* dialog, void* event, short* itemHit, void* refCon);

    std::unique_ptr<SGComponent> mComponent;  // null when closed
};
