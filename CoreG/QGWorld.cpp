#include "CoreG/QGWorld.h"

#include <algorithm>
#include <cmath>

#include "CoreX/CoreMachDebugLog.h"

bool QGWorld::ConstructAlias(char* baseAddr, std::uint32_t rowBytes, QPoint size,
                             std::uint32_t pixelFormat) {
    Destruct();
    bool fOk = baseAddr != nullptr && size.x() > 0 && size.y() > 0;
    VERIFY(fOk);
    if (fOk) {
        VERIFY(fOk = pixelFormat == k32ARGBPixelFormat || pixelFormat == k8IndexedGrayPixelFormat);
    }
    if (fOk) {
        VERIFY(fOk = rowBytes >= BytesPerPixel(pixelFormat) * static_cast<std::uint32_t>(size.x()));
    }
    if (fOk) {
        mBaseAddr = reinterpret_cast<std::uint8_t*>(baseAddr);
        mRowBytes = rowBytes;
        mWidth = static_cast<std::uint32_t>(size.x());
        mHeight = static_cast<std::uint32_t>(size.y());
        mPixelFormat = pixelFormat;
    }
    return fOk;
}

namespace {

int GreyAt(std::uint8_t const* base, std::uint32_t rowBytes, std::uint32_t pixelFormat, int x,
           int y) {
    std::uint8_t const* row = base + static_cast<std::size_t>(y) * rowBytes;
    if (pixelFormat != k32ARGBPixelFormat) {
        return row[x];
    }
    // Bytes B, G, R, A in memory; the weights are BT.601's, in 1/256.
    std::uint8_t const* pixel = row + 4 * x;
    return (29 * pixel[0] + 150 * pixel[1] + 77 * pixel[2] + 128) >> 8;
}

}  // namespace

std::uint8_t QGWorld::SafeGetPixel_BilinearInterpolatedSampleGrey(float x, float y) const {
    if (!IsConstructed()) {
        return 0;
    }
    float const maxX = static_cast<float>(mWidth - 1);
    float const maxY = static_cast<float>(mHeight - 1);
    // NaN compares false everywhere: it lands on the first pixel.
    x = std::isnan(x) ? 0.0f : std::clamp(x, 0.0f, maxX);
    y = std::isnan(y) ? 0.0f : std::clamp(y, 0.0f, maxY);
    int const x0 = static_cast<int>(x);
    int const y0 = static_cast<int>(y);
    int const x1 = std::min(x0 + 1, static_cast<int>(mWidth) - 1);
    int const y1 = std::min(y0 + 1, static_cast<int>(mHeight) - 1);
    float const fx = x - static_cast<float>(x0);
    float const fy = y - static_cast<float>(y0);
    float const top = GreyAt(mBaseAddr, mRowBytes, mPixelFormat, x0, y0) * (1.0f - fx) +
                      GreyAt(mBaseAddr, mRowBytes, mPixelFormat, x1, y0) * fx;
    float const bottom = GreyAt(mBaseAddr, mRowBytes, mPixelFormat, x0, y1) * (1.0f - fx) +
                         GreyAt(mBaseAddr, mRowBytes, mPixelFormat, x1, y1) * fx;
    return static_cast<std::uint8_t>(std::lround(top * (1.0f - fy) + bottom * fy));
}
