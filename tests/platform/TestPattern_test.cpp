// The test-pattern camera and the sequence-grabber component on it: real disparity between
// the eyes, exclusive inputs, unplugging, injected frames, and recording through a channel.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <turbojpeg.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/SGComponent.h"
#include "platform/capture/TestPatternBackEnd.h"
#include "platform/capture/TestPatternScene.h"
#include "platform/capture/TestPatternSource.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

// ---- The scene ----

struct Picture {
    std::vector<std::uint8_t> argb = std::vector<std::uint8_t>(kWidth * kHeight * 4);
    std::uint8_t const* At(int x, int y) const { return &argb[(y * kWidth + x) * 4]; }
};

Picture Render(double seconds, TestPatternScene::Eye eye) {
    Picture picture;
    TestPatternScene::Render(seconds, eye, picture.argb.data(), kWidth * 4, kWidth, kHeight);
    return picture;
}

// The horizontal shift (0..80) that best maps a 16 x 16 patch of the left picture at (x, y)
// onto the right picture.
int BestShift(Picture const& left, Picture const& right, int x, int y) {
    int best = -1;
    long bestSum = 0;
    for (int shift = 0; shift <= 80 && x - shift >= 0; ++shift) {
        long sum = 0;
        for (int dy = 0; dy < 16; ++dy) {
            for (int dx = 0; dx < 16; ++dx) {
                std::uint8_t const* a = left.At(x + dx, y + dy);
                std::uint8_t const* b = right.At(x - shift + dx, y + dy);
                for (int c = 0; c < 3; ++c) {
                    sum += std::abs(a[c] - b[c]);
                }
            }
        }
        if (best < 0 || sum < bestSum) {
            best = shift;
            bestSum = sum;
        }
    }
    return best;
}

struct ScreenRect {
    double left, top, right, bottom;
    bool Contains(double x, double y, double size) const {
        return x >= left && y >= top && x + size <= right && y + size <= bottom;
    }
    bool Meets(double x, double y, double size) const {
        return x < right && x + size > left && y < bottom && y + size > top;
    }
};

ScreenRect Projected(TestPatternScene::Plane const& plane, TestPatternScene::Eye eye) {
    return {
        TestPatternScene::ProjectX(plane.centerX - plane.halfWidth, plane.depth, eye, kWidth),
        TestPatternScene::ProjectY(plane.centerY + plane.halfHeight, plane.depth, kHeight, kWidth),
        TestPatternScene::ProjectX(plane.centerX + plane.halfWidth, plane.depth, eye, kWidth),
        TestPatternScene::ProjectY(plane.centerY - plane.halfHeight, plane.depth, kHeight, kWidth)};
}

TEST(TestPatternScene, EyesDifferByAShiftThatGrowsAsPlanesComeNearer) {
    for (double seconds : {0.0, 2.5}) {
        TestPatternScene::Plane planes[TestPatternScene::kPlaneCount];
        TestPatternScene::PlanesAt(seconds, planes);
        Picture const left = Render(seconds, TestPatternScene::kLeftEye);
        Picture const right = Render(seconds, TestPatternScene::kRightEye);
        EXPECT_NE(left.argb, right.argb);

        std::vector<int> shifts;
        for (int p = 0; p < TestPatternScene::kPlaneCount; ++p) {
            // A patch that shows plane p, and no nearer plane, in both eyes.
            bool found = false;
            for (int y = 8; y + 24 < kHeight && !found; y += 8) {
                for (int x = 90; x + 24 < kWidth && !found; x += 8) {
                    bool visible = true;
                    for (auto eye : {TestPatternScene::kLeftEye, TestPatternScene::kRightEye}) {
                        double const d =
                            eye == TestPatternScene::kLeftEye
                                ? 0.0
                                : TestPatternScene::DisparityPixels(planes[p].depth, kWidth);
                        if (p > 0 && !Projected(planes[p], eye).Contains(x - d, y, 16)) {
                            visible = false;
                        }
                        for (int q = p + 1; q < TestPatternScene::kPlaneCount; ++q) {
                            if (Projected(planes[q], eye).Meets(x - d - 2, y - 2, 20)) {
                                visible = false;
                            }
                        }
                    }
                    if (visible) {
                        found = true;
                        int const shift = BestShift(left, right, x, y);
                        double const expected =
                            TestPatternScene::DisparityPixels(planes[p].depth, kWidth);
                        EXPECT_NEAR(shift, expected, 1.0) << "plane " << p << " at " << seconds;
                        shifts.push_back(shift);
                    }
                }
            }
            EXPECT_TRUE(found) << "plane " << p << " is hidden at " << seconds;
        }
        // Planes are listed far to near.
        EXPECT_TRUE(std::is_sorted(shifts.begin(), shifts.end())) << seconds;
        EXPECT_GT(shifts.back(), shifts.front() + 10);
    }
}

TEST(TestPatternScene, PlanesMove) {
    Picture const now = Render(10.0, TestPatternScene::kLeftEye);
    Picture const later = Render(10.5, TestPatternScene::kLeftEye);
    EXPECT_NE(now.argb, later.argb);
    EXPECT_EQ(Render(10.0, TestPatternScene::kLeftEye).argb, now.argb);
}

