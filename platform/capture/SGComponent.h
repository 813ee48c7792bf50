#pragma once
// The sequence grabber: one instance holds channels that record from cameras and hands
// every frame to a data procedure inside Idle. Nothing is written to disk; frames reach
// only the data procedure. Main thread only.

#include <memory>
#include <vector>

#include "platform/capture/SGChannel.h"
#include "platform/capture/SGTypes.h"

class SGComponent {
public:
    // A new instance of the default sequence grabber.
    static std::unique_ptr<SGComponent> OpenDefault();

    SGComponent() = default;
    ~SGComponent();
    SGComponent(SGComponent const&) = delete;
    SGComponent& operator=(SGComponent const&) = delete;

    int Initialize();
    // Only seqGrabDontMakeMovie is supported: there is no movie to write.
    int SetDataRef(long flags);
    // The picture frames are meant for; kept for the client, which decodes into it itself.
    int SetGWorld(SGPixMap const& pixMap);
    int SetDataProc(SGDataProc proc, void* refCon);

    int NewChannel(OSType mediaType, SGChannel** channel);
    int DisposeChannel(SGChannel* channel);
    // The channel's device or input changed.
    int ChangedSource(SGChannel* channel);

    // Opens the cameras of the recording channels.
    int Prepare(bool preview, bool record);
    int StartRecord();
    // Grabs from every recording channel; returns the first non-zero result, such as a data
    // procedure's error or sgDeviceLostErr for a camera that vanished (recording goes on for
    // the others; the vanished channel should be disposed).
    int Idle();
    int Stop();

    SGPixMap const& GWorld() const { return mGWorld; }
    bool IsRecording() const { return mRecording; }

    // The channels' side: hands one frame to the data procedure.
    int DeliverFrame(SGChannel* channel, std::uint8_t const* data, std::size_t size,
                     std::int64_t timeUs);

private:
    bool HasChannel(SGChannel const* channel) const;

    bool mInitialized = false;
    long mDataRefFlags = 0;
    SGPixMap mGWorld;
    SGDataProc mDataProc = nullptr;
    void* mDataProcRefCon = nullptr;
    std::vector<std::unique_ptr<SGChannel>> mChannels;
    bool mRecording = false;
};
