// The monitor: which picture each monitor type shows, the fall-backs when an eye has no
// picture, the kept image, the letterboxed scaling to the view, and each eye's adjustments
// reaching the monitor and only that eye.

#include "app/DSCStereoView.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <tuple>

#include <QComboBox>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLWidget>
#include <QPainter>
#include <QTest>
#include <QThread>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUIControls.h"
#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "CocoaX/CIVIZStereoMuxFilter.h"
#include "CocoaX/CIVIZStereoMuxKernel.h"
#include "app/DSCSnapshot.h"
#include "platform/imaging/CIPixelKernels.h"
#include "tests/support/TestEnvironment.h"
#include "tests/support/TestLogCapture.h"

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
    // Composes as a tick does, draws as a paint does and returns one pixel of the result.
    QRgb Draw(int type, QPoint at = {320, 240}) {
        view.setMonitorImageType(type);
        view.setNeedsDisplay(true);
        target.fill(Qt::magenta);
        view.drawRect(target, QRectF(target.rect()));
        return target.pixel(at);
    }
};

// The default anaglyph of two pixels, `left` seen through the red filter.
QRgb MuxPixel(QRgb left, QRgb right) {
    QRgb out = 0;
    StereoMuxRow_C(&right, &left, &out, 1,
                   StereoMuxCoefficientsFor(CIVIZStereoFormat::kRedCyanDubois, 0.0f));
    return out;
}

TEST(StereoViewTest, SegmentsAndTheStereoFormatChooseThePictureAndItsShape) {
    Monitor monitor;
    QComboBox formats;
    monitor.view.setStereoFormatControl(&formats);
    ASSERT_EQ(formats.count(), kCIVIZStereoFormatCount);
    EXPECT_EQ(monitor.view.stereoFormat(), CIVIZStereoFormat::kRedCyanDubois) << "the default";
    EXPECT_EQ(monitor.view.monitorImageType(), DSCStereoView::kMonitorCombined) << "the default";
    monitor.control.setSelectedSegment(0);
    EXPECT_EQ(monitor.view.monitorImageType(), 1);
    monitor.view.setMonitorImageType(4);
    EXPECT_EQ(monitor.control.selectedSegment(), 3);

    QRgb const red = qRgb(200, 40, 40), blue = qRgb(30, 160, 220);
    monitor.left.setCameraImageRef(Solid(640, 480, red));
    monitor.right.setCameraImageRef(Solid(640, 480, blue));
    EXPECT_EQ(monitor.Draw(1), red);
    EXPECT_EQ(monitor.Draw(4), blue);
    EXPECT_EQ(monitor.Draw(2), MuxPixel(red, blue));
    EXPECT_EQ(monitor.Draw(3), MuxPixel(blue, red)) << "type 3 exchanges the eyes";
    EXPECT_FALSE(monitor.view.monitorImage().isEmpty()) << "the drawn image is kept";

    formats.setCurrentIndex(static_cast<int>(CIVIZStereoFormat::kSideBySide));
    monitor.target = QImage(1280, 960, QImage::Format_ARGB32_Premultiplied);
    // 1280 x 480 letterboxed into 1280 x 960: bars above and below, the left eye on the left.
    EXPECT_EQ(monitor.Draw(DSCStereoView::kMonitorCombined, {300, 480}), red);
    EXPECT_EQ(monitor.target.pixel(300, 100), qRgb(0, 0, 0)) << "the bar";
    EXPECT_EQ(monitor.view.monitorPicture().size(), QSize(1280, 480));
    EXPECT_EQ(monitor.Draw(DSCStereoView::kMonitorCombinedSwapped, {300, 480}), blue)
        << "type 3 swaps the eyes in a layout too";
    monitor.Draw(DSCStereoView::kMonitorLeftEye);
    EXPECT_EQ(monitor.view.monitorPicture().size(), QSize(640, 480)) << "one eye: its own size";

    monitor.view.setStereoFormat(CIVIZStereoFormat::kTopBottom);
    EXPECT_EQ(formats.currentIndex(), static_cast<int>(CIVIZStereoFormat::kTopBottom));
    monitor.Draw(DSCStereoView::kMonitorCombined);
    EXPECT_EQ(monitor.view.monitorPicture().size(), QSize(640, 960));
}