// ---- The back end ----

class TestPatternTest : public ::testing::Test {
protected:
    void SetUp() override {
        CaptureRegistry::Shared().SetV4L2Enabled(false);
        TestPatternBackEnd::Plug();
    }
    void TearDown() override {
        TestPatternBackEnd::Plug();
        CaptureRegistry::Shared().SetV4L2Enabled(true);
    }

    static CaptureDevice Device() {
        std::vector<CaptureDevice> const devices = CaptureRegistry::Shared().ListDevices();
        return devices.empty() ? CaptureDevice() : devices.back();
    }
};

// Keeps what a source delivers.
class FrameCollector : public CaptureFrameHandler {
public:
    int OnFrame(std::uint8_t const* data, std::size_t size, std::int64_t timeUs) override {
        frames.emplace_back(data, data + size);
        times.push_back(timeUs);
        return result;
    }
    std::vector<std::vector<std::uint8_t>> frames;
    std::vector<std::int64_t> times;
    int result = noErr;
};

bool JPEGSize(std::vector<std::uint8_t> const& jpeg, int& width, int& height) {
    tjhandle decoder = tjInitDecompress();
    int subsampling = 0;
    int colorspace = 0;
    bool const fOk =
        tjDecompressHeader3(decoder, const_cast<unsigned char*>(jpeg.data()), jpeg.size(), &width,
                            &height, &subsampling, &colorspace) == 0;
    tjDestroy(decoder);
    return fOk;
}

TEST_F(TestPatternTest, ListedLastWithTwoInputsAndDeliversMJPEGOfTheSizeAskedFor) {
    CaptureDevice const device = Device();
    EXPECT_EQ(device.name, "Duoscope Test Pattern");
    EXPECT_EQ(device.inputs, (std::vector<std::string>{"Test Pattern Left", "Test Pattern Right"}));
    std::vector<std::string> lines;
    device.backEnd->DescribeFormats(device, lines);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("MJPG", 0), 0u);
    std::unique_ptr<CaptureSource> source;
    ASSERT_EQ(device.backEnd->OpenInput(device, 1, 320, 240, source), noErr);
    EXPECT_EQ(source->Description().cType, kCodecMJPEG);
    FrameCollector collector;
    EXPECT_EQ(source->Grab(collector), noErr);
    EXPECT_TRUE(collector.frames.empty());  // not started

    ASSERT_EQ(source->Start(), noErr);
    ASSERT_EQ(source->Grab(collector), noErr);  // the first frame comes at once
    ASSERT_EQ(collector.frames.size(), 1u);
    int width = 0;
    int height = 0;
    ASSERT_TRUE(JPEGSize(collector.frames[0], width, height));
    EXPECT_EQ(width, 320);
    EXPECT_EQ(height, 240);

    std::vector<std::uint8_t> const injected = {0xFF, 0xD8, 1, 2, 3};
    TestPatternBackEnd::InjectFrame(1, injected);
    collector.result = sgDecodeErr;
    EXPECT_EQ(source->Grab(collector), sgDecodeErr);  // the handler's result comes back
    EXPECT_EQ(collector.frames.back(), injected);

    TestPatternBackEnd::SetFreeRunning(true);
    collector.result = noErr;
    collector.frames.clear();
    for (int i = 0; i < 3; ++i) {
        source->Grab(collector);
    }
    TestPatternBackEnd::SetFreeRunning(false);
    EXPECT_EQ(collector.frames.size(), 3u);
}

TEST_F(TestPatternTest, UnpluggingMakesOpenInputsVanish) {
    CaptureDevice const device = Device();
    std::unique_ptr<CaptureSource> source;
    ASSERT_EQ(device.backEnd->OpenInput(device, 0, 640, 480, source), noErr);
    ASSERT_EQ(source->Start(), noErr);
    TestPatternBackEnd::Unplug();
    FrameCollector collector;
    EXPECT_EQ(source->Grab(collector), sgDeviceLostErr);
    EXPECT_TRUE(CaptureRegistry::Shared().ListDevices().empty());
    std::unique_ptr<CaptureSource> other;
    EXPECT_EQ(device.backEnd->OpenInput(device, 1, 640, 480, other), sgNoDeviceErr);

    // Plugged in again: the old source stays lost, a new one works.
    TestPatternBackEnd::Plug();
    EXPECT_EQ(source->Grab(collector), sgDeviceLostErr);
    source.reset();
    ASSERT_EQ(device.backEnd->OpenInput(device, 0, 640, 480, source), noErr);
    ASSERT_EQ(source->Start(), noErr);
    EXPECT_EQ(source->Grab(collector), noErr);
    EXPECT_EQ(collector.frames.size(), 1u);
}

// ---- The component over it ----

struct DataProcLog {
    int calls = 0;
    long lastLength = 0;
    SGChannel* lastChannel = nullptr;
};

