// The monitor: which picture each monitor type shows, the fall-backs when an eye has no
// picture, the kept image, and the scaling to the view.

#include "app/DSCStereoView.h"

#include <QThread>

#include <gtest/gtest.h>

#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "CocoaX/CIVIZStereoMuxFilter.h"
#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIFilter.h"

namespace {

QImage Solid(int width, int height, QRgb colour) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

struct Monitor {
    QCamGrabCGImageView left;
    QCamGrabCGImageView right;
    NSUISegmentedControl control;
    DSCStereoView view;
    QImage target{640, 480, QImage::Format_ARGB32_Premultiplied};

    Monitor() {
        view.setEyes(&left, &right);
        view.setMonitorImageTypeControl(&control);
    }
    // Draws as a paint does and returns one pixel of the result.
    QRgb Draw(int type, QPoint at = {320, 240}) {
        view.setMonitorImageType(type);
        target.fill(Qt::magenta);
        view.drawRect(target, QRectF(target.rect()));
        return target.pixel(at);
    }
};

QRgb MuxPixel(QImage const& leftImage, QImage const& rightImage, double swap) {
    std::unique_ptr<CIFilter> mux = CIFilter::filterWithName(kCIVIZStereoMuxFilter_Name);
    mux->setDefaults();
    mux->setValue(CIImage::imageWithQImage(rightImage), kCIVIZStereoMuxFilter_InputImage);
    mux->setValue(CIImage::imageWithQImage(leftImage), kCIVIZStereoMuxFilter_InputLeftImage);
    mux->setValue(QVariant(swap), kCIVIZStereoMuxFilter_InputSwapEyes);
    CIImage const out = mux->outputImage();
    return CIContext::createQImage(out, out.extent()).pixel(10, 10);
}

TEST(StereoViewTest, SegmentsMapToTypesAndOnlyTypeThreeSwapsTheEyes) {
    Monitor monitor;
    EXPECT_EQ(monitor.view.monitorImageType(), DSCStereoView::kMonitorCombined) << "the default";
    monitor.control.setSelectedSegment(0);
    EXPECT_EQ(monitor.view.monitorImageType(), 1);
    monitor.view.setMonitorImageType(4);
    EXPECT_EQ(monitor.control.selectedSegment(), 3);
    for (int type = 1; type <= 4; ++type) {
        monitor.view.setMonitorImageType(type);
        EXPECT_EQ(monitor.view.swapEyesFloatValue(), type == 3 ? 1.0 : 0.0) << type;
    }
}

TEST(StereoViewTest, EachTypeShowsItsPictureAndTheMuxedTypesDifferOnlyBySwap) {
    Monitor monitor;
    QImage const leftImage = Solid(640, 480, qRgb(200, 40, 40));
    QImage const rightImage = Solid(640, 480, qRgb(30, 160, 220));
    monitor.left.setCameraImageRef(leftImage);
    monitor.right.setCameraImageRef(rightImage);

    EXPECT_EQ(monitor.Draw(1), qRgb(200, 40, 40));
    EXPECT_EQ(monitor.Draw(4), qRgb(30, 160, 220));
    QRgb const combined = monitor.Draw(2);
    QRgb const swapped = monitor.Draw(3);
    EXPECT_EQ(combined, MuxPixel(leftImage, rightImage, 0.0));
    EXPECT_EQ(swapped, MuxPixel(leftImage, rightImage, 1.0));
    EXPECT_NE(combined, swapped);
    EXPECT_EQ(swapped, MuxPixel(rightImage, leftImage, 0.0)) << "swap exchanges the eyes";
    EXPECT_FALSE(monitor.view.monitorImage().isEmpty()) << "the drawn image is kept";
}

TEST(StereoViewTest, WithOneEyeMissingTheOtherIsShownUnchangedAndNoneGivesBlack) {
    Monitor monitor;
    monitor.left.setCameraImageRef(Solid(640, 480, qRgb(200, 40, 40)));
    EXPECT_EQ(monitor.Draw(2), qRgb(200, 40, 40));
    EXPECT_EQ(monitor.Draw(3), qRgb(200, 40, 40));
    EXPECT_EQ(monitor.Draw(4), qRgb(0, 0, 0)) << "no right picture: black";
    EXPECT_TRUE(monitor.view.monitorImage().isEmpty()) << "and no kept image";

    monitor.left.setCameraImageRef(QImage());
    monitor.right.setCameraImageRef(Solid(640, 480, qRgb(30, 160, 220)));
    EXPECT_EQ(monitor.Draw(2), qRgb(30, 160, 220));
    EXPECT_EQ(monitor.Draw(1), qRgb(0, 0, 0));
}

TEST(StereoViewTest, PictureIsScaledToFillTheView) {
    Monitor monitor;
    QImage half(320, 240, QImage::Format_ARGB32_Premultiplied);
    half.fill(qRgb(255, 0, 0));
    for (int y = 0; y < 240; ++y) {
        for (int x = 160; x < 320; ++x) {
            half.setPixel(x, y, qRgb(0, 0, 255));
        }
    }
    monitor.left.setCameraImageRef(half);
    EXPECT_EQ(monitor.Draw(1, {300, 470}), qRgb(255, 0, 0));
    EXPECT_EQ(monitor.Draw(1, {340, 10}), qRgb(0, 0, 255));
    EXPECT_EQ(monitor.Draw(1, {639, 479}), qRgb(0, 0, 255)) << "the picture reaches the corner";
}

TEST(StereoViewTest, AnEyeWhoseCameraWasClosedHasNoPictureSoTheOtherEyeIsShownUnchanged) {
    // Real grabbers on the built-in test pattern, ticked as the document's clock does.
    Monitor monitor;
    monitor.left.cameraOpen(QSizeF(640, 480));  // the one-size form
    monitor.right.cameraOpen(QSizeF(640, 480));
    ASSERT_NE(monitor.left.cameraGrabber().mVideoChannel, nullptr);
    ASSERT_NE(monitor.right.cameraGrabber().mVideoChannel, nullptr);
    for (int tick = 0;
         tick < 100 && monitor.left.cameraGrabber().GetFrameStatistics().framesDecoded == 0;
         ++tick) {
        monitor.left.cameraTimer(nullptr);
        monitor.right.cameraTimer(nullptr);
        QThread::msleep(10);
    }
    ASSERT_GT(monitor.left.cameraGrabber().GetFrameStatistics().framesDecoded, 0u);

    // The right eye's camera is closed, as its menu's "No Camera" does; its frame buffer
    // still holds the last frame.
    monitor.right.cameraGrabber().CloseCameraInput();
    monitor.left.cameraTimer(nullptr);
    monitor.right.cameraTimer(nullptr);
    EXPECT_TRUE(monitor.view.rightEyeImage().isEmpty());
    QRgb const leftPixel = monitor.left.cameraImageRef().pixel(320, 240);
    EXPECT_EQ(monitor.Draw(2), leftPixel) << "not the anaglyph of the left and a stale right";
    EXPECT_EQ(monitor.Draw(4), qRgb(0, 0, 0));
}

}  // namespace