TEST(StereoViewTest, PictureKeepsItsShapeInAnyViewWithBlackBars) {
    // The view's bounds, the picture's size, where it is shown.
    std::tuple<QRectF, QSizeF, QRectF> const cases[] = {
        {{0, 0, 802, 528}, {640, 480}, {49, 0, 704, 528}},           // wider: bars left and right
        {{0, 0, 333, 1001}, {640, 480}, {0, 375.625, 333, 249.75}},  // taller: bars above, below
        {{10, 20, 1920, 1080}, {1280, 480}, {10, 200, 1920, 720}},
        {{0, 0, 0, 480}, {640, 480}, {}},
    };
    for (auto const& [bounds, picture, shown] : cases) {
        EXPECT_EQ(DSCStereoView::letterboxRect(bounds, picture), shown) << bounds.width();
    }
}

TEST(StereoViewTest, EachEyesAdjustmentsReachTheMonitorAndOnlyThatEye) {
    Monitor monitor;
    NSUICameraAdjustPanel leftPanel, rightPanel;
    monitor.left.setCameraControls(leftPanel.controls());
    monitor.right.setCameraControls(rightPanel.controls());
    QImage frame = Solid(640, 480, qRgb(60, 60, 60));
    frame.setPixel(0, 0, qRgb(250, 0, 0));
    monitor.left.setCameraImageRef(frame);
    monitor.right.setCameraImageRef(frame);

    leftPanel.controls()->outlets().exposureSlider->setDoubleValue(1.0);
    leftPanel.controls()->outlets().mirrorImageX->setState(1);
    QImage const left = monitor.left.eyePicture();
    EXPECT_NEAR(qRed(left.pixel(320, 240)), 85, 1) << "+1 EV doubles the light of sRGB 60";
    EXPECT_EQ(left.pixel(639, 0), qRgb(255, 0, 0)) << "mirrored left to right";
    EXPECT_EQ(monitor.right.eyePicture().pixel(320, 240), qRgb(60, 60, 60));
    EXPECT_EQ(monitor.Draw(1), left.pixel(320, 240)) << "the monitor shows the adjusted eye";
    EXPECT_EQ(monitor.Draw(4), qRgb(60, 60, 60));

    // The picker takes the camera's colour under the click, through the mirror, and that
    // colour turns white (the exposure then brightens white no further).
    QImage warm = Solid(640, 480, qRgb(60, 60, 60));
    QPainter(&warm).fillRect(0, 0, 320, 480, QColor(200, 150, 100));  // shown on the right
    monitor.right.setCameraImageRef(warm);
    monitor.right.resize(320, 240);
    rightPanel.controls()->outlets().mirrorImageX->setState(1);
    monitor.right.setPickingWhiteReference(true);
    QTest::mouseClick(&monitor.right, Qt::LeftButton, {}, QPoint(300, 100));
    EXPECT_FALSE(monitor.right.isPickingWhiteReference()) << "one click picks";
    EXPECT_EQ(rightPanel.controls()->outlets().whiteBalanceColor->color(), QColor(200, 150, 100));
    EXPECT_EQ(rightPanel.controls()->outlets().whiteBalanceEnable->state(), 1);
    EXPECT_EQ(monitor.right.eyePicture().pixel(600, 100), qRgb(255, 255, 255));
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
    EXPECT_EQ(monitor.Draw(3), leftPixel);
    EXPECT_EQ(monitor.Draw(4), qRgb(0, 0, 0)) << "no right picture: black";
    EXPECT_TRUE(monitor.view.monitorImage().isEmpty()) << "and no kept image";
}

