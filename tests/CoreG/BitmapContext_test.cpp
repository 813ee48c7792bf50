// Bitmap contexts: row lengths and sizes per type, sizes that do not fit, sharing memory with
// their images, cropping in bottom-left coordinates, and painting through the context.

#include "CoreG/BitmapContext.h"

#include <cstring>

#include <QPainter>

#include <gtest/gtest.h>

#include "tests/support/TestLogCapture.h"

using CoreGraphics::BitmapContext;

namespace {

TEST(BitmapContext, SizesFollowTypeAndRowBytesAndMustFit32Bits) {
    struct Case {
        int width, height, type;
        std::uint32_t inUseRowBytes;
        bool ok;
        std::uint32_t rowBytes, dataSize, gworldFormat;
    };
    Case const cases[] = {
        {640, 480, CoreGraphics::kBitmapTypeARGB, 0, true, 2560, 1228800, k32ARGBPixelFormat},
        {5, 3, CoreGraphics::kBitmapTypeGrey, 0, true, 5, 15, k8IndexedGrayPixelFormat},
        // 32-bit pictures that the offscreen world sees in the grey format.
        {8, 2, CoreGraphics::kBitmapTypeXRGB, 0, true, 32, 64, k8IndexedGrayPixelFormat},
        {10, 4, CoreGraphics::kBitmapTypeARGB, 64, true, 64, 256, k32ARGBPixelFormat},
        {10, 4, CoreGraphics::kBitmapTypeARGB, 20, true, 40, 160, k32ARGBPixelFormat},
        {16, 16, 5, 0, false, 0, 0, 0},  // no such type
        // 4 GiB and a little more: a 32-bit product would wrap to a small allocation.
        {65535, 16385, CoreGraphics::kBitmapTypeARGB, 0, false, 0, 0, 0},
    };
    TestLogCapture log;
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " type " << c.type
                                        << " rowBytes " << c.inUseRowBytes);
        BitmapContext bitmap;
        ASSERT_EQ(bitmap.Construct(c.width, c.height, c.type, c.inUseRowBytes), c.ok);
        EXPECT_EQ(bitmap.mImageRowBytes, c.rowBytes);
        EXPECT_EQ(bitmap.mImageDataSize, c.dataSize);
        EXPECT_EQ(bitmap.mImageDataBytes != nullptr, c.ok);
        if (c.ok) {
            EXPECT_EQ(bitmap.mGWorld.PixelFormat(), c.gworldFormat);
            EXPECT_EQ(bitmap.mGWorld.BaseAddr(), bitmap.mImageDataBytes);
            // The whole memory is there: painting the last pixel must not leave it.
            bitmap.mContext->fillRect(c.width - 1, c.height - 1, 1, 1, Qt::white);
        }
    }
    EXPECT_TRUE(log.Contains(" code : inUseRowBytes>=mImageRowBytes in CoreG/BitmapContext.cpp"));
    EXPECT_EQ(log.Count("(bool CoreGraphics::BitmapContext::Construct("), 2u);
}

// An offscreen world that cannot be built.
class NoGWorldBitmap : public BitmapContext {
public:
    bool ConstructGWorld() override {
        ++calls;
        return false;
    }
    int calls = 0;
};

TEST(BitmapContext, FailedOffscreenWorldIsTriedAndReportedOnce) {
    TestLogCapture log;
    NoGWorldBitmap bitmap;
    EXPECT_FALSE(bitmap.Construct(4, 4, CoreGraphics::kBitmapTypeARGB, 0));
    EXPECT_EQ(bitmap.calls, 1);
    EXPECT_EQ(log.Count(" code : ConstructGWorld() in"), 1u) << log.Lines();
    EXPECT_EQ(log.Count(" code : fOk = VERIFIED(ConstructGWorld()) in"), 1u);
}

