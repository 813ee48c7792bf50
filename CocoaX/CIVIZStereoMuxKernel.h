#pragma once
// The stereo mux's per-pixel arithmetic for the anaglyph formats: each output channel a
// weighted sum of the two eyes' channels. The default is a red-cyan anaglyph by Eric Dubois's
// least-squares matrices, the left eye seen through the red filter and the right eye through
// cyan; the other anaglyphs differ only in their matrices.
//
// On premultiplied ARGB pixels L (left) and R (right):
//   colour = DL * L.rgb + DR * R.rgb, clamped to 0..alpha, alpha = max(L.a, R.a)
// in 14-bit fixed point (weights round(w * 16384), sums rounded: (sum + 8192) >> 14). Opaque
// eyes give an opaque picture; where only one eye has pixels, its matrix alone applies. A swap
// value s (clamped to 0..1) blends the matrices, DL' = (1 - s) DL + s DR and
// DR' = (1 - s) DR + s DL: 1.0 exchanges the eyes exactly.

#include <cstdint>

#include "CocoaX/CIVIZStereoFormat.h"

struct CIKernelRow;

// Dubois's red-cyan least-squares matrices; rows are output red, green, blue, columns the
// eye's red, green, blue (the gamma-encoded values, as the camera delivers them).
inline constexpr double kStereoMuxDuboisLeft[3][3] = {
    {0.456, 0.500, 0.176}, {-0.040, -0.038, -0.016}, {-0.015, -0.021, -0.005}};
inline constexpr double kStereoMuxDuboisRight[3][3] = {
    {-0.043, -0.088, -0.002}, {0.378, 0.734, -0.018}, {-0.072, -0.113, 1.226}};

// Dubois's green-magenta matrices: the left eye through green, the right through magenta.
inline constexpr double kStereoMuxGreenMagentaLeft[3][3] = {
    {-0.062, -0.158, -0.039}, {0.284, 0.668, 0.143}, {-0.015, -0.027, 0.021}};
inline constexpr double kStereoMuxGreenMagentaRight[3][3] = {
    {0.529, 0.705, 0.024}, {-0.016, -0.015, -0.065}, {0.009, 0.075, 0.937}};
// Dubois's amber-blue matrices: the left eye through amber, the right through blue.
inline constexpr double kStereoMuxAmberBlueLeft[3][3] = {
    {1.062, -0.205, 0.299}, {-0.026, 0.908, 0.068}, {-0.038, -0.173, 0.022}};
inline constexpr double kStereoMuxAmberBlueRight[3][3] = {
    {-0.016, -0.123, -0.017}, {0.006, 0.062, -0.017}, {0.094, 0.185, 0.911}};

// The left and right matrices of an anaglyph format (the red-cyan Dubois ones for any
// format that is not an anaglyph).
struct StereoAnaglyphMatrices {
    double left[3][3];
    double right[3][3];
};
StereoAnaglyphMatrices StereoAnaglyphMatricesFor(CIVIZStereoFormat format);

inline constexpr int kStereoMuxFractionBits = 14;

// The weights of one frame, per output channel (red, green, blue): left red, green, blue, then
// right red, green, blue, in Q14. `pairs` holds consecutive weights two to a 32-bit word, first
// one low, as the vector forms multiply them at once: (left r, left g), (left b, right r),
// (right g, right b). Made once per frame, not per row.
struct StereoMuxCoefficients {
    int16_t weights[3][6];
    int32_t pairs[3][3];
};
StereoMuxCoefficients StereoMuxCoefficientsFor(CIVIZStereoFormat format, float swapEyes);

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
// float swapEyes, float stereoFormat)".
void StereoMuxKernelRoutine(CIKernelRow const& row);