TEST(SnapshotTest, APngOfTheMonitorAndAJpsWithTheRightEyeLeftNeverOverwriting) {
    QString const folder = QString::fromStdString(TestEnvironment::Home()) + "/Pictures/new";
    QImage const left = Solid(640, 480, qRgb(250, 10, 10));
    QImage const right = Solid(640, 480, qRgb(10, 10, 250));
    QImage const monitor = Solid(640, 480, qRgb(90, 90, 90));
    QDateTime const when(QDate(2026, 11, 23), QTime(11, 40, 2));
    DSCSnapshot::Files const first = DSCSnapshot::save(monitor, left, right, folder, when);
    DSCSnapshot::Files const second = DSCSnapshot::save(monitor, left, right, folder, when);
    EXPECT_EQ(first.png, folder + "/Duoscope 2026-11-23 11.40.02.png");
    EXPECT_EQ(second.jps, folder + "/Duoscope 2026-11-23 11.40.02 2.jps");

    EXPECT_EQ(QImage(first.png).pixel(5, 5), qRgb(90, 90, 90));
    QImage const pair(first.jps, "JPEG");
    ASSERT_EQ(pair.size(), QSize(1280, 480)) << "one JPEG twice as wide";
    EXPECT_GT(qBlue(pair.pixel(320, 240)), 200) << "the right eye in the left half";
    EXPECT_GT(qRed(pair.pixel(960, 240)), 200);

    DSCSnapshot::Files const oneEye = DSCSnapshot::save(monitor, left, QImage(), folder, when);
    EXPECT_TRUE(!oneEye.png.isEmpty() && oneEye.jps.isEmpty()) << "no pair without both eyes";
}

TEST(StereoViewTest, FullScreenLeavesTheWindowAndEscapeBringsItBack) {
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* view = new DSCStereoView();
    layout->addWidget(view);
    window.show();
    view->setFullScreenMonitor(true);
    EXPECT_TRUE(view->isWindow() && (view->windowState() & Qt::WindowFullScreen));
    QTest::keyClick(view, Qt::Key_Escape);
    EXPECT_TRUE(!view->isWindow() && view->parentWidget() == &window && layout->indexOf(view) == 0)
        << "back in its place";
    QTest::mouseDClick(view, Qt::LeftButton);
    EXPECT_TRUE(view->isFullScreenMonitor()) << "a double click";
    view->setFullScreenMonitor(false);
}

TEST(MonitorScalerTest, ExactBilinearAndTheAVX2RowsMatchTheReference) {
    // Known values: a 2 x 2 grey picture to 4 x 4 (pixel centres: shares 0, 1/4, 3/4, 1).
    QImage tiny = Solid(2, 2, qRgb(100, 100, 100));
    tiny.setPixel(0, 0, qRgb(0, 0, 0));
    tiny.setPixel(1, 0, qRgb(200, 200, 200));
    DSCMonitorScaler scaler;
    QImage const& out = scaler.scale(tiny, QSize(4, 4));
    int const across[] = {0, 50, 150, 200};
    int const down[] = {0, 25, 75, 100};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(out.pixel(i, 0), qRgb(across[i], across[i], across[i])) << i;
        EXPECT_EQ(out.pixel(0, i), qRgb(down[i], down[i], down[i])) << i;
    }
    // A plain colour keeps every level (a resampler that rounds down turns 0xFF into 0xFD).
    QImage const white = Solid(640, 480, qRgb(255, 255, 255));
    QImage const& big = scaler.scale(white, QSize(1441, 1081));
    EXPECT_EQ(big.pixel(1440, 1080), qRgb(255, 255, 255));
    EXPECT_EQ(big.pixel(721, 333), qRgb(255, 255, 255));

    // The AVX2 rows against the reference: widths around the eight-pixel step, up and down.
    QImage noise(640, 480, QImage::Format_ARGB32_Premultiplied);
    std::mt19937 rng(12345);
    std::generate_n(reinterpret_cast<QRgb*>(noise.bits()), 640 * 480,
                    [&] { return rng() | 0xFF000000u; });
    for (QSize size : {QSize(1440, 1080), QSize(801, 601), QSize(7, 9), QSize(9, 3),
                       QSize(320, 240), QSize(1913, 1001)}) {
        DSCMonitorScaler reference;
        CISetForceReferenceKernels(true);
        QImage const expected = reference.scale(noise, size).copy();
        CISetForceReferenceKernels(false);
        EXPECT_EQ(DSCMonitorScaler().scale(noise, size), expected) << size.width();
    }
}

