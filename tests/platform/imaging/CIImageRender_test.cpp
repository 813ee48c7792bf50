// Images from memory, placement by the context, transforms, crops and scaled draws.

#include <cmath>

#include <QTransform>

#include <gtest/gtest.h>

#include "platform/imaging/CIColorMatrix.h"
#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIImage.h"
#include "tests/platform/imaging/ImagingTestSupport.h"

using namespace ImagingTest;

namespace {

uint32_t const kUntouched = 0xDEADBEEFu;

}  // namespace

TEST(CIImageSources, CopiedSharedBottomUpAndQImageMemory) {
    Picture picture = RandomPicture(16, 9, 1, true);
    Picture const original = picture;
    CIImage const copied = picture.image();
    CIImage const shared =
        CIImage::imageWithSharedARGBData(picture.pixels.data(), 16, 9, picture.rowBytes());
    picture.at(3, 4) = Pixel(255, 1, 2, 3);
    EXPECT_EQ(Render(copied).pixels, original.pixels) << "a later grab must not change a copy";
    EXPECT_EQ(Render(shared).pixels, picture.pixels) << "a shared image reads the memory as it is";
    EXPECT_EQ(copied.extent(), QRectF(0, 0, 16, 9));

    // 5 pixels wide in rows of 8, stored bottom row first.
    Picture const logical = RandomPicture(5, 4, 2, false);
    std::vector<uint32_t> memory(8 * 4, 0xFFFFFFFFu);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 5; ++x) {
            memory[size_t(3 - y) * 8 + x] = logical.at(x, y);
        }
    }
    CIImage const bottomUp = CIImage::imageWithSharedARGBData(memory.data() + 3 * 8, 5, 4, -8 * 4);
    CIImage const copiedBottomUp = CIImage::imageWithARGBData(memory.data() + 3 * 8, 5, 4, -8 * 4);
    EXPECT_EQ(Render(bottomUp).pixels, logical.pixels);
    EXPECT_EQ(Render(copiedBottomUp).pixels, logical.pixels);

    QImage image(7, 3, QImage::Format_ARGB32_Premultiplied);
    image.fill(qRgba(10, 20, 30, 255));
    CIImage const sharedQImage = CIImage::imageWithQImage(image);
    image.setPixel(0, 0, qRgba(1, 1, 1, 255));  // detaches: the image keeps the old pixels
    EXPECT_EQ(Render(sharedQImage).at(0, 0), Pixel(255, 10, 20, 30));
    QImage rgb888(2, 2, QImage::Format_RGB888);
    rgb888.fill(QColor(200, 100, 50));
    EXPECT_EQ(Render(CIImage::imageWithQImage(rgb888)).at(1, 1), Pixel(255, 200, 100, 50));
}

TEST(CIImageSources, NothingToShowGivesTheEmptyImageAndBadMemoryNoContext) {
    uint32_t pixel = 0;
    EXPECT_TRUE(CIImage::imageWithARGBData(&pixel, 640, 0, 2560).isEmpty());
    EXPECT_TRUE(CIImage::imageWithARGBData(nullptr, 1, 1, 4).isEmpty());
    EXPECT_TRUE(CIImage::imageWithARGBData(&pixel, 2, 1, 4).isEmpty()) << "rows shorter than width";
    EXPECT_TRUE(CIImage::imageWithQImage(QImage()).isEmpty());
    uint32_t pixels[4] = {};
    EXPECT_EQ(CIContext::contextWithBitmap(nullptr, 2, 2, 8), nullptr);
    EXPECT_EQ(CIContext::contextWithBitmap(pixels, 2, 2, 4), nullptr);
    EXPECT_NE(CIContext::contextWithBitmap(pixels, 2, 2, 8), nullptr);
}

TEST(CIContextDraw, DrawsFromRectAtPointTransparentOutsideTheExtentAndClipped) {
    Picture const source = RandomPicture(8, 6, 3, true);
    Picture target(20, 20, kUntouched);
    auto context = CIContext::contextWithBitmap(target.pixels.data(), 20, 20, target.rowBytes());
    context->drawImage(source.image(), QPointF(5, 7), QRectF(2, 1, 4, 3));
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) {
            bool const inside = x >= 5 && x < 9 && y >= 7 && y < 10;
            ASSERT_EQ(target.at(x, y), inside ? source.at(x - 3, y - 6) : kUntouched)
                << "at " << x << "," << y;
        }
    }

    target = Picture(10, 10, kUntouched);
    context = CIContext::contextWithBitmap(target.pixels.data(), 10, 10, target.rowBytes());
    // Two columns and rows before the image's origin are part of the from-rect.
    context->drawImage(source.image(), QPointF(0, 0), QRectF(-2, -2, 6, 6));
    EXPECT_EQ(target.at(0, 0), 0u);
    EXPECT_EQ(target.at(1, 5), 0u);
    EXPECT_EQ(target.at(2, 2), source.at(0, 0));
    EXPECT_EQ(target.at(5, 5), source.at(3, 3));
    EXPECT_EQ(target.at(6, 6), kUntouched);
    // Mostly off the context's right and bottom edges: only the corner is written.
    context->drawImage(source.image(), QPointF(8, 9), QRectF(0, 0, 8, 6));
    EXPECT_EQ(target.at(8, 9), source.at(0, 0));
    EXPECT_EQ(target.at(9, 9), source.at(1, 0));
    EXPECT_EQ(target.at(7, 9), kUntouched);
    context->drawImage(CIImage(), QPointF(0, 0), QRectF(0, 0, 10, 10));
    EXPECT_EQ(target.at(6, 6), kUntouched) << "the empty image draws nothing";
}