TEST(BitmapContext, ContextPaintsIntoTheMemoryInItsByteOrder) {
    // The first `count` bytes of a 5 x 2 bitmap of `type` painted all in `colour`.
    auto const painted = [](int type, QColor colour, size_t count) {
        BitmapContext bitmap;
        if (!bitmap.Construct(5, 2, type, 0)) {
            return std::vector<uint8_t>();
        }
        bitmap.mContext->fillRect(0, 0, 5, 2, colour);
        return std::vector<uint8_t>(bitmap.mImageDataBytes, bitmap.mImageDataBytes + count);
    };
    EXPECT_EQ(painted(CoreGraphics::kBitmapTypeRGBX, QColor(255, 0, 0), 3),
              (std::vector<uint8_t>{255, 0, 0}));
    EXPECT_EQ(painted(CoreGraphics::kBitmapTypeGrey, QColor(200, 200, 200), 5),
              std::vector<uint8_t>(5, 200));
}

TEST(BitmapContext, ImagesShareTheMemoryAndCropsCountRowsFromTheBottom) {
    BitmapContext argb;
    ASSERT_TRUE(argb.Construct(640, 480, CoreGraphics::kBitmapTypeARGB, 0));
    EXPECT_EQ(argb.ConstructCGImage().constBits(), argb.mImageDataBytes);
    EXPECT_EQ(argb.GetCroppedImageRef(QRectF(0, 0, 640, 480)).constBits(), argb.mImageDataBytes);

    QImage const crop = argb.GetCroppedImageRef(QRectF(10, 20, 100, 50));
    EXPECT_TRUE(crop.constBits() == argb.mImageDataBytes + 410 * 2560 + 40 &&
                crop.size() == QSize(100, 50) && crop.bytesPerLine() == 2560);

    // A crop whose rows or columns leave the picture would read past the memory.
    TestLogCapture log;
    EXPECT_TRUE(argb.GetCroppedImageRef(QRectF(600, 0, 100, 10)).isNull());
    EXPECT_TRUE(argb.GetCroppedImageRef(QRectF(0, 450, 10, 100)).isNull());
    EXPECT_TRUE(argb.GetCroppedImageRef(QRectF(0, 0, 1e300, NAN)).isNull());
    EXPECT_EQ(log.Count(" code : dataProvider=::CGDataProviderCreateWithData(refcon, "
                        "croppedDataBytes, inCroppedRect.size.height*mImageRowBytes, "
                        "NULL) in CoreG/BitmapContext.cpp"),
              3u);
    EXPECT_TRUE(BitmapContext().GetCroppedImageRef(QRectF(0, 0, 1, 1)).isNull());
}

TEST(BitmapContext, DrawScalesIntoAnotherContext) {
    BitmapContext source;
    ASSERT_TRUE(source.Construct(2, 2, CoreGraphics::kBitmapTypeARGB, 0));
    source.mContext->fillRect(0, 0, 2, 2, QColor(0, 255, 0));
    BitmapContext target;
    ASSERT_TRUE(target.Construct(8, 8, CoreGraphics::kBitmapTypeARGB, 0));
    target.mContext->fillRect(0, 0, 8, 8, Qt::black);
    source.Draw(target.mContext.get(), QRectF(4, 4, 4, 4));
    QImage const result = target.ConstructCGImage();
    EXPECT_EQ(result.pixel(6, 6), qRgb(0, 255, 0));

    TestLogCapture log;
    BitmapContext().Draw(target.mContext.get(), QRectF(0, 0, 8, 8));
    source.Draw(nullptr, QRectF(0, 0, 8, 8));
    EXPECT_TRUE(log.Contains(" code : IsConstructed()"));
    EXPECT_TRUE(log.Contains(" code : inContext"));
    EXPECT_EQ(result.pixel(1, 1), qRgb(0, 0, 0));
}

TEST(BitmapContext, GreySampleInterpolatesAndClampsToTheEdge) {
    BitmapContext grey;
    ASSERT_TRUE(grey.Construct(2, 1, CoreGraphics::kBitmapTypeGrey, 0));
    grey.mImageDataBytes[0] = 0;
    grey.mImageDataBytes[1] = 200;
    EXPECT_EQ(grey.SafeGetPixel_BilinearInterpolatedSampleGrey(0.5f, 0.0f), 100);
    EXPECT_EQ(grey.SafeGetPixel_BilinearInterpolatedSampleGrey(-3.0f, 9.0f), 0);
    EXPECT_EQ(grey.SafeGetPixel_BilinearInterpolatedSampleGrey(7.0f, 0.0f), 200);
}

}  // namespace
