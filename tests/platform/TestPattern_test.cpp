// The test-pattern scene has real disparity between the eyes and moves; the sequence-grabber
// component refuses what it cannot do. (The grabber tests stream from the test pattern.)

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "platform/capture/SGComponent.h"
#include "platform/capture/TestPatternScene.h"

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

TEST(TestPatternScene, EyesDifferByAShiftThatGrowsAsPlanesComeNearerAndThePlanesMove) {
    std::vector<Picture> lefts;
    for (double seconds : {0.0, 2.5}) {
        TestPatternScene::Plane planes[TestPatternScene::kPlaneCount];
        TestPatternScene::PlanesAt(seconds, planes);
        Picture const left = Render(seconds, TestPatternScene::kLeftEye);
        Picture const right = Render(seconds, TestPatternScene::kRightEye);
        EXPECT_NE(left.argb, right.argb);
        lefts.push_back(left);

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
    EXPECT_NE(lefts[0].argb, lefts[1].argb);
    EXPECT_EQ(Render(0.0, TestPatternScene::kLeftEye).argb, lefts[0].argb)
        << "one moment, one picture";
}

// ---- The sequence-grabber component on it ----

// Calls out of order are refused: no channel before Initialize, no sound, no movie file, no
// recording or sample description before Prepare, no Prepare amid a settings change.
TEST(SGComponent, ChannelsRecordOnlyVideoAndRefuseCallsOutOfOrder) {
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
    ImageDescription description;
    EXPECT_EQ(channel->GetSampleDescription(description), sgNotPreparedErr);

    Str63 name;
    PStr63FromCString("No Such Camera", name);
    EXPECT_EQ(channel->SetDevice(name), sgNoDeviceErr);
    PStr63FromCString("Duoscope Test Pattern", name);
    channel->SetSettingsStateChanging(1);
    EXPECT_EQ(channel->SetDevice(name), noErr);
    EXPECT_EQ(component.Prepare(false, true), paramErr);  // the change is not finished
    channel->SetSettingsStateChanging(2);
    EXPECT_EQ(component.Prepare(false, true), noErr);
    ASSERT_EQ(component.DisposeChannel(channel), noErr);
    EXPECT_EQ(component.DisposeChannel(channel), paramErr);
}

}  // namespace
