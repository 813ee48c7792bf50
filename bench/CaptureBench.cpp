// Capture costs per frame: decoding a camera's MJPEG (or YUYV) into the 640 x 480 frame
// buffer, and one Idle of two grabbers on the test-pattern camera (render, encode, decode).

#include <vector>

#include <benchmark/benchmark.h>

#include "QClasses/QCameraGrabCGContext.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/DecompressSequence.h"
#include "platform/capture/TestPatternSource.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

// One test-pattern frame of the given size, as the camera would send it.
std::vector<std::uint8_t> TestPatternJPEG(int width, int height) {
    CaptureRegistry::Shared().SetV4L2Enabled(false);
    CaptureDevice const device = CaptureRegistry::Shared().ListDevices().back();
    std::unique_ptr<CaptureSource> source;
    std::vector<std::uint8_t> jpeg;
    if (device.backEnd->OpenInput(device, 0, width, height, source) == noErr) {
        auto& testPattern = static_cast<TestPatternSource&>(*source);
        std::size_t size = 0;
        if (testPattern.EncodeFrame(2.0, size) == noErr) {
            jpeg.assign(testPattern.JPEGData(), testPattern.JPEGData() + size);
        }
    }
    return jpeg;
}

void DecodeMJPEG(benchmark::State& state, int width, int height) {
    std::vector<std::uint8_t> const jpeg = TestPatternJPEG(width, height);
    std::vector<std::uint8_t> frameBuffer(kWidth * kHeight * 4);
    ImageDescription camera;
    camera.cType = kCodecMJPEG;
    camera.width = static_cast<std::int16_t>(width);
    camera.height = static_cast<std::int16_t>(height);
    DecompressSequence sequence;
    if (jpeg.empty() ||
        sequence.Begin(camera, {frameBuffer.data(), kWidth * 4, kWidth, kHeight}) != noErr) {
        state.SkipWithError("no frame to decode");
        return;
    }
    for (auto _ : state) {
        if (sequence.DecodeFrame(jpeg.data(), jpeg.size()) != noErr) {
            state.SkipWithError(sequence.LastError());
            break;
        }
        benchmark::DoNotOptimize(frameBuffer.data());
    }
    state.counters["jpeg_bytes"] = static_cast<double>(jpeg.size());
    state.counters["direct"] = sequence.DecodesDirectly() ? 1 : 0;
}

void BM_DecodeMJPEG_640x480(benchmark::State& state) { DecodeMJPEG(state, 640, 480); }
void BM_DecodeMJPEG_1280x720(benchmark::State& state) { DecodeMJPEG(state, 1280, 720); }
void BM_DecodeMJPEG_1280x960(benchmark::State& state) { DecodeMJPEG(state, 1280, 960); }
BENCHMARK(BM_DecodeMJPEG_640x480)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeMJPEG_1280x720)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeMJPEG_1280x960)->Unit(benchmark::kMillisecond);

void BM_DecodeYUYV_640x480(benchmark::State& state) {
    std::vector<std::uint8_t> frame(kWidth * kHeight * 2);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint8_t>(i * 31);
    }
    std::vector<std::uint8_t> frameBuffer(kWidth * kHeight * 4);
    ImageDescription camera;
    camera.cType = kCodecYUYV;
    camera.width = kWidth;
    camera.height = kHeight;
    camera.bytesPerLine = kWidth * 2;
    DecompressSequence sequence;
    sequence.Begin(camera, {frameBuffer.data(), kWidth * 4, kWidth, kHeight});
    for (auto _ : state) {
        sequence.DecodeFrame(frame.data(), frame.size());
        benchmark::DoNotOptimize(frameBuffer.data());
    }
}
BENCHMARK(BM_DecodeYUYV_640x480)->Unit(benchmark::kMillisecond);

// Both eyes' Idle of one tick when each has a new frame: the test pattern renders and
// encodes the frame, the grabber decodes it.
void BM_IdleTwoTestPatternCameras(benchmark::State& state) {
    CaptureRegistry::Shared().SetV4L2Enabled(false);
    TestPatternBackEnd::SetFreeRunning(true);
    SGRect const rect = {0, 0, kHeight, kWidth};
    QCameraGrabCGContext left;
    QCameraGrabCGContext right;
    for (QCameraGrabCGContext* grabber : {&left, &right}) {
        if (grabber->OpenInitialize(rect, k32ARGBPixelFormat, nullptr) != noErr ||
            grabber->StartRecord() != noErr) {
            state.SkipWithError("the test pattern did not open");
            TestPatternBackEnd::SetFreeRunning(false);
            return;
        }
    }
    for (auto _ : state) {
        left.Idle();
        right.Idle();
    }
    TestPatternBackEnd::SetFreeRunning(false);
    double const frames = static_cast<double>(left.GetFrameStatistics().framesDecoded +
                                              right.GetFrameStatistics().framesDecoded);
    state.counters["decode_ms"] =
        1000.0 *
        (left.GetFrameStatistics().decodeSeconds + right.GetFrameStatistics().decodeSeconds) /
        frames;
}
BENCHMARK(BM_IdleTwoTestPatternCameras)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