TEST(MonitorPathTest, OpenGLOnlyOnHardwareOrWhenAskedAndTheChoiceIsLogged) {
    // OpenGL widgets need a window system that composes them (xcb here, under Xvfb, where
    // Mesa renders in software).
    QOpenGLContext context;
    bool const contextMade =
        QGuiApplication::platformName() == QLatin1String("xcb") && context.create();
    QOffscreenSurface surface;
    surface.create();
    bool const software =
        contextMade && context.makeCurrent(&surface) &&
        QByteArray(reinterpret_cast<char const*>(context.functions()->glGetString(GL_RENDERER)))
            .contains("llvmpipe");
    using Path = DSCStereoView::MonitorPath;
    Path const hardware = contextMade && !software ? Path::kOpenGL : Path::kCPU;
    // DUOSCOPE_MONITOR, the path chosen and the line logged.
    std::tuple<char const*, Path, char const*> const cases[] = {
        {"cpu", Path::kCPU, "Monitor drawn on the CPU: DUOSCOPE_MONITOR=cpu"},
        {"opengl", contextMade ? Path::kOpenGL : Path::kCPU,
         contextMade ? "Monitor drawn through OpenGL (" : "Monitor drawn on the CPU: "},
        {nullptr, hardware,
         hardware == Path::kOpenGL ? "through OpenGL"
         : software                ? "OpenGL renders in software here (llvmpipe"
                                   : "Monitor drawn on the CPU: "},
    };
    QByteArray const saved = qgetenv("DUOSCOPE_MONITOR");
    for (auto const& [choice, path, logged] : cases) {
        choice != nullptr ? qputenv("DUOSCOPE_MONITOR", choice) : qunsetenv("DUOSCOPE_MONITOR");
        TestLogCapture log;
        EXPECT_EQ(DSCStereoView::chooseMonitorPath(), path) << logged;
        EXPECT_TRUE(log.Contains(logged)) << log.Lines();
    }
    if (!saved.isNull()) {
        qputenv("DUOSCOPE_MONITOR", saved);
    }
    Monitor monitor;
    EXPECT_EQ(monitor.view.surface() != &monitor.view,
              DSCStereoView::monitorPath() == Path::kOpenGL)
        << "the view draws through the path chosen";
}

TEST(MonitorPathTest, BothPathsShowTheSamePictureInTheSameLetterbox) {
    if (DSCStereoView::monitorPath() != DSCStereoView::MonitorPath::kOpenGL) {
        GTEST_SKIP() << "no OpenGL widget on this platform (app_tests_opengl runs this under "
                        "xvfb-run with the xcb platform and DUOSCOPE_MONITOR=opengl)";
    }
    // A gradient, so that a picture scaled differently, flipped or with its colours swapped
    // shows; the view is wider than 4:3, so the bars stand left and right.
    QImage picture(640, 480, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < 480; ++y) {
        for (int x = 0; x < 640; ++x) {
            picture.setPixel(x, y, qRgb(x * 255 / 639, y * 255 / 479, 40));
        }
    }
    Monitor monitor;
    monitor.left.setCameraImageRef(picture);
    monitor.target = QImage(802, 528, QImage::Format_ARGB32_Premultiplied);
    monitor.view.resize(monitor.target.size());
    monitor.view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&monitor.view));
    monitor.Draw(DSCStereoView::kMonitorLeftEye);  // composes, and the CPU path's drawing
    auto* surface = qobject_cast<QOpenGLWidget*>(monitor.view.surface());
    ASSERT_NE(surface, nullptr);
    QImage const gpu = surface->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
    QImage const cpu = monitor.target.convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(gpu.size(), cpu.size()) << "the surface rendered nothing";
    // The largest difference of any byte; both have opaque alpha.
    int const worst = std::transform_reduce(
        cpu.constBits(), cpu.constBits() + cpu.sizeInBytes(), gpu.constBits(), 0,
        [](int a, int b) { return std::max(a, b); }, [](int a, int b) { return std::abs(a - b); });
    EXPECT_LE(worst, 3);
    EXPECT_EQ(gpu.pixel(48, 264), qRgb(0, 0, 0)) << "the bar";
    EXPECT_EQ(qBlue(gpu.pixel(49, 264)), 40) << "the picture starts where the bar ends";
    EXPECT_EQ(gpu.pixel(49 + 704, 264), qRgb(0, 0, 0));

    monitor.left.setCameraImageRef(QImage());
    monitor.view.setNeedsDisplay(true);
    EXPECT_EQ(surface->grabFramebuffer().pixel(400, 264), qRgb(0, 0, 0)) << "nothing to show";
}

}  // namespace
