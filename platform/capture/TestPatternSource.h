#pragma once
// One open input of the test-pattern camera: renders its eye's view of the scene at the
// size it was opened with, encodes it as MJPEG with TurboJPEG and delivers it on the steady
// clock's 1/30 s ticks. Frames are rendered into buffers made when it opens.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/capture/CaptureSource.h"
#include "platform/capture/TestPatternBackEnd.h"

class TestPatternSource : public CaptureSource {
public:
    TestPatternSource(int input, int width, int height);
    ~TestPatternSource() override;

    int Construct();  // the encoder and the frame buffers

    ImageDescription const& Description() const override { return mDescription; }
    int Start() override;
    int Stop() override;
    int Grab(CaptureFrameHandler& handler) override;
    double FramesPerSecond() const override { return 30.0; }

    // Renders and encodes the view at `seconds`; the frame is JPEGData(), `size` bytes.
    int EncodeFrame(double seconds, std::size_t& size);
    std::uint8_t const* JPEGData() const { return mJPEG.data(); }

private:
    struct TurboJPEGDestroyer {
        void operator()(void* handle) const;
    };

    int mInput;  // the slot: the test pattern's inputs, then the spare camera's
    TestPatternBackEnd::Device mDevice;
    ImageDescription mDescription;
    std::uint64_t mGeneration;
    bool mStreaming = false;
    bool mLostReported = false;
    std::int64_t mLastTick = -1;  // the last 1/30 s tick delivered
    std::vector<std::uint8_t> mPixels;
    std::vector<std::uint8_t> mJPEG;
    std::vector<std::uint8_t> mInjected;
    std::unique_ptr<void, TurboJPEGDestroyer> mCompressor;
};
