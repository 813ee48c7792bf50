// Perlin noise: table construction from the C library's generator, zeros on the lattice,
// the octave rules, and the block fill of bitmaps.

#include "CoreG/PerlinNoise.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "CoreG/BitmapContext.h"

using CoreGeometry::PerlinNoise;

namespace {

TEST(PerlinNoise, TablesFollowTheDrawOrderOfRand) {
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    std::vector<int> seen(256, 0);
    for (int i = 0; i < 256; ++i) {
        ++seen[noise.Permutation(i)];
    }
    EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](int n) { return n == 1; }));

    // The same seed replayed by hand: 256 shuffle draws, then X, Y, Z of entry 0, then of
    // entry 1. A generator that drew all X first, or reseeded, gives other tables.
    std::srand(4567);
    int perm[256];
    for (int i = 0; i < 256; ++i) {
        perm[i] = i;
    }
    for (int i = 0; i < 256; ++i) {
        std::swap(perm[i], perm[std::rand() & 255]);
    }
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(noise.Permutation(i), perm[i]) << i;
    }
    for (int i = 0; i < 2; ++i) {
        float const x = static_cast<float>(std::rand()) / 1073741824.0f - 1.0f;
        float const y = static_cast<float>(std::rand()) / 1073741824.0f - 1.0f;
        float const z = static_cast<float>(std::rand()) / 1073741824.0f - 1.0f;
        EXPECT_FLOAT_EQ(noise.GradientX(i), x);
        EXPECT_FLOAT_EQ(noise.GradientY(i), y);
        EXPECT_FLOAT_EQ(noise.GradientZ(i), z);
    }

    PerlinNoise const again(4567);
    PerlinNoise const other(4568);
    int differing = 0;
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(again.GradientZ(i), noise.GradientZ(i));
        differing += other.Permutation(i) != noise.Permutation(i);
        EXPECT_GE(noise.GradientY(i), -1.0f);
        EXPECT_LT(noise.GradientY(i), 1.0f);
    }
    EXPECT_GT(differing, 200);
}

TEST(PerlinNoise, ZeroOnTheLatticeInEveryDimension) {
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    for (int i = -300; i <= 300; i += 7) {
        float const f = static_cast<float>(i);
        EXPECT_EQ(noise.Noise1(f), 0.0f);
        EXPECT_EQ(noise.Noise2(f, f + 3), 0.0f);
        EXPECT_EQ(noise.Noise3(f, 11.0f, f - 5), 0.0f);
    }
    // Between lattice points it is not flat.
    float spread = 0.0f;
    for (int i = 0; i < 100; ++i) {
        spread = std::max(spread, std::fabs(noise.Noise2(i * 0.37f, i * 0.61f)));
        spread = std::max(spread, std::fabs(noise.Noise3(i * 0.37f, i * 0.61f, i * 0.13f)));
    }
    EXPECT_GT(spread, 0.1f);
}

TEST(PerlinNoise, OneDimensionUsesTheGradientsDirectly) {
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    EXPECT_FLOAT_EQ(noise.Noise1(0.5f), 0.25f * (noise.GradientX(0) - noise.GradientX(1)));
    EXPECT_FLOAT_EQ(noise.Noise1(300.5f), 0.25f * (noise.GradientX(44) - noise.GradientX(45)));
    // Just after a lattice point the slope is that point's gradient.
    EXPECT_NEAR(noise.Noise1(7.001f) / 0.001f, noise.GradientX(7), 0.01f);
    EXPECT_FLOAT_EQ(noise.Noise1FromNormalValue(0.25f, 0), noise.Noise1(0.5f));
    EXPECT_FLOAT_EQ(noise.Noise1FromNormalValue(0.01f, 12), noise.Noise1(5.12f));
}

TEST(PerlinNoise, OctaveFromFrequency) {
    EXPECT_EQ(PerlinNoise::OctaveFromFrequency(1.0f), 0);
    EXPECT_EQ(PerlinNoise::OctaveFromFrequency(200.0f), 7);
    EXPECT_EQ(PerlinNoise::OctaveFromFrequency(1000.0f), 8);
    EXPECT_EQ(PerlinNoise::OctaveFromFrequency(0.25f), 0);
    EXPECT_EQ(PerlinNoise::OctaveFromFrequency(0.0f), 0);
    EXPECT_EQ(PerlinNoise::OctaveFromFrequency(INFINITY), 8);
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

    // Cell size 0 is 1. Each pixel has the wrapped level of the noise at its lattice position.
    grey.FillPerlinNoise(0, 0.5f);
    PerlinNoise const& noise = PerlinNoise::sSingleton;
    for (int x : {0, 1, 77, 299}) {
        int const y = 133;
        float const v = noise.Noise2(256.0f * x / 300, 256.0f * y / 200);
        EXPECT_EQ(grey.mImageDataBytes[y * 300 + x],
                  static_cast<uint8_t>(static_cast<int>(v * 0.5f * 255)));
    }

    // 32-bit pixels are opaque grey of the same level. (A width that divides 256 would put
    // every block on a lattice point, where the noise is 0.)
    CoreGraphics::BitmapContext argb;
    ASSERT_TRUE(argb.Construct(100, 60, CoreGraphics::kBitmapTypeARGB, 0));
    argb.FillPerlinNoise(3, 1.0f);
    CoreGraphics::BitmapContext sameGrey;
    ASSERT_TRUE(sameGrey.Construct(100, 60, CoreGraphics::kBitmapTypeGrey, 0));
    sameGrey.FillPerlinNoise(3, 1.0f);
    bool anyNonZero = false;
    for (int i = 0; i < 100 * 60; ++i) {
        uint8_t const* p = argb.mImageDataBytes + 4 * i;
        uint8_t const v = sameGrey.mImageDataBytes[i];
        ASSERT_TRUE(p[0] == v && p[1] == v && p[2] == v && p[3] == 255) << i;
        anyNonZero |= v != 0;
    }
    EXPECT_TRUE(anyNonZero);
}

}  // namespace
