#include "platform/capture/TestPatternSource.h"

#include <chrono>
#include <cmath>
#include <turbojpeg.h>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/capture/TestPatternScene.h"

namespace {

constexpr int kFramesPerSecond = 30;
constexpr int kJPEGQuality = 85;
// Grabs of the two eyes closer together than half a frame belong to one master-clock tick.
constexpr std::int64_t kPairWindowUs = 1000000 / kFramesPerSecond / 2;

std::int64_t NowMicroseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The scene starts when the first input of the process starts, so that every run shows the
// same sequence: the eyes of two runs that each take their 11th frame see one moment.
std::int64_t SceneStartMicroseconds() {
    static std::int64_t const sStart = NowMicroseconds();
    return sStart;
}

}  // namespace

void TestPatternSource::TurboJPEGDestroyer::operator()(void* handle) const { tjDestroy(handle); }

TestPatternSource::TestPatternSource(int input, int width, int height)
    : mInput(input),
      mDevice(input == TestPatternBackEnd::kSpareSlot ? TestPatternBackEnd::kSpare
                                                      : TestPatternBackEnd::kMain),
      mGeneration(TestPatternBackEnd::PlugGeneration(mDevice)) {
    mDescription.cType = kCodecMJPEG;
    mDescription.width = static_cast<std::int16_t>(width);
    mDescription.height = static_cast<std::int16_t>(height);
}

TestPatternSource::~TestPatternSource() { TestPatternBackEnd::ReleaseInput(mInput); }

int TestPatternSource::Construct() {
    mCompressor.reset(tjInitCompress());
    VERIFY(mCompressor);
    if (!mCompressor) {
        return sgDeviceErr;
    }
    int const width = mDescription.width;
    int const height = mDescription.height;
    mPixels.assign(static_cast<std::size_t>(width) * height * 4, 0);
    mJPEG.assign(tjBufSize(width, height, TJSAMP_422), 0);
    mDescription.dataSize = static_cast<std::int32_t>(mJPEG.size());
    return noErr;
}

int TestPatternSource::Start() {
    if (TestPatternBackEnd::StreamingRefused()) {
        CoreMachDebugLog("TestPatternSource: '%s' cannot stream: no bandwidth left\n",
                         TestPatternBackEnd::SlotName(mInput));
        return sgBandwidthErr;
    }
    SceneStartMicroseconds();
    mStreaming = true;
    mLastTick = -1;  // the first grab delivers at once
    return noErr;
}

int TestPatternSource::Stop() {
    mStreaming = false;
    return noErr;
}

int TestPatternSource::EncodeFrame(double seconds, std::size_t& size) {
    int const width = mDescription.width;
    int const height = mDescription.height;
    auto const eye = mInput == 1 ? TestPatternScene::kRightEye : TestPatternScene::kLeftEye;
    TestPatternScene::Render(seconds, eye, mPixels.data(), width * 4, width, height);
    unsigned char* jpeg = mJPEG.data();
    unsigned long jpegSize = mJPEG.size();
    // The buffer holds the largest JPEG of this size: the encoder never reallocates it.
    if (tjCompress2(mCompressor.get(), mPixels.data(), width, width * 4, height, TJPF_BGRA, &jpeg,
                    &jpegSize, TJSAMP_422, kJPEGQuality, TJFLAG_NOREALLOC) != 0) {
        CoreMachDebugLog("TestPatternSource: encoding failed: %s\n",
                         tjGetErrorStr2(mCompressor.get()));
        return sgDeviceErr;
    }
    size = jpegSize;
    return noErr;
}

int TestPatternSource::Grab(CaptureFrameHandler& handler) {
    if (!TestPatternBackEnd::IsPlugged(mDevice) ||
        mGeneration != TestPatternBackEnd::PlugGeneration(mDevice)) {
        if (!mLostReported) {
            mLostReported = true;
            CoreMachDebugLog("TestPatternSource: '%s' was unplugged\n",
                             TestPatternBackEnd::SlotName(mInput));
        }
        return sgDeviceLostErr;
    }
    if (!mStreaming || TestPatternBackEnd::Frozen()) {
        return noErr;
    }
    std::int64_t const now = NowMicroseconds();
    if (TestPatternBackEnd::TakeInjectedFrame(mInput, mInjected)) {
        TestPatternBackEnd::NoteFrameDelivered();
        return handler.OnFrame(mInjected.data(), mInjected.size(), now);
    }
    // Both eyes render the scene at the ticks of one clock. A tick boundary can fall between
    // the two grabs of one master-clock tick: the eye grabbed second then shows the moment
    // the first one read, not the next, so the pair never differs in time.
    std::int64_t const sinceStart = now - SceneStartMicroseconds();
    std::int64_t tick = sinceStart * kFramesPerSecond / 1000000;
    std::int64_t otherTick = 0;
    std::int64_t otherTimeUs = 0;
    int const otherInput = mInput == 0 ? 1 : mInput == 1 ? 0 : -1;  // the spare has none
    if (TestPatternBackEnd::LastClockTick(otherInput, otherTick, otherTimeUs) &&
        now - otherTimeUs < kPairWindowUs && otherTick < tick) {
        tick = otherTick;
    } else {
        TestPatternBackEnd::NoteClockTick(mInput, tick, now);
    }
    bool const freeRunning = TestPatternBackEnd::FreeRunning();
    if (!freeRunning && tick <= mLastTick) {
        return noErr;
    }
    mLastTick = tick;
    double const seconds =
        freeRunning ? sinceStart / 1e6 : static_cast<double>(tick) / kFramesPerSecond;
    std::size_t size = 0;
    int const err = EncodeFrame(seconds, size);
    if (err != noErr) {
        return err;
    }
    // The frame's time is the moment it shows.
    std::int64_t const shownUs =
        freeRunning ? now : SceneStartMicroseconds() + tick * 1000000 / kFramesPerSecond;
    TestPatternBackEnd::NoteFrameDelivered();
    return handler.OnFrame(mJPEG.data(), size, shownUs);
}
