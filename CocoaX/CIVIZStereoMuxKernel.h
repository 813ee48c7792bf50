#pragma once
// The stereo mux's per-pixel arithmetic: a red-cyan anaglyph by Eric Dubois's least-squares
// matrices, the left eye seen through the red filter and the right eye through cyan.
//
// On premultiplied ARGB pixels L (left) and R (right):
//   colour = DL * L.rgb + DR * R.rgb, clamped to 0..alpha, alpha = max(L.a, R.a)
// in 14-bit fixed point (weights round(w * 16384), sums rounded: (sum + 8192) >> 14). Opaque
// eyes give an opaque picture; where only one eye has pixels, its matrix alone applies. A swap
// value s (clamped to 0..1) blends the matrices, DL' = (1 - s) DL + s DR and
// DR' = (1 - s) DR + s DL: 1.0 exchanges the eyes exactly.

#include <cstdint>

struct CIKernelRow;

// Dubois's red-cyan least-squares matrices; rows are output red, green, blue, columns the
// eye's red, green, blue (the gamma-encoded values, as the camera delivers them).
inline constexpr double kStereoMuxDuboisLeft[3][3] = {
    {0.456, 0.500, 0.176}, {-0.040, -0.038, -0.016}, {-0.015, -0.021, -0.005}};
inline constexpr double kStereoMuxDuboisRight[3][3] = {
    {-0.043, -0.088, -0.002}, {0.378, 0.734, -0.018}, {-0.072, -0.113, 1.226}};

inline constexpr int kStereoMuxFractionBits = 14;

// The weights of one frame, per output channel (red, green, blue): left red, green, blue, then
// right red, green, blue, in Q14. `pairs` holds consecutive weights two to a 32-bit word, first
// one low, as the vector forms multiply them at once: (left r, left g), (left b, right r),
// (right g, right b). Made once per frame, not per row.
struct StereoMuxCoefficients {
    int16_t weights[3][6];
    int32_t pairs[3][3];
};
StereoMuxCoefficients StereoMuxCoefficientsForSwap(float swapEyes);

// dst[i] = the anaglyph of right[i] and left[i]. Any width.
void StereoMuxRow_C(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                    StereoMuxCoefficients const& coefficients);
// The same for a width that is a multiple of 8; identical results.
void StereoMuxRow_SSE2(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                       StereoMuxCoefficients const& coefficients);
// The same for a width that is a multiple of 16; identical results.
void StereoMuxRow_AVX2(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                       StereoMuxCoefficients const& coefficients);
// Any width: the widest vector form the processor has (unless the reference is forced) over
// as much of the row as it takes, the narrower ones and the reference for the rest.
void StereoMuxRow(uint32_t const* right, uint32_t const* left, uint32_t* dst, int width,
                  StereoMuxCoefficients const& coefficients);

// The routine behind the kernel text's "stereoMux(sampler rightImage, sampler leftImage,
// float swapEyes)".
void StereoMuxKernelRoutine(CIKernelRow const& row);
