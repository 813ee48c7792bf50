#include "tests/platform/CaptureTestFrames.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <turbojpeg.h>

#include <libyuv/scale_argb.h>

namespace CaptureTestFrames {

std::vector<std::uint8_t> Picture(int width, int height) {
    std::vector<std::uint8_t> argb(static_cast<std::size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = &argb[(static_cast<std::size_t>(y) * width + x) * 4];
            p[0] = static_cast<std::uint8_t>(255 * x / width);
            p[1] = static_cast<std::uint8_t>(255 * y / height);
            p[2] = static_cast<std::uint8_t>(128 + 100 * std::sin(x * 0.02) * std::cos(y * 0.03));
            p[3] = 255;
        }
    }
    return argb;
}

std::vector<std::uint8_t> EncodeJPEG(std::vector<std::uint8_t> const& argb, int width, int height) {
    tjhandle encoder = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    std::vector<std::uint8_t> result;
    if (tjCompress2(encoder, argb.data(), width, width * 4, height, TJPF_BGRA, &jpeg, &size,
                    TJSAMP_422, 90, 0) == 0) {
        result.assign(jpeg, jpeg + size);
    }
    tjFree(jpeg);
    tjDestroy(encoder);
    return result;
}

std::vector<std::uint8_t> StripHuffmanTables(std::vector<std::uint8_t> const& jpeg) {
    std::vector<std::uint8_t> result(jpeg.begin(), jpeg.begin() + 2);  // SOI
    std::size_t at = 2;
    // Marker segments up to the start of scan; DHT (FFC4) is left out.
    while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF) {
        std::uint8_t const marker = jpeg[at + 1];
        std::size_t const length = (std::size_t{jpeg[at + 2]} << 8) | jpeg[at + 3];
        if (marker == 0xDA) {
            break;
        }
        if (marker != 0xC4) {
            result.insert(result.end(), jpeg.begin() + at, jpeg.begin() + at + 2 + length);
        }
        at += 2 + length;
    }
    result.insert(result.end(), jpeg.begin() + at, jpeg.end());
    return result;
}

double MeanDifference(std::uint8_t const* a, int aRowBytes, std::uint8_t const* b, int bRowBytes,
                      int width, int height) {
    double total = 0.0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width * 4; ++x) {
            if (x % 4 != 3) {
                total += std::abs(int{a[y * aRowBytes + x]} - int{b[y * bRowBytes + x]});
            }
        }
    }
    return total / (3.0 * width * height);
}

std::vector<std::uint8_t> ScaledCentre(std::vector<std::uint8_t> const& argb, int width, int height,
                                       int newWidth, int newHeight) {
    int const centreWidth = std::min(width, height * newWidth / newHeight);
    int const centreHeight = std::min(height, width * newHeight / newWidth);
    std::size_t const left = (width - centreWidth) / 2;
    std::size_t const top = (height - centreHeight) / 2;
    std::vector<std::uint8_t> result(static_cast<std::size_t>(newWidth) * newHeight * 4);
    libyuv::ARGBScale(&argb[(top * width + left) * 4], width * 4, centreWidth, centreHeight,
                      result.data(), newWidth * 4, newWidth, newHeight, libyuv::kFilterBilinear);
    return result;
}

}  // namespace CaptureTestFrames
