#include "component/StillPicture.h"

#include <cstring>
#include <string_view>

namespace {

// 5 x 7 glyphs, one byte a row, bit 4 the leftmost column; only the letters the text uses.
struct Glyph {
    char letter;
    std::uint8_t rows[7];
};

constexpr Glyph kGlyphs[] = {
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'a', {0x00, 0x00, 0x0E, 0x01, 0x0F, 0x11, 0x0F}},
    {'b', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x1E}},
    {'c', {0x00, 0x00, 0x0E, 0x10, 0x10, 0x11, 0x0E}},
    {'d', {0x01, 0x01, 0x0D, 0x13, 0x11, 0x11, 0x0F}},
    {'e', {0x00, 0x00, 0x0E, 0x11, 0x1F, 0x10, 0x0E}},
    {'g', {0x00, 0x0F, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
    {'i', {0x04, 0x00, 0x0C, 0x04, 0x04, 0x04, 0x0E}},
    {'n', {0x00, 0x00, 0x16, 0x19, 0x11, 0x11, 0x11}},
    {'o', {0x00, 0x00, 0x0E, 0x11, 0x11, 0x11, 0x0E}},
    {'p', {0x00, 0x00, 0x1E, 0x11, 0x1E, 0x10, 0x10}},
    {'r', {0x00, 0x00, 0x16, 0x19, 0x10, 0x10, 0x10}},
    {'s', {0x00, 0x00, 0x0E, 0x10, 0x0E, 0x01, 0x1E}},
    {'t', {0x08, 0x08, 0x1C, 0x08, 0x08, 0x09, 0x06}},
    {'u', {0x00, 0x00, 0x11, 0x11, 0x11, 0x13, 0x0D}},
};

std::uint8_t const* GlyphRows(char letter) {
    for (Glyph const& glyph : kGlyphs) {
        if (glyph.letter == letter) {
            return glyph.rows;
        }
    }
    return nullptr;  // a space
}

void FillRect(std::uint8_t* argb, int rowBytes, int x, int y, int w, int h, std::uint32_t color) {
    for (int row = y; row < y + h; ++row) {
        auto* pixels = reinterpret_cast<std::uint32_t*>(argb + static_cast<std::ptrdiff_t>(row) *
                                                                   rowBytes);
        for (int column = x; column < x + w; ++column) {
            pixels[column] = color;
        }
    }
}

}  // namespace

void DrawNotBroadcastingPicture(std::uint8_t* argb, int width, int height, int rowBytes) {
    constexpr std::uint32_t kBackground = 0xFF202020;
    constexpr std::uint32_t kInk = 0xFFFFFFFF;
    constexpr std::string_view kText = "Duoscope is not broadcasting";
    constexpr int kAdvance = 6;  // glyph and one column of space
    FillRect(argb, rowBytes, 0, 0, width, height, kBackground);

    int scale = width / (static_cast<int>(kText.size()) * kAdvance + 4);
    if (scale < 1) {
        return;  // too small for the words; the grey alone says it
    }
    int const left = (width - static_cast<int>(kText.size()) * kAdvance * scale) / 2;
    int const top = (height - 7 * scale) / 2;
    if (top < 0) {
        return;
    }
    for (std::size_t i = 0; i < kText.size(); ++i) {
        std::uint8_t const* rows = GlyphRows(kText[i]);
        if (rows == nullptr) {
            continue;
        }
        int const x0 = left + static_cast<int>(i) * kAdvance * scale;
        for (int row = 0; row < 7; ++row) {
            for (int column = 0; column < 5; ++column) {
                if (rows[row] & (0x10 >> column)) {
                    FillRect(argb, rowBytes, x0 + column * scale, top + row * scale, scale, scale,
                             kInk);
                }
            }
        }
    }
}
