#include "platform/capture/SGComponent.h"

#include <algorithm>

#include "CoreX/CoreMachDebugLog.h"

std::unique_ptr<SGComponent> SGComponent::OpenDefault() { return std::make_unique<SGComponent>(); }

SGComponent::~SGComponent() { Stop(); }

bool SGComponent::HasChannel(SGChannel const* channel) const {
    return std::any_of(mChannels.begin(), mChannels.end(),
                       [channel](auto const& owned) { return owned.get() == channel; });
}

int SGComponent::Initialize() {
    mInitialized = true;
    return noErr;
}

int SGComponent::SetDataRef(long flags) {
    if ((flags & seqGrabDontMakeMovie) == 0) {
        CoreMachDebugLog("SGComponent: recording into a movie is not supported\n");
        return paramErr;
    }
    mDataRefFlags = flags;
    return noErr;
}

int SGComponent::SetGWorld(SGPixMap const& pixMap) {
    mGWorld = pixMap;
    return noErr;
}

int SGComponent::SetDataProc(SGDataProc proc, void* refCon) {
    mDataProc = proc;
    mDataProcRefCon = refCon;
    return noErr;
}

int SGComponent::NewChannel(OSType mediaType, SGChannel** channel) {
    if (channel == nullptr) {
        return paramErr;
    }
    *channel = nullptr;
    if (!mInitialized || mediaType != VideoMediaType) {
        return paramErr;
    }
    mChannels.push_back(std::make_unique<SGChannel>(*this, mediaType));
    *channel = mChannels.back().get();
    return noErr;
}

int SGComponent::DisposeChannel(SGChannel* channel) {
    auto const found =
        std::find_if(mChannels.begin(), mChannels.end(),
                     [channel](auto const& owned) { return owned.get() == channel; });
    if (found == mChannels.end()) {
        return paramErr;
    }
    mChannels.erase(found);  // closes its camera
    if (mChannels.empty()) {
        mRecording = false;
    }
    return noErr;
}

int SGComponent::ChangedSource(SGChannel* channel) {
    return HasChannel(channel) ? noErr : paramErr;
}

int SGComponent::Prepare(bool preview, bool record) {
    if (!mInitialized || (!preview && !record)) {
        return paramErr;
    }
    for (auto const& channel : mChannels) {
        if ((record && (channel->Usage() & seqGrabRecord) != 0) ||
            (preview && (channel->Usage() & seqGrabPreview) != 0)) {
            if (int const err = channel->Prepare(); err != noErr) {
                return err;
            }
        }
    }
    return noErr;
}

int SGComponent::StartRecord() {
    if (!mInitialized || (mDataRefFlags & seqGrabDontMakeMovie) == 0 || mDataProc == nullptr) {
        return paramErr;
    }
    for (auto const& channel : mChannels) {
        if ((channel->Usage() & seqGrabRecord) == 0) {
            continue;
        }
        int err = channel->Prepare();
        if (err == noErr) {
            err = channel->StartRecord();
        }
        if (err != noErr) {
            return err;
        }
    }
    mRecording = true;
    return noErr;
}

int SGComponent::Idle() {
    if (!mRecording) {
        return noErr;
    }
    int result = noErr;
    for (auto const& channel : mChannels) {
        int const err = channel->Idle();
        if (result == noErr) {
            result = err;
        }
    }
    return result;
}

int SGComponent::Stop() {
    int result = noErr;
    for (auto const& channel : mChannels) {
        int const err = channel->Stop();
        if (result == noErr) {
            result = err;
        }
    }
    mRecording = false;
    return result;
}

int SGComponent::DeliverFrame(SGChannel* channel, std::uint8_t const* data, std::size_t size,
                              std::int64_t timeUs) {
    if (mDataProc == nullptr) {
        return noErr;
    }
    long offset = 0;
    return mDataProc(channel, data, static_cast<long>(size), &offset, 0, timeUs, seqGrabWriteAppend,
                     mDataProcRefCon);
}