TEST(CIImageTransform, MirrorsAndAQuarterTurnMoveEveryPixelExactly) {
    // The quarter turn is not a pixel-exact transform by type, so it goes through the bilinear
    // sampler, whose weights must come out exactly 0 here.
    Picture const source = RandomPicture(9, 7, 5, false);
    QTransform const mirrorX(-1, 0, 0, 1, 9, 0);
    QTransform const turns[] = {mirrorX, QTransform(1, 0, 0, -1, 0, 7),
                                QTransform(-1, 0, 0, -1, 9, 7),
                                QTransform().translate(7, 0).rotate(90)};
    for (QTransform const& turn : turns) {
        CIImage const moved = source.image().imageByApplyingTransform(turn);
        ASSERT_EQ(moved.extent(), turn.mapRect(QRectF(0, 0, 9, 7)));
        Picture const out = Render(moved);
        // Each output pixel's centre, mapped back, is the centre of the pixel it shows.
        for (int y = 0; y < out.height; ++y) {
            for (int x = 0; x < out.width; ++x) {
                QPointF const from = turn.inverted().map(QPointF(x + 0.5, y + 0.5));
                ASSERT_EQ(out.at(x, y), source.at(int(from.x()), int(from.y()))) << x << "," << y;
            }
        }
    }
    CIImage const image = source.image();
    EXPECT_EQ(image.imageByApplyingTransform(mirrorX).imageByApplyingTransform(mirrorX), image)
        << "mirroring twice composes to nothing at all";
}

TEST(CIImageTransform, ScaledDrawIsBilinearWithHeldEdges) {
    Picture const source = RandomPicture(32, 24, 8, false);
    Picture target(64, 48);
    auto context = CIContext::contextWithBitmap(target.pixels.data(), 64, 48, target.rowBytes());
    context->drawImage(source.image(), QRectF(0, 0, 64, 48), QRectF(0, 0, 32, 24));

    // Independent reference: each output centre mapped back, clamped to the edge centres,
    // interpolated in double.
    Picture expected(64, 48);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            double const u = std::clamp((x + 0.5) / 2.0 - 0.5, 0.0, 31.0);
            double const v = std::clamp((y + 0.5) / 2.0 - 0.5, 0.0, 23.0);
            int const x0 = int(u), y0 = int(v);
            int const x1 = std::min(x0 + 1, 31), y1 = std::min(y0 + 1, 23);
            double const fx = u - x0, fy = v - y0;
            uint32_t result = 0;
            for (int shift = 0; shift < 32; shift += 8) {
                auto byte = [&](int px, int py) {
                    return double((source.at(px, py) >> shift) & 0xFF);
                };
                double const top = byte(x0, y0) * (1 - fx) + byte(x1, y0) * fx;
                double const bottom = byte(x0, y1) * (1 - fx) + byte(x1, y1) * fx;
                result |= uint32_t(std::lround(top * (1 - fy) + bottom * fy)) << shift;
            }
            expected.at(x, y) = result;
        }
    }
    EXPECT_LE(MaxByteDifference(target, expected), 1);
}

TEST(CIImageTransform, SampledRecipesMatchTheSameSampledPixels) {
    // Scaling a recipe samples its memory directly (crops and whole-pixel moves of memory)
    // or renders it to an intermediate first (anything computed); either way the result must
    // equal scaling the same pixels held as a plain source image.
    Picture const source = RandomPicture(40, 30, 9, false);
    CIImage const recipes[] = {
        source.image()
            .imageByApplyingColorMatrix(CIColorMatrix::scale(0.5, 0.75, 1.0))
            .imageByCroppingToRect(QRectF(5, 4, 20, 15)),
        source.image().imageByCroppingToRect(QRectF(5, 4, 20, 15)),
        source.image()
            .imageByApplyingTransform(QTransform::fromTranslate(3, -2))
            .imageByCroppingToRect(QRectF(5, 4, 20, 15)),
    };
    QTransform scale;
    scale.scale(2.5, 1.5);
    QTransform turnAndScale = scale;
    turnAndScale.rotate(10);
    for (CIImage const& recipe : recipes) {
        Picture const flat = Render(recipe);
        ASSERT_EQ(flat.width, 20);
        CIImage const flatImage =
            flat.image().imageByApplyingTransform(QTransform::fromTranslate(5, 4));
        for (QTransform const& transform : {scale, turnAndScale}) {
            Picture const viaRecipe =
                Render(recipe.imageByApplyingTransform(transform), -10, 0, 70, 40);
            Picture const viaSource =
                Render(flatImage.imageByApplyingTransform(transform), -10, 0, 70, 40);
            EXPECT_EQ(viaRecipe.pixels, viaSource.pixels) << recipe.description().toStdString();
        }
    }
}

TEST(CIImageCrop, KeepsPixelsWhoseCentresAreInside) {
    Picture const source = RandomPicture(10, 10, 10, true);
    CIImage const cropped = source.image().imageByCroppingToRect(QRectF(2.4, 3.0, 4.2, 2.6));
    // Centres 2.5 .. 6.5 are inside 2.4 .. 6.6; 3.5 .. 5.5 inside 3.0 .. 5.6.
    Picture const out = Render(cropped, 0, 0, 10, 10);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 10; ++x) {
            bool const inside = x >= 2 && x <= 6 && y >= 3 && y <= 5;
            ASSERT_EQ(out.at(x, y), inside ? source.at(x, y) : 0u) << x << "," << y;
        }
    }
    CIImage const twice = cropped.imageByCroppingToRect(QRectF(4, 0, 10, 10));
    EXPECT_EQ(twice.extent(), QRectF(4, 3, 2.6, 2.6));
    EXPECT_EQ(twice.description().count("crop("), 1) << twice.description().toStdString();
    EXPECT_TRUE(source.image().imageByCroppingToRect(QRectF(20, 20, 5, 5)).isEmpty());
}
