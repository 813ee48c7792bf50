// Bitmap contexts: row lengths and sizes per type, sharing memory with their images,
// cropping in bottom-left coordinates, and painting through the context.

#include "CoreG/BitmapContext.h"

#include <cstring>

#include <QPainter>

#include <gtest/gtest.h>

#include "tests/support/TestLogCapture.h"

using CoreGraphics::BitmapContext;

namespace {

TEST(BitmapContext, SizesFollowTypeAndRowBytes) {
    BitmapContext argb;
    ASSERT_TRUE(argb.Construct(640, 480, CoreGraphics::kBitmapTypeARGB, 0));
    EXPECT_TRUE(argb.IsConstructed());
    EXPECT_EQ(argb.mImageRowBytes, 2560u);
    EXPECT_EQ(argb.mImageDataSize, 1228800u);
    EXPECT_EQ(argb.mImageBitsPerPixel, 32u);
    EXPECT_EQ(argb.mGWorld.PixelFormat(), uint32_t{k32ARGBPixelFormat});
    EXPECT_EQ(argb.mGWorld.BaseAddr(), argb.mImageDataBytes);

    // Grey rows are not rounded up.
    BitmapContext grey;
    ASSERT_TRUE(grey.Construct(5, 3, CoreGraphics::kBitmapTypeGrey, 0));
    EXPECT_EQ(grey.mImageRowBytes, 5u);
    EXPECT_EQ(grey.mImageDataSize, 15u);
    EXPECT_EQ(grey.mImageBitsPerPixel, 8u);

    // Types 3 and 4 are 32-bit pictures that the offscreen world sees in the grey format.
    for (int type : {CoreGraphics::kBitmapTypeXRGB, CoreGraphics::kBitmapTypeRGBX}) {
        BitmapContext other;
        ASSERT_TRUE(other.Construct(8, 2, type, 0));
        EXPECT_EQ(other.mImageRowBytes, 32u);
        EXPECT_EQ(other.mGWorld.PixelFormat(), uint32_t{k8IndexedGrayPixelFormat});
    }
}

TEST(BitmapContext, PaddedRowsAreKeptShortRowsAreReported) {
    BitmapContext padded;
    ASSERT_TRUE(padded.Construct(10, 4, CoreGraphics::kBitmapTypeARGB, 64));
    EXPECT_EQ(padded.mImageRowBytes, 64u);
    EXPECT_EQ(padded.mImageDataSize, 256u);

    TestLogCapture log;
    BitmapContext shortRows;
    ASSERT_TRUE(shortRows.Construct(10, 4, CoreGraphics::kBitmapTypeARGB, 20));
    EXPECT_EQ(shortRows.mImageRowBytes, 40u);
    EXPECT_NE(log.Lines().find(" code : inUseRowBytes>=mImageRowBytes"), std::string::npos);
}

TEST(BitmapContext, UnknownTypesBuildNothing) {
    for (int type : {0, 5, -1}) {
        BitmapContext bitmap;
        EXPECT_FALSE(bitmap.Construct(16, 16, type, 0));
        EXPECT_FALSE(bitmap.IsConstructed());
        EXPECT_EQ(bitmap.mImageDataBytes, nullptr);
        EXPECT_EQ(bitmap.mImageDataSize, 0u);
    }
}

TEST(BitmapContext, ContextPaintsIntoTheMemoryInHostOrder) {
    BitmapContext argb;
    ASSERT_TRUE(argb.Construct(4, 4, CoreGraphics::kBitmapTypeARGB, 0));
    argb.mContext->fillRect(0, 0, 4, 4, QColor(255, 0, 0));
    uint8_t const bgra[4] = {0, 0, 255, 255};
    EXPECT_EQ(std::memcmp(argb.mImageDataBytes, bgra, 4), 0);

    BitmapContext rgbx;
    ASSERT_TRUE(rgbx.Construct(4, 4, CoreGraphics::kBitmapTypeRGBX, 0));
    rgbx.mContext->fillRect(0, 0, 4, 4, QColor(255, 0, 0));
    uint8_t const rgb[3] = {255, 0, 0};
    EXPECT_EQ(std::memcmp(rgbx.mImageDataBytes, rgb, 3), 0);

    BitmapContext grey;
    ASSERT_TRUE(grey.Construct(5, 2, CoreGraphics::kBitmapTypeGrey, 0));
    grey.mContext->fillRect(0, 0, 5, 2, QColor(200, 200, 200));
    EXPECT_EQ(grey.mImageDataBytes[9], 200);  // last pixel of an unaligned row
}

TEST(BitmapContext, ImagesShareTheMemory) {
    BitmapContext argb;
    ASSERT_TRUE(argb.Construct(640, 480, CoreGraphics::kBitmapTypeARGB, 0));
    QImage const whole = argb.ConstructCGImage();
    ASSERT_FALSE(whole.isNull());
    EXPECT_EQ(whole.constBits(), argb.mImageDataBytes);
    EXPECT_EQ(whole.bytesPerLine(), 2560);

    // Drawn after the image was made, seen through it.
    argb.mContext->fillRect(0, 0, 640, 480, QColor(0, 0, 255));
    EXPECT_EQ(whole.pixel(320, 240), qRgb(0, 0, 255));

    QImage const full = argb.GetCroppedImageRef(QRectF(0, 0, 640, 480));
    EXPECT_EQ(full.constBits(), argb.mImageDataBytes);
    EXPECT_EQ(full.size(), QSize(640, 480));
}

TEST(BitmapContext, CropCountsRowsFromTheBottom) {
    BitmapContext argb;
    ASSERT_TRUE(argb.Construct(640, 480, CoreGraphics::kBitmapTypeARGB, 0));
    QImage const crop = argb.GetCroppedImageRef(QRectF(10, 20, 100, 50));
    ASSERT_FALSE(crop.isNull());
    EXPECT_EQ(crop.constBits(), argb.mImageDataBytes + 410 * 2560 + 40);
    EXPECT_EQ(crop.size(), QSize(100, 50));
    EXPECT_EQ(crop.bytesPerLine(), 2560);

    // A crop whose rows or columns leave the picture would read past the memory.
    TestLogCapture log;
    EXPECT_TRUE(argb.GetCroppedImageRef(QRectF(600, 0, 100, 10)).isNull());
    EXPECT_TRUE(argb.GetCroppedImageRef(QRectF(0, 450, 10, 100)).isNull());
    EXPECT_NE(log.Lines().find("fInside"), std::string::npos);

    BitmapContext empty;
    EXPECT_TRUE(empty.GetCroppedImageRef(QRectF(0, 0, 1, 1)).isNull());
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
    EXPECT_EQ(result.pixel(1, 1), qRgb(0, 0, 0));

    TestLogCapture log;
    BitmapContext unbuilt;
    unbuilt.Draw(target.mContext.get(), QRectF(0, 0, 8, 8));
    source.Draw(nullptr, QRectF(0, 0, 8, 8));
    std::string const lines = log.Lines();
    EXPECT_NE(lines.find(" code : IsConstructed()"), std::string::npos);
    EXPECT_NE(lines.find(" code : inContext"), std::string::npos);
    EXPECT_EQ(result.pixel(1, 1), qRgb(0, 0, 0));
}

TEST(BitmapContext, DestructAndReconstruct) {
    BitmapContext bitmap;
    ASSERT_TRUE(bitmap.Construct(32, 16, CoreGraphics::kBitmapTypeARGB, 0));
    ASSERT_TRUE(bitmap.Construct(8, 8, CoreGraphics::kBitmapTypeGrey, 0));
    EXPECT_EQ(bitmap.mImageDataSize, 64u);
    bitmap.Destruct();
    EXPECT_FALSE(bitmap.IsConstructed());
    EXPECT_EQ(bitmap.mImageDataBytes, nullptr);
    EXPECT_FALSE(bitmap.mGWorld.IsConstructed());
    EXPECT_TRUE(bitmap.ConstructCGImage().isNull());
}

TEST(BitmapContext, GreySampleInterpolatesAndClampsToTheEdge) {
    BitmapContext grey;
    ASSERT_TRUE(grey.Construct(2, 1, CoreGraphics::kBitmapTypeGrey, 0));
    grey.mImageDataBytes[0] = 0;
    grey.mImageDataBytes[1] = 200;
    EXPECT_EQ(grey.SafeGetPixel_BilinearInterpolatedSampleGrey(0.5f, 0.0f), 100);
    EXPECT_EQ(grey.SafeGetPixel_BilinearInterpolatedSampleGrey(-3.0f, 9.0f), 0);
    EXPECT_EQ(grey.SafeGetPixel_BilinearInterpolatedSampleGrey(7.0f, 0.0f), 200);

    BitmapContext argb;
    ASSERT_TRUE(argb.Construct(1, 1, CoreGraphics::kBitmapTypeARGB, 0));
    argb.mContext->fillRect(0, 0, 1, 1, QColor(255, 255, 255));
    EXPECT_EQ(argb.SafeGetPixel_BilinearInterpolatedSampleGrey(0.0f, 0.0f), 255);
}

}  // namespace