int CountingDataProc(SGChannel* channel, std::uint8_t const* data, long length, long* offset,
                     long chRefCon, std::int64_t time, short writeType, void* refCon) {
    auto* log = static_cast<DataProcLog*>(refCon);
    ++log->calls;
    log->lastLength = length;
    log->lastChannel = channel;
    return noErr;
}

// A component with one recording video channel on the default camera.
int OpenRecorder(SGComponent& component, SGChannel*& channel, DataProcLog& log) {
    component.Initialize();
    component.SetDataRef(seqGrabDontMakeMovie);
    component.SetDataProc(CountingDataProc, &log);
    if (int err = component.NewChannel(VideoMediaType, &channel); err != noErr) {
        return err;
    }
    channel->SetBounds({0, 0, 240, 320});
    channel->SetUsage(seqGrabRecord);
    if (int err = component.Prepare(false, true); err != noErr) {
        return err;
    }
    return component.StartRecord();
}

std::string CameraName(SGChannel const* channel) {
    Str63 deviceName;
    Str63 inputName;
    short inputNumber = -1;
    channel->GetDeviceAndInputNames(deviceName, inputName, &inputNumber);
    return PStr63ToString(deviceName);
}

TEST_F(TestPatternTest, DefaultCameraIsTheFirstThatOpensNow) {
    SGComponent first;
    SGComponent second;
    SGComponent third;
    SGChannel* channel1 = nullptr;
    SGChannel* channel2 = nullptr;
    SGChannel* channel3 = nullptr;
    DataProcLog log1;
    DataProcLog log2;
    DataProcLog log3;
    ASSERT_EQ(OpenRecorder(first, channel1, log1), noErr);
    ASSERT_EQ(OpenRecorder(second, channel2, log2), noErr);
    EXPECT_EQ(OpenRecorder(third, channel3, log3), sgNoDeviceErr);
    EXPECT_EQ(CameraName(channel1), "Test Pattern Left");
    EXPECT_EQ(CameraName(channel2), "Test Pattern Right");
    EXPECT_EQ(CameraName(channel3), "");

    EXPECT_EQ(first.Idle(), noErr);
    EXPECT_EQ(log1.calls, 1);
    EXPECT_EQ(log1.lastChannel, channel1);
    EXPECT_GT(log1.lastLength, 1000);
    ImageDescription description;
    ASSERT_EQ(channel1->GetSampleDescription(description), noErr);
    EXPECT_EQ(description.width, 320);
    EXPECT_EQ(channel3->GetSampleDescription(description), sgNotPreparedErr);

    // The left input is free again once its channel goes.
    ASSERT_EQ(first.DisposeChannel(channel1), noErr);
    EXPECT_EQ(first.DisposeChannel(channel1), paramErr);
    SGComponent fourth;
    SGChannel* channel4 = nullptr;
    DataProcLog log4;
    ASSERT_EQ(OpenRecorder(fourth, channel4, log4), noErr);
    EXPECT_EQ(CameraName(channel4), "Test Pattern Left");
}

TEST_F(TestPatternTest, ChannelsRecordOnlyVideoIntoADataProcedure) {
    SGComponent component;
    SGChannel* channel = nullptr;
    EXPECT_EQ(component.NewChannel(VideoMediaType, &channel), paramErr);  // not initialised
    component.Initialize();
    EXPECT_EQ(component.NewChannel(MediaFourCC('s', 'o', 'u', 'n'), &channel), paramErr);
    EXPECT_EQ(channel, nullptr);
    ASSERT_EQ(component.NewChannel(VideoMediaType, &channel), noErr);
    channel->SetUsage(seqGrabRecord);
    EXPECT_EQ(component.SetDataRef(0), paramErr);  // a movie file is not supported
    EXPECT_EQ(component.StartRecord(), paramErr);

    // A named camera; its device list marks its device.
    Str63 name;
    PStr63FromCString("No Such Camera", name);
    EXPECT_EQ(channel->SetDevice(name), sgNoDeviceErr);
    PStr63FromCString("Duoscope Test Pattern", name);
    channel->SetSettingsStateChanging(1);
    EXPECT_EQ(channel->SetDevice(name), noErr);
    EXPECT_EQ(channel->SetDeviceInput(1), noErr);
    EXPECT_EQ(component.Prepare(false, true), paramErr);  // the change is not finished
    channel->SetSettingsStateChanging(2);
    ASSERT_EQ(component.Prepare(false, true), noErr);
    EXPECT_EQ(CameraName(channel), "Test Pattern Right");
    SGDeviceList list;
    ASSERT_EQ(channel->GetDeviceList(sgDeviceListIncludeInputs, list), noErr);
    ASSERT_EQ(list->Count(), 1);
    EXPECT_EQ(list->selectedIndex, 0);
    ASSERT_TRUE(list->entry[0].inputs);
    EXPECT_EQ(PStr63ToString(list->entry[0].inputs->entry[1].name), "Test Pattern Right");
    ASSERT_EQ(channel->GetDeviceList(0, list), noErr);
    EXPECT_FALSE(list->entry[0].inputs);
}

}  // namespace
