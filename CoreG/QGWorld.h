#pragma once
// An offscreen world that aliases pixel memory owned by someone else: where a picture's
// pixels start, how long a row is, its size and its pixel format. It never owns the memory.

#include <cstdint>

#include <QPoint>

// Pixel formats of offscreen worlds.
enum : std::uint32_t {
    k32ARGBPixelFormat = 32,        // one 32-bit ARGB word per pixel (0xAARRGGBB, host order)
    k8IndexedGrayPixelFormat = 40,  // one grey byte per pixel
};

class QGWorld {
public:
    QGWorld() = default;

    // Describes `size.x()` x `size.y()` pixels of `pixelFormat` starting at `baseAddr`, rows
    // `rowBytes` apart. Fails (and stays empty) for null memory, an empty size, an unknown
    // format or rows shorter than a line of pixels.
    bool ConstructAlias(char* baseAddr, std::uint32_t rowBytes, QPoint size,
                        std::uint32_t pixelFormat);
    void Destruct() { *this = QGWorld(); }
    bool IsConstructed() const { return mBaseAddr != nullptr; }

    std::uint8_t* BaseAddr() const { return mBaseAddr; }
    std::uint32_t RowBytes() const { return mRowBytes; }
    std::uint32_t Width() const { return mWidth; }
    std::uint32_t Height() const { return mHeight; }
    std::uint32_t PixelFormat() const { return mPixelFormat; }
    static std::uint32_t BytesPerPixel(std::uint32_t pixelFormat) {
        return pixelFormat == k32ARGBPixelFormat ? 4 : 1;
    }

    // The grey level at a fractional position, interpolated between the four pixels around
    // it; positions outside the picture take the nearest edge pixel. 32-bit pixels weigh
    // red, green and blue as video luma does; grey pixels are their byte.
    std::uint8_t SafeGetPixel_BilinearInterpolatedSampleGrey(float x, float y) const;

private:
    std::uint8_t* mBaseAddr = nullptr;
    std::uint32_t mRowBytes = 0;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    std::uint32_t mPixelFormat = 0;
};
