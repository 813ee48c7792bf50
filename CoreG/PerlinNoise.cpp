#include "CoreG/PerlinNoise.h"

#include <cmath>
#include <cstdlib>
#include <utility>

namespace CoreGeometry {

PerlinNoise const PerlinNoise::sSingleton(4567);

int ClampedIntFromFloat(float value) {
    // The largest floats on either side that convert to an int.
    constexpr float kMax = 2147483520.0f;
    constexpr float kMin = -2147483648.0f;
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<int>(value > kMax ? kMax : (value < kMin ? kMin : value));
}

namespace {

inline float SCurve(float t) { return (3.0f - 2.0f * t) * t * t; }

inline float Lerp(float s, float a, float b) { return a + s * (b - a); }

// The lattice cell holding x (its floor, reduced modulo 256, which is all the tables use) and
// x's place inside the cell. fmod is exact, so finite inputs give the same cell and fraction
// as floor(x) would; infinities and NaN fall in cell 0 at 0.
inline int LatticeCell(float x, float& fraction) {
    if (!std::isfinite(x)) {
        fraction = 0.0f;
        return 0;
    }
    float const reduced = std::fmod(x, 256.0f);
    float const cell = std::floor(reduced);
    fraction = reduced - cell;
    return static_cast<int>(cell) & 255;
}

// Octaves above 7 are taken as 8, below 0 as 0.
inline int ClampOctave(int octave) { return octave > 7 ? 8 : (octave < 0 ? 0 : octave); }

}  // namespace

void PerlinNoise::Construct(unsigned int seed) {
    std::srand(seed);
    for (int i = 0; i < 256; ++i) {
        mPermutation[i] = static_cast<std::uint8_t>(i);
    }
    for (int i = 0; i < 256; ++i) {
        int const j = std::rand() & 255;
        std::swap(mPermutation[i], mPermutation[j]);
    }
    // rand() runs over 0..2^31-1, so each component falls in [-1, 1). The draw order (X, Y,
    // Z of one entry, then the next entry) fixes the tables for a seed.
    for (int i = 0; i < 256; ++i) {
        mGradientX[i] = std::fmaf(static_cast<float>(std::rand()), 0x1p-30f, -1.0f);
        mGradientY[i] = std::fmaf(static_cast<float>(std::rand()), 0x1p-30f, -1.0f);
        mGradientZ[i] = std::fmaf(static_cast<float>(std::rand()), 0x1p-30f, -1.0f);
    }
}

float PerlinNoise::Noise1(float x) const {
    float f;
    int const i = LatticeCell(x, f);
    float const g0 = mGradientX[i & 255];
    float const g1 = mGradientX[(i + 1) & 255];
    return Lerp(SCurve(f), g0 * f, g1 * (f - 1.0f));
}

float PerlinNoise::Noise2(float x, float y) const {
    float fx;
    float fy;
    int const ix = LatticeCell(x, fx);
    int const iy = LatticeCell(y, fy);
    int const a = mPermutation[ix & 255];
    int const b = mPermutation[(ix + 1) & 255];
    int const h00 = mPermutation[(a + iy) & 255];
    int const h10 = mPermutation[(b + iy) & 255];
    int const h01 = mPermutation[(a + iy + 1) & 255];
    int const h11 = mPermutation[(b + iy + 1) & 255];
    auto corner = [&](int h, float cx, float cy) {
        return mGradientX[h] * (fx - cx) + mGradientY[h] * (fy - cy);
    };
    float const sx = SCurve(fx);
    float const bottom = Lerp(sx, corner(h00, 0, 0), corner(h10, 1, 0));
    float const top = Lerp(sx, corner(h01, 0, 1), corner(h11, 1, 1));
    return Lerp(SCurve(fy), bottom, top);
}

float PerlinNoise::Noise3(float x, float y, float z) const {
    float fx;
    float fy;
    float fz;
    int const ix = LatticeCell(x, fx);
    int const iy = LatticeCell(y, fy);
    int const iz = LatticeCell(z, fz);
    int const a = mPermutation[ix & 255];
    int const b = mPermutation[(ix + 1) & 255];
    int const aa = mPermutation[(a + iy) & 255];
    int const ab = mPermutation[(a + iy + 1) & 255];
    int const ba = mPermutation[(b + iy) & 255];
    int const bb = mPermutation[(b + iy + 1) & 255];
    auto corner = [&](int pair, float cx, float cy, float cz) {
        int const h = mPermutation[(pair + iz + static_cast<int>(cz)) & 255];
        return mGradientX[h] * (fx - cx) + mGradientY[h] * (fy - cy) + mGradientZ[h] * (fz - cz);
    };
    float const sx = SCurve(fx);
    float const sy = SCurve(fy);
    float const nearPlane = Lerp(sy, Lerp(sx, corner(aa, 0, 0, 0), corner(ba, 1, 0, 0)),
                                 Lerp(sx, corner(ab, 0, 1, 0), corner(bb, 1, 1, 0)));
    float const farPlane = Lerp(sy, Lerp(sx, corner(aa, 0, 0, 1), corner(ba, 1, 0, 1)),
                                Lerp(sx, corner(ab, 0, 1, 1), corner(bb, 1, 1, 1)));
    return Lerp(SCurve(fz), nearPlane, farPlane);
}

float PerlinNoise::Noise1FromNormalValue(float t, unsigned int octave) const {
    int const o = octave > 7 ? 8 : static_cast<int>(octave);
    float const scale = std::ldexp(1.0f, o + 1);
    return Noise1(scale * t);
}

int PerlinNoise::OctaveFromFrequency(float frequency) {
    // Below 1 (zero, negative and NaN included) the octave is 0; the logarithm is bounded
    // before it is converted.
    if (!(frequency >= 1.0f)) {
        return 0;
    }
    float const octave = std::log2(frequency);
    return ClampOctave(octave > 100.0f ? 100 : static_cast<int>(octave));
}

}  // namespace CoreGeometry
