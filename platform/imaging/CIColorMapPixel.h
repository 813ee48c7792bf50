#pragma once
// One pixel through a colour map, the arithmetic every form of the colour-map row kernel
// shares: the SIMD forms run it for the pixels they do not take whole (pixels that are not
// opaque when the map has a tone stage), so all forms give the same bytes.

#include <cmath>
#include <cstdint>

#include "platform/imaging/CIPixelKernels.h"

inline uint32_t CIColorMapPixel(uint32_t pixel, CIColorMapRowCoefficients const& map) {
    uint32_t const alpha = pixel >> 24;
    float in[4] = {static_cast<float>(pixel & 0xFF), static_cast<float>((pixel >> 8) & 0xFF),
                   static_cast<float>((pixel >> 16) & 0xFF), static_cast<float>(alpha)};
    if (map.hasTone) {
        for (int channel = 0; channel < 3; ++channel) {
            uint32_t const value = (pixel >> (8 * channel)) & 0xFF;
            if (alpha == 255) {
                in[channel] = map.tone[channel][value];
            } else if (alpha == 0) {
                in[channel] = 0.0f;
            } else {
                // The tone belongs to the colour, not to the colour times alpha: look it up
                // between the table's entries around the unpremultiplied value, then scale
                // back by alpha.
                uint32_t const scaled = value * 255 * 256 / alpha;  // 8 fraction bits
                uint32_t const index = scaled >> 8 < 255 ? scaled >> 8 : 254;
                float const fraction = static_cast<float>(scaled - (index << 8)) * (1.0f / 256.0f);
                float const* tone = map.tone[channel];
                float const between = tone[index] + (tone[index + 1] - tone[index]) * fraction;
                in[channel] = between * (static_cast<float>(alpha) * (1.0f / 255.0f));
            }
        }
    }
    uint32_t result = pixel & 0xFF000000u;
    for (int out = 0; out < 3; ++out) {
        float const* w = map.weights[out];
        // The same operations in the same order as the SIMD forms, so all round alike.
        float value = w[0] * in[0];
        value = value + w[1] * in[1];
        value = value + w[2] * in[2];
        value = value + w[3] * in[3];
        value = value > 0.0f ? value : 0.0f;
        value = value < in[3] ? value : in[3];
        result |= static_cast<uint32_t>(std::nearbyint(value)) << (8 * out);
    }
    return result;
}
