// Perlin noise: table construction from the C library's generator, zeros on the lattice,
// the octave rules, and the block fill of bitmaps.

#include "CoreG/PerlinNoise.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "CoreG/BitmapContext.h"

using CoreGeometry::PerlinNoise;

namespace {

TEST(PerlinNoise, TablesFollowTheDrawOrderOfRand) {
    // The same seed replayed by hand: 256 shuffle draws, then X, Y, Z of entry 0, then of
    // entry 1. A generator that drew all X first, or reseeded, gives other tables.
    std::srand(4567);
    int perm[256];
    std::iota(perm, perm + 256, 0);
    for (int i = 0; i < 256; ++i) {
        std::swap(perm[i], perm[std::rand() & 255]);
    }
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(noise.Permutation(i), perm[i]) << i;
    }
    for (int i = 0; i < 2; ++i) {
        for (auto gradient :
             {&PerlinNoise::GradientX, &PerlinNoise::GradientY, &PerlinNoise::GradientZ}) {
            float const expected = static_cast<float>(std::rand()) / 1073741824.0f - 1.0f;
            EXPECT_FLOAT_EQ((noise.*gradient)(i), expected) << i;
        }
    }
}

TEST(PerlinNoise, ZeroOnTheLatticeAndDefinedForAnyInput) {
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    // Lattice points, and far from zero: there the cell still repeats every 256 (floats that
    // large are integers, so on the lattice), and values no int holds must not reach a
    // float-to-int conversion.
    std::vector<float> points = {3.0e9f, -3.0e9f, 1.0e30f, INFINITY, -INFINITY, NAN};
    for (int i = -300; i <= 300; i += 7) {
        points.push_back(static_cast<float>(i));
    }
    for (float const f : points) {
        EXPECT_TRUE(noise.Noise1(f) == 0 && noise.Noise2(f, f + 3) == 0 &&
                    noise.Noise3(f, 11.0f, f - 5) == 0 && noise.Noise3(1.0f, f, 2.0f) == 0)
            << f;
    }
    EXPECT_EQ(noise.Noise1(256.0f * 4096.0f + 0.5f), noise.Noise1(0.5f));
    EXPECT_NE(noise.Noise2(0.37f, 0.61f), 0.0f);
}

TEST(PerlinNoise, OneDimensionUsesTheGradientsDirectly) {
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    EXPECT_FLOAT_EQ(noise.Noise1(0.5f), 0.25f * (noise.GradientX(0) - noise.GradientX(1)));
    EXPECT_FLOAT_EQ(noise.Noise1FromNormalValue(0.25f, 0), noise.Noise1(0.5f));
    EXPECT_FLOAT_EQ(noise.Noise1FromNormalValue(0.01f, 12), noise.Noise1(5.12f));
}

TEST(PerlinNoise, OctaveFromFrequency) {
    std::pair<float, int> const cases[] = {{1.0f, 0},  {200.0f, 7}, {1000.0f, 8},
                                           {0.25f, 0}, {0.0f, 0},   {INFINITY, 8}};
    for (auto [frequency, octave] : cases) {
        EXPECT_EQ(PerlinNoise::OctaveFromFrequency(frequency), octave) << frequency;
    }
}

// Every block of cell x cell pixels holds one value.
bool BlocksAreUniform(CoreGraphics::BitmapContext const& bitmap, int cell) {
    for (uint32_t y = 0; y < bitmap.mImageHeight; ++y) {
        for (uint32_t x = 0; x < bitmap.mImageWidth; ++x) {
            uint8_t const* p = bitmap.mImageDataBytes + y * bitmap.mImageRowBytes + x;
            uint8_t const* first = bitmap.mImageDataBytes +
                                   (y / cell * cell) * bitmap.mImageRowBytes + (x / cell * cell);
            if (*p != *first) {
                return false;
            }
        }
    }
    return true;
}

TEST(PerlinNoise, FillMakesBlocksOfTheClampedCellSize) {
    CoreGraphics::BitmapContext grey;
    ASSERT_TRUE(grey.Construct(300, 200, CoreGraphics::kBitmapTypeGrey, 0));
    grey.FillPerlinNoise(100, 1.0f);  // taken as 64
    EXPECT_TRUE(BlocksAreUniform(grey, 64));
    EXPECT_FALSE(BlocksAreUniform(grey, 128));

    // Cell size 0 is 1: each pixel has the wrapped level of the noise at its lattice position.
    grey.FillPerlinNoise(0, 0.5f);
    for (int x : {0, 1, 77, 299}) {
        float const v = PerlinNoise::sSingleton.Noise2(256.0f * x / 300, 256.0f * 133 / 200);
        EXPECT_EQ(grey.mImageDataBytes[133 * 300 + x], uint8_t(int(v * 0.5f * 255))) << x;
    }

    // 32-bit pixels are opaque grey of the same level. (A width that divides 256 would put
    // every block on a lattice point, where the noise is 0.)
    CoreGraphics::BitmapContext argb;
    ASSERT_TRUE(argb.Construct(100, 60, CoreGraphics::kBitmapTypeARGB, 0));
    argb.FillPerlinNoise(3, 1.0f);
    CoreGraphics::BitmapContext sameGrey;
    ASSERT_TRUE(sameGrey.Construct(100, 60, CoreGraphics::kBitmapTypeGrey, 0));
    sameGrey.FillPerlinNoise(3, 1.0f);
    for (int i = 0; i < 100 * 60; ++i) {
        uint8_t const* p = argb.mImageDataBytes + 4 * i;
        uint8_t const v = sameGrey.mImageDataBytes[i];
        ASSERT_TRUE(p[0] == v && p[1] == v && p[2] == v && p[3] == 255) << i;
    }
    EXPECT_TRUE(std::any_of(sameGrey.mImageDataBytes, sameGrey.mImageDataBytes + 100 * 60,
                            [](uint8_t v) { return v != 0; }));

    // An amplitude that takes levels past the int range is kept to it, not undefined.
    grey.FillPerlinNoise(3, 1.0e12f);
    EXPECT_EQ(CoreGeometry::ClampedIntFromFloat(1.0e12f), 2147483520);
    EXPECT_EQ(CoreGeometry::ClampedIntFromFloat(-1.0e12f), -2147483647 - 1);
    EXPECT_EQ(CoreGeometry::ClampedIntFromFloat(NAN), 0);
}

}  // namespace
