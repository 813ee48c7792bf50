#pragma once
// Pictures and pixel access for the imaging and filter tests.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <QImage>

#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIImage.h"

namespace ImagingTest {

// What an output holds before a kernel writes it, so that a pixel left unwritten shows.
inline constexpr uint32_t kMarker = 0xA5A5A5A5u;

// A packed width x height picture of 32-bit premultiplied ARGB words.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;

    Picture(int w, int h, uint32_t fill = 0) : width(w), height(h), pixels(size_t(w) * h, fill) {}
    uint32_t& at(int x, int y) { return pixels[size_t(y) * width + x]; }
    uint32_t at(int x, int y) const { return pixels[size_t(y) * width + x]; }
    int rowBytes() const { return width * 4; }
    CIImage image() const {
        return CIImage::imageWithARGBData(pixels.data(), width, height, rowBytes());
    }
};

inline uint32_t Pixel(int a, int r, int g, int b) {
    return uint32_t(a) << 24 | uint32_t(r) << 16 | uint32_t(g) << 8 | uint32_t(b);
}
inline int Alpha(uint32_t p) { return int(p >> 24); }
inline int Red(uint32_t p) { return int((p >> 16) & 0xFF); }
inline int Green(uint32_t p) { return int((p >> 8) & 0xFF); }
inline int Blue(uint32_t p) { return int(p & 0xFF); }

// A valid premultiplied pixel: every colour byte at most alpha.
inline uint32_t RandomPixel(std::mt19937& rng, bool opaque) {
    int const a = opaque ? 255 : int(rng() % 256);
    auto channel = [&] { return a == 0 ? 0 : int(rng() % uint32_t(a + 1)); };
    int const r = channel();
    int const g = channel();
    int const b = channel();
    return Pixel(a, r, g, b);
}

// `count` valid pixels, of any alpha unless `opaque`.
inline std::vector<uint32_t> RandomRow(std::mt19937& rng, size_t count, bool opaque = false) {
    std::vector<uint32_t> row(count);
    for (uint32_t& p : row) {
        p = RandomPixel(rng, opaque);
    }
    return row;
}

inline Picture RandomPicture(int width, int height, uint32_t seed, bool opaque) {
    std::mt19937 rng(seed);
    Picture picture(width, height);
    picture.pixels = RandomRow(rng, picture.pixels.size(), opaque);
    return picture;
}

// Renders `image`'s pixels over rect (x, y, width, height) of image coordinates.
inline Picture Render(CIImage const& image, int x, int y, int width, int height) {
    Picture picture(width, height, kMarker);
    auto context =
        CIContext::contextWithBitmap(picture.pixels.data(), width, height, picture.rowBytes());
    context->drawImage(image, QPointF(0, 0), QRectF(x, y, width, height));
    return picture;
}
inline Picture Render(CIImage const& image) {
    QRect const r = image.extent().toAlignedRect();
    return Render(image, r.x(), r.y(), r.width(), r.height());
}

// The largest difference of any byte of any pixel.
inline int MaxByteDifference(Picture const& a, Picture const& b) {
    if (a.width != b.width || a.height != b.height) {
        return 256;
    }
    int worst = 0;
    for (size_t i = 0; i < a.pixels.size(); ++i) {
        for (int shift = 0; shift < 32; shift += 8) {
            int const difference =
                int((a.pixels[i] >> shift) & 0xFF) - int((b.pixels[i] >> shift) & 0xFF);
            worst = std::max(worst, std::abs(difference));
        }
    }
    return worst;
}

}  // namespace ImagingTest
