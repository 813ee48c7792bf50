// The test-pattern scene has real disparity between the eyes, and moves. (The grabber and
// cameras-tool tests list, stream, unplug and record the test-pattern camera.)

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include <QRectF>

#include "platform/capture/TestPatternScene.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

// One eye's picture of the scene at a moment.
struct Picture {
    Picture(double seconds, TestPatternScene::Eye eye) {
        TestPatternScene::Render(seconds, eye, argb.data(), kWidth * 4, kWidth, kHeight);
    }
    std::uint8_t const* At(int x, int y) const { return &argb[(y * kWidth + x) * 4]; }
    std::vector<std::uint8_t> argb = std::vector<std::uint8_t>(kWidth * kHeight * 4);
};

// The horizontal shift (0..80) that best maps a 16 x 16 patch of the left picture at (x, y)
// onto the right picture (the smallest, of equally good ones).
int BestShift(Picture const& left, Picture const& right, int x, int y) {
    std::vector<long> sums;
    for (int shift = 0; shift <= 80 && x - shift >= 0; ++shift) {
        long sum = 0;
        for (int dy = 0; dy < 16; ++dy) {
            for (int i = 0; i < 16 * 4; ++i) {  // the patch's row, bytes B, G, R, A
                sum += std::abs(left.At(x, y + dy)[i] - right.At(x - shift, y + dy)[i]);
            }
        }
        sums.push_back(sum);
    }
    return static_cast<int>(std::min_element(sums.begin(), sums.end()) - sums.begin());
}

QRectF Projected(TestPatternScene::Plane const& plane, TestPatternScene::Eye eye) {
    using Scene = TestPatternScene;
    return QRectF(
        QPointF(Scene::ProjectX(plane.centerX - plane.halfWidth, plane.depth, eye, kWidth),
                Scene::ProjectY(plane.centerY + plane.halfHeight, plane.depth, kHeight, kWidth)),
        QPointF(Scene::ProjectX(plane.centerX + plane.halfWidth, plane.depth, eye, kWidth),
                Scene::ProjectY(plane.centerY - plane.halfHeight, plane.depth, kHeight, kWidth)));
}

TEST(TestPatternScene, EyesDifferByAShiftThatGrowsAsPlanesComeNearerAndThePlanesMove) {
    std::vector<Picture> lefts;
    for (double seconds : {0.0, 2.5}) {
        TestPatternScene::Plane planes[TestPatternScene::kPlaneCount];
        TestPatternScene::PlanesAt(seconds, planes);
        Picture const left(seconds, TestPatternScene::kLeftEye);
        Picture const right(seconds, TestPatternScene::kRightEye);
        EXPECT_NE(left.argb, right.argb);
        lefts.push_back(left);

        std::vector<int> shifts;
        for (int p = 0; p < TestPatternScene::kPlaneCount; ++p) {
            double const disparity = TestPatternScene::DisparityPixels(planes[p].depth, kWidth);
            // A patch that shows plane p, and no nearer plane, in both eyes.
            bool found = false;
            for (int y = 8; y + 24 < kHeight && !found; y += 8) {
                for (int x = 90; x + 24 < kWidth && !found; x += 8) {
                    bool visible = true;
                    for (auto eye : {TestPatternScene::kLeftEye, TestPatternScene::kRightEye}) {
                        double const d = eye == TestPatternScene::kLeftEye ? 0.0 : disparity;
                        visible &=
                            p == 0 || Projected(planes[p], eye).contains(QRectF(x - d, y, 16, 16));
                        for (int q = p + 1; q < TestPatternScene::kPlaneCount; ++q) {
                            visible &= !Projected(planes[q], eye)
                                            .intersects(QRectF(x - d - 2, y - 2, 20, 20));
                        }
                    }
                    if (visible) {
                        found = true;
                        int const shift = BestShift(left, right, x, y);
                        EXPECT_NEAR(shift, disparity, 1.0) << "plane " << p << " at " << seconds;
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
    EXPECT_EQ(Picture(0.0, TestPatternScene::kLeftEye).argb, lefts[0].argb)
        << "one moment, one picture";
}

}  // namespace
