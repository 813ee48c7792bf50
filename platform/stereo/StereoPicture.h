#pragma once
// One eye's picture as the stereo measurements read it: 32-bit premultiplied ARGB words
// (bytes B, G, R, A in memory), rows `rowBytes` apart. Pixels with alpha 0 are no picture
// (outside an eye that an alignment moved); the measurements leave them out.

#include <cstddef>
#include <cstdint>

struct StereoPicture {
    std::uint8_t const* pixels = nullptr;
    int width = 0;
    int height = 0;
    std::ptrdiff_t rowBytes = 0;

    bool isValid() const {
        return pixels != nullptr && width > 0 && height > 0 && rowBytes >= 4 * width;
    }
    std::uint32_t const* row(int y) const {
        return reinterpret_cast<std::uint32_t const*>(pixels + rowBytes * y);
    }
};
