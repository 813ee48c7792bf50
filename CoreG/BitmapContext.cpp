#include "CoreG/BitmapContext.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <QPainter>

#include "CoreG/PerlinNoise.h"
#include "CoreX/CoreMachDebugLog.h"

namespace CoreGraphics {

namespace {

struct BitmapTypeTraits {
    std::uint32_t bytesPerPixel;
    std::uint32_t bitmapInfo;
    QImage::Format format;
    std::uint32_t gworldPixelFormat;
};

// Only type 2 is seen as 32-bit by the offscreen world; types 3 and 4 keep the grey format
// over their 32-bit pixels, as the pixel-map code that reads them expects.
bool TraitsOf(int bitmapType, BitmapTypeTraits& traits) {
    switch (bitmapType) {
        case kBitmapTypeGrey:
            traits = {1, 0, QImage::Format_Grayscale8, k8IndexedGrayPixelFormat};
            return true;
        case kBitmapTypeARGB:
            traits = {4, 2, QImage::Format_ARGB32_Premultiplied, k32ARGBPixelFormat};
            return true;
        case kBitmapTypeXRGB:
            traits = {4, 6, QImage::Format_RGB32, k8IndexedGrayPixelFormat};
            return true;
        case kBitmapTypeRGBX:
            traits = {4, 5, QImage::Format_RGBX8888, k8IndexedGrayPixelFormat};
            return true;
        default:
            return false;
    }
}

}  // namespace

BitmapContext::~BitmapContext() { Destruct(); }

bool BitmapContext::Construct(int width, int height, int bitmapType, std::uint32_t inUseRowBytes) {
    Destruct();
    BitmapTypeTraits traits;
    if (!TraitsOf(bitmapType, traits)) {
        return false;
    }
    bool fOk = width > 0 && height > 0;
    VERIFY(fOk);
    if (!fOk) {
        return false;
    }
    mBitmapType = bitmapType;
    mImageWidth = static_cast<std::uint32_t>(width);
    mImageHeight = static_cast<std::uint32_t>(height);
    mImageBytesPerPixel = traits.bytesPerPixel;
    mImageBitsPerPixel = traits.bytesPerPixel * 8;
    mImageBitmapInfo = traits.bitmapInfo;
    mImageFormat = traits.format;
    // Sizes are worked out in 64 bits: the fields are 32-bit, and a picture whose rows or
    // whole memory do not fit them is refused rather than allocated short.
    std::uint64_t rowBytes = std::uint64_t(traits.bytesPerPixel) * mImageWidth;
    if (inUseRowBytes != 0) {
        // Rows may be padded by the caller, never shortened.
        VERIFY_TEXT(inUseRowBytes >= rowBytes, "inUseRowBytes>=mImageRowBytes");
        if (inUseRowBytes >= rowBytes) {
            rowBytes = inUseRowBytes;
        }
    }
    std::uint64_t const dataSize = rowBytes * mImageHeight;
    fOk = dataSize <= std::numeric_limits<std::uint32_t>::max() &&
          rowBytes <= std::uint64_t(std::numeric_limits<int>::max());
    VERIFY_TEXT(fOk, "mImageDataSize=mImageHeight*mImageRowBytes fits in 32 bits");
    if (!fOk) {
        Destruct();
        return false;
    }
    mImageRowBytes = static_cast<std::uint32_t>(rowBytes);
    mImageDataSize = static_cast<std::uint32_t>(dataSize);
    VERIFY(mImageDataBytes = CreateImageData(mImageDataSize));
    if (mImageDataBytes == nullptr) {
        return false;
    }

    mImage = QImage(mImageDataBytes, width, height, static_cast<qsizetype>(mImageRowBytes),
                    mImageFormat);
    auto newContextRef = std::make_unique<QPainter>();
    fOk = !mImage.isNull() && newContextRef->begin(&mImage);
    VERIFY_TEXT(fOk,
                "newContextRef = ::CGBitmapContextCreate(mImageDataBytes, mImageWidth, "
                "mImageHeight, kImageBitsPerComponent, mImageRowBytes, mImageColorspace, "
                "mImageBitmapInfo )");
    if (!fOk) {
        return false;
    }
    mContext = std::move(newContextRef);

    // Called once: a second call would repeat its aliasing and its report.
    fOk = ConstructGWorld();
    VERIFY_TEXT(fOk, "ConstructGWorld()");
    VERIFY_TEXT(fOk, "fOk = VERIFIED(ConstructGWorld())");
    return fOk;
}

void BitmapContext::Destruct() {
    // Whatever a failed Construct left behind is released too.
    if (mContext) {
        mContext->end();
        mContext.reset();
    }
    mImage = QImage();
    mGWorld.Destruct();
    DeleteImageData(mImageDataBytes);
    mImageDataBytes = nullptr;
    mBitmapType = 0;
    mImageWidth = 0;
    mImageHeight = 0;
    mImageBitsPerPixel = 0;
    mImageBytesPerPixel = 0;
    mImageRowBytes = 0;
    mImageDataSize = 0;
    mImageBitmapInfo = 0;
    mImageFormat = QImage::Format_Invalid;
}

std::uint8_t* BitmapContext::CreateImageData(std::size_t size) {
    return static_cast<std::uint8_t*>(std::malloc(size));
}

void BitmapContext::DeleteImageData(std::uint8_t* data) { std::free(data); }

bool BitmapContext::ConstructGWorld() {
    BitmapTypeTraits traits;
    if (!TraitsOf(mBitmapType, traits)) {
        return false;
    }
    std::uint32_t const pixelFormat = traits.gworldPixelFormat;
    bool fOk;
    // clang-format off
    VERIFY(fOk = mGWorld.ConstructAlias((char*)mImageDataBytes, mImageRowBytes, QPoint(mImageWidth,mImageHeight), pixelFormat));
    // clang-format on
    return fOk;
}

QImage BitmapContext::ConstructCGImage() const {
    if (mImageDataBytes == nullptr) {
        return QImage();
    }
    // The read-only form shares the memory; a painter on the image would detach it.
    QImage imageRef(static_cast<uchar const*>(mImageDataBytes), static_cast<int>(mImageWidth),
                    static_cast<int>(mImageHeight), static_cast<qsizetype>(mImageRowBytes),
                    mImageFormat);
    VERIFY_TEXT(!imageRef.isNull(),
                "imageRef = CGImageCreate(mImageWidth, mImageHeight, kImageBitsPerComponent, "
                "mImageBitsPerPixel, mImageRowBytes, mImageColorspace, mImageBitmapInfo, "
                "dataProvider, NULL, fShouldInterpolate, renderingIntent)");
    return imageRef;
}

QImage BitmapContext::GetCroppedImageRef(QRectF inCroppedRect) const {
    VERIFY(IsConstructed());
    if (!IsConstructed()) {
        return QImage();
    }
    if (inCroppedRect == QRectF(0, 0, mImageWidth, mImageHeight)) {
        return ConstructCGImage();
    }
    // The rectangle's origin is its bottom-left corner, rows of memory count from the top.
    // Coordinates no long holds (and NaN) are kept to a value outside every picture first.
    auto const toLong = [](double v) {
        return std::fabs(v) < 1.0e15 ? static_cast<long>(v) : std::numeric_limits<long>::min();
    };
    long const row = toLong(mImageHeight - (inCroppedRect.y() + inCroppedRect.height()));
    long const col = toLong(inCroppedRect.x());
    long const cropWidth = toLong(inCroppedRect.width());
    long const cropHeight = toLong(inCroppedRect.height());
    bool const fInside = row >= 0 && col >= 0 && cropWidth > 0 && cropHeight > 0 &&
                         col + cropWidth <= static_cast<long>(mImageWidth) &&
                         row + cropHeight <= static_cast<long>(mImageHeight);
    // Memory outside the picture is never handed out.
    VERIFY_TEXT(fInside,
                "dataProvider=::CGDataProviderCreateWithData(refcon, croppedDataBytes, "
                "inCroppedRect.size.height*mImageRowBytes, NULL)");
    if (!fInside) {
        return QImage();
    }
    uchar const* croppedDataBytes =
        mImageDataBytes + col * (mImageBitsPerPixel / 8) + row * mImageRowBytes;
    QImage result(croppedDataBytes, static_cast<int>(cropWidth), static_cast<int>(cropHeight),
                  static_cast<qsizetype>(mImageRowBytes), mImageFormat);
    VERIFY_TEXT(!result.isNull(),
                "result = CGImageCreate(inCroppedRect.size.width, inCroppedRect.size.height, "
                "kImageBitsPerComponent, mImageBitsPerPixel, mImageRowBytes, mImageColorspace, "
                "mImageBitmapInfo, dataProvider, NULL, fShouldInterpolate, renderingIntent)");
    return result;
}

void BitmapContext::Draw(QPainter* inContext, QRectF rect) const {
    VERIFY(IsConstructed());
    VERIFY(inContext);
    if (!IsConstructed() || inContext == nullptr) {
        return;
    }
    QImage const tempImageRef = ConstructCGImage();
    VERIFY_TEXT(!tempImageRef.isNull(), "tempImageRef");
    if (tempImageRef.isNull()) {
        return;
    }
    inContext->save();
    inContext->setRenderHint(QPainter::SmoothPixmapTransform, true);
    inContext->drawImage(rect, tempImageRef);
    inContext->restore();
}

void BitmapContext::FillPerlinNoise(int cellSize, float amplitude) const {
    switch (mBitmapType) {
        case kBitmapTypeGrey:
            T_FillPerlinNoise<1>(cellSize, amplitude);
            break;
        case kBitmapTypeARGB:
        case kBitmapTypeXRGB:
        case kBitmapTypeRGBX:
            T_FillPerlinNoise<2>(cellSize, amplitude);
            break;
        default:
            VERIFY(false);
            break;
    }
}

template <int kPixelKind>
void BitmapContext::T_FillPerlinNoise(int cellSize, float amplitude) const {
    if (mImageDataBytes == nullptr) {
        return;
    }
    int const cell = cellSize < 1 ? 1 : (cellSize > 64 ? 64 : cellSize);
    int const width = static_cast<int>(mImageWidth);
    int const height = static_cast<int>(mImageHeight);
    CoreGeometry::PerlinNoise const& noise = CoreGeometry::PerlinNoise::sSingleton;
    for (int y = 0; y < height; ++y) {
        float const ny = 256.0f * static_cast<float>(cell * (y / cell)) / height;
        std::uint8_t* row = mImageDataBytes + static_cast<std::size_t>(mImageRowBytes) * y;
        for (int x = 0; x < width; ++x) {
            float const nx = 256.0f * static_cast<float>(cell * (x / cell)) / width;
            float const v = noise.Noise2(nx, ny);
            // A negative level wraps around in 8 bits; a level beyond the int range (a large
            // amplitude) is first kept to it.
            auto const value =
                static_cast<std::uint8_t>(CoreGeometry::ClampedIntFromFloat((v * amplitude) * 255));
            if constexpr (kPixelKind == 1) {
                row[x] = value;
            } else {
                // The word 0xFFvvvvvv: opaque grey whatever the byte order of the type.
                std::uint32_t const pixel = 0xFF000000u | value * 0x010101u;
                std::memcpy(row + 4 * x, &pixel, 4);
            }
        }
    }
}

template void BitmapContext::T_FillPerlinNoise<1>(int, float) const;
template void BitmapContext::T_FillPerlinNoise<2>(int, float) const;

}  // namespace CoreGraphics
