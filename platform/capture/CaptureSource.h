#pragma once
// One camera input opened by a capture back end, its frame format settled. It holds the
// camera exclusively until destroyed, and streams between Start and Stop.

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/capture/SGTypes.h"

// Receives the frames a source delivers. Main thread, inside CaptureSource::Grab.
class CaptureFrameHandler {
public:
    virtual int OnFrame(std::uint8_t const* data, std::size_t size, std::int64_t timeUs) = 0;

protected:
    ~CaptureFrameHandler() = default;
};

class CaptureSource {
public:
    virtual ~CaptureSource() = default;

    virtual ImageDescription const& Description() const = 0;
    virtual int Start() = 0;
    virtual int Stop() = 0;
    // Hands the newest frame that arrived since the last call, if any, to `handler` and
    // returns the handler's result: 0 when nothing arrived, sgDeviceLostErr once the camera
    // has vanished (it stays so).
    virtual int Grab(CaptureFrameHandler& handler) = 0;
    // The frame rate the camera was asked for and took, in frames a second; 0 when unknown.
    virtual double FramesPerSecond() const { return 0.0; }
    // What the camera settled for instead of what was asked, for people; empty when none.
    virtual std::string Compromise() const { return {}; }
};
