#pragma once
// Seeded gradient noise in one, two and three dimensions (Ken Perlin's), with one
// process-wide generator built at start-up with the seed 4567.

#include <cstdint>

namespace CoreGeometry {

// `value` truncated toward zero and kept to the int range, NaN giving 0: a plain conversion
// of a value outside the range is undefined.
int ClampedIntFromFloat(float value);

class PerlinNoise {
public:
    explicit PerlinNoise(unsigned int seed) { Construct(seed); }

    // Builds the tables from the C library's rand() seeded with `seed`, so a seed always
    // gives the same noise with the same C library. Reseeds the shared generator: not to be
    // called while other code draws from it.
    void Construct(unsigned int seed);

    // Zero at every integer lattice point; roughly within -1..1 elsewhere.
    float Noise1(float x) const;
    float Noise2(float x, float y) const;
    float Noise3(float x, float y, float z) const;

    // Noise1 at t scaled by 2^(octave + 1), octave kept to 0..8.
    float Noise1FromNormalValue(float t, unsigned int octave) const;
    // The octave of a frequency: log2 truncated, kept to 0..8 (above 7 gives 8).
    static int OctaveFromFrequency(float frequency);

    std::uint8_t Permutation(int i) const { return mPermutation[i & 255]; }
    float GradientX(int i) const { return mGradientX[i & 255]; }
    float GradientY(int i) const { return mGradientY[i & 255]; }
    float GradientZ(int i) const { return mGradientZ[i & 255]; }

    static PerlinNoise const sSingleton;

private:
    std::uint8_t mPermutation[256];
    float mGradientX[256];  // also the gradients of the one-dimensional noise
    float mGradientY[256];
    float mGradientZ[256];
};

}  // namespace CoreGeometry
