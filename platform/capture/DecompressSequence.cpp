#include "platform/capture/DecompressSequence.h"

#include <algorithm>
#include <cstdio>
#include <turbojpeg.h>

#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include "CoreX/CoreMachDebugLog.h"

void DecompressSequence::TurboJPEGDestroyer::operator()(void* handle) const { tjDestroy(handle); }

DecompressSequence::DecompressSequence() = default;
DecompressSequence::~DecompressSequence() = default;

bool DecompressSequence::CanDecode(OSType cType) {
    switch (cType) {
        case kCodecMJPEG:
        case kCodecJPEG:
        case kCodecYUYV:
        case kCodecUYVY:
        case kCodecNV12:
        case kCodecNV21:
        case kCodecYUV420:
        case kCodecYVU420:
        case kCodecRGB24:
        case kCodecBGR24:
        case kCodecGrey:
            return true;
        default:
            return false;
    }
}

int DecompressSequence::FormatPreference(OSType cType) {
    if (cType == kCodecMJPEG || cType == kCodecJPEG) {
        return 0;
    }
    return cType == kCodecYUYV ? 1 : 2;
}

namespace {

bool IsJPEG(OSType cType) { return cType == kCodecMJPEG || cType == kCodecJPEG; }

// Bytes a raw frame of this layout needs at least: every row at its full length, and the
// last row of each plane as far as libyuv reads it. libyuv takes YUYV, UYVY and the
// interleaved NV12/NV21 chroma in pairs of pixels, so with an odd width it reads one pixel
// past a row that holds exactly the width.
std::size_t RawFrameBytes(ImageDescription const& camera) {
    std::size_t const bpl = static_cast<std::size_t>(camera.bytesPerLine);
    std::size_t const height = static_cast<std::size_t>(camera.height);
    std::size_t const pairs = (static_cast<std::size_t>(camera.width) + 1) / 2;
    std::size_t const chromaRows = (height + 1) / 2;
    auto plane = [bpl](std::size_t rows, std::size_t lastRowRead) {
        return rows == 0 ? 0 : bpl * (rows - 1) + std::max(bpl, lastRowRead);
    };
    switch (camera.cType) {
        case kCodecYUYV:
        case kCodecUYVY:
            return plane(height, 4 * pairs);
        case kCodecNV12:
        case kCodecNV21:
            return bpl * height + plane(chromaRows, 2 * pairs);
        case kCodecYUV420:
        case kCodecYVU420:
            return bpl * height + 2 * ((bpl + 1) / 2) * chromaRows;
        default:
            return bpl * height;
    }
}

// Bytes per pixel of the packed formats, for the least row length.
int PackedBytesPerPixel(OSType cType) {
    switch (cType) {
        case kCodecYUYV:
        case kCodecUYVY:
            return 2;
        case kCodecRGB24:
        case kCodecBGR24:
            return 3;
        default:
            return 1;
    }
}

}  // namespace

int DecompressSequence::MinimumBytesPerLine(OSType cType, int width) {
    return IsJPEG(cType) ? 0 : PackedBytesPerPixel(cType) * width;
}

int DecompressSequence::Begin(ImageDescription const& camera, SGPixMap const& destination) {
    End();
    bool fOk = CanDecode(camera.cType);
    VERIFY(fOk);
    if (fOk) {
        VERIFY(fOk = camera.width > 0 && camera.height > 0);
    }
    if (fOk) {
        VERIFY(fOk = destination.baseAddr != nullptr && destination.width > 0 &&
                     destination.height > 0 && destination.rowBytes >= 4 * destination.width);
    }
    if (fOk && !IsJPEG(camera.cType)) {
        VERIFY(fOk = camera.bytesPerLine >= MinimumBytesPerLine(camera.cType, camera.width));
    }
    if (!fOk) {
        return paramErr;
    }
    mCamera = camera;
    mDestination = destination;
    mDecodedWidth = camera.width;
    mDecodedHeight = camera.height;

    if (IsJPEG(camera.cType)) {
        if (!mDecoder) {
            mDecoder.reset(tjInitDecompress());
        }
        VERIFY(mDecoder);
        if (!mDecoder) {
            return sgDecodeErr;
        }
        // The smallest of the decoder's 1/2, 1/4 and 1/8 scales whose centre still covers the
        // destination (those have SIMD paths; the others, like 11/16, are slower than a whole
        // decode); the camera's own size when none does.
        SGRect const crop = CentralCrop(camera.width, camera.height, destination);
        for (int denominator : {8, 4, 2}) {
            if (crop.Width() / denominator >= destination.width &&
                crop.Height() / denominator >= destination.height) {
                tjscalingfactor const factor{1, denominator};
                mDecodedWidth = TJSCALED(camera.width, factor);
                mDecodedHeight = TJSCALED(camera.height, factor);
                break;
            }
        }
    }
    mCrop = CentralCrop(mDecodedWidth, mDecodedHeight, destination);
    mDirect = mCrop.left == 0 && mCrop.top == 0 && mCrop.Width() == destination.width &&
              mCrop.Height() == destination.height && mDecodedWidth == destination.width &&
              mDecodedHeight == destination.height;
    // JPEG frames always decode into the staging picture first: damage in the compressed
    // data shows only while pixels are being written, and such a frame must not replace the
    // picture on screen.
    if (!mDirect || IsJPEG(camera.cType)) {
        mStaging.assign(static_cast<std::size_t>(mDecodedWidth) * mDecodedHeight * 4, 0);
    }
    if (!mDirect) {
        mOpaqueRow.assign(static_cast<std::size_t>(destination.width), 0xFF);
    }
    mLastError[0] = '\0';
    mOpen = true;
    return noErr;
}

void DecompressSequence::End() {
    mOpen = false;
    mDirect = false;
    mStaging.clear();
    mStaging.shrink_to_fit();
    mOpaqueRow.clear();
    mOpaqueRow.shrink_to_fit();
}

void DecompressSequence::Fail(char const* reason) {
    std::snprintf(mLastError, sizeof(mLastError), "%s", reason);
}

int DecompressSequence::DecodeFrame(std::uint8_t const* data, std::size_t size) {
    if (!mOpen || data == nullptr) {
        Fail(mOpen ? "no frame data" : "no decompression sequence");
        return paramErr;
    }
    return IsJPEG(mCamera.cType) ? DecodeJPEG(data, size) : DecodeRaw(data, size);
}

int DecompressSequence::DecodeJPEG(std::uint8_t const* data, std::size_t size) {
    // A frame cut short on the bus has no end-of-image marker. Cameras may pad a frame with
    // zero bytes after the marker.
    std::size_t end = size;
    while (end > 4 && data[end - 1] == 0) {
        --end;
    }
    if (end < 4 || data[0] != 0xFF || data[1] != 0xD8) {
        Fail("MJPEG frame does not start with a JPEG start-of-image marker");
        return sgDecodeErr;
    }
    if (data[end - 2] != 0xFF || data[end - 1] != 0xD9) {
        Fail("MJPEG frame is truncated (no end-of-image marker)");
        return sgDecodeErr;
    }
    tjhandle const decoder = mDecoder.get();
    unsigned char* const jpeg = const_cast<unsigned char*>(data);  // TurboJPEG 2 is not const
    unsigned long const jpegSize = static_cast<unsigned long>(end);
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colorspace = 0;
    if (tjDecompressHeader3(decoder, jpeg, jpegSize, &width, &height, &subsampling, &colorspace) !=
        0) {
        std::snprintf(mLastError, sizeof(mLastError), "MJPEG header: %s", tjGetErrorStr2(decoder));
        return sgDecodeErr;
    }
    if (width != mCamera.width || height != mCamera.height) {
        std::snprintf(mLastError, sizeof(mLastError),
                      "MJPEG frame is %dx%d, the camera sends %dx%d", width, height, mCamera.width,
                      mCamera.height);
        return sgDecodeErr;
    }
    int const stagingPitch = mDecodedWidth * 4;
    if (tjDecompress2(decoder, jpeg, jpegSize, mStaging.data(), mDecodedWidth, stagingPitch,
                      mDecodedHeight, TJPF_BGRA, 0) != 0) {
        // Damaged entropy-coded data decodes with a warning; the frame is still dropped.
        std::snprintf(mLastError, sizeof(mLastError), "MJPEG data: %s", tjGetErrorStr2(decoder));
        return sgDecodeErr;
    }
    if (mDirect) {
        libyuv::ARGBCopy(mStaging.data(), stagingPitch, mDestination.baseAddr,
                         mDestination.rowBytes, mDecodedWidth, mDecodedHeight);
    } else {
        ScaleStagingToDestination();
    }
    return noErr;
}

int DecompressSequence::DecodeRaw(std::uint8_t const* data, std::size_t size) {
    if (size < RawFrameBytes(mCamera)) {
        std::snprintf(mLastError, sizeof(mLastError), "%s frame of %zu bytes, %zu expected",
                      PixelFourCCText(mCamera.cType).c_str(), size, RawFrameBytes(mCamera));
        return sgDecodeErr;
    }
    int const width = mCamera.width;
    int const height = mCamera.height;
    int const bpl = mCamera.bytesPerLine;
    std::uint8_t* target = mDirect ? mDestination.baseAddr : mStaging.data();
    int const pitch = mDirect ? mDestination.rowBytes : width * 4;
    std::uint8_t const* chroma = data + static_cast<std::size_t>(bpl) * height;
    int const chromaPitch = (bpl + 1) / 2;
    std::uint8_t const* secondChroma =
        chroma + static_cast<std::size_t>(chromaPitch) * ((height + 1) / 2);
    int result = -1;
    switch (mCamera.cType) {
        case kCodecYUYV:
            result = libyuv::YUY2ToARGB(data, bpl, target, pitch, width, height);
            break;
        case kCodecUYVY:
            result = libyuv::UYVYToARGB(data, bpl, target, pitch, width, height);
            break;
        case kCodecNV12:
            result = libyuv::NV12ToARGB(data, bpl, chroma, bpl, target, pitch, width, height);
            break;
        case kCodecNV21:
            result = libyuv::NV21ToARGB(data, bpl, chroma, bpl, target, pitch, width, height);
            break;
        case kCodecYUV420:
            result = libyuv::I420ToARGB(data, bpl, chroma, chromaPitch, secondChroma, chromaPitch,
                                        target, pitch, width, height);
            break;
        case kCodecYVU420:
            result = libyuv::I420ToARGB(data, bpl, secondChroma, chromaPitch, chroma, chromaPitch,
                                        target, pitch, width, height);
            break;
        case kCodecRGB24:  // bytes R, G, B: libyuv calls it RAW
            result = libyuv::RAWToARGB(data, bpl, target, pitch, width, height);
            break;
        case kCodecBGR24:  // bytes B, G, R: libyuv's RGB24
            result = libyuv::RGB24ToARGB(data, bpl, target, pitch, width, height);
            break;
        case kCodecGrey:
            result = libyuv::J400ToARGB(data, bpl, target, pitch, width, height);
            break;
        default:
            break;
    }
    if (result != 0) {
        std::snprintf(mLastError, sizeof(mLastError), "%s frame could not be converted",
                      PixelFourCCText(mCamera.cType).c_str());
        return sgDecodeErr;
    }
    if (!mDirect) {
        ScaleStagingToDestination();
    }
    return noErr;
}

SGRect DecompressSequence::CentralCrop(int width, int height, SGPixMap const& destination) {
    SGRect crop;
    crop.right = static_cast<std::int16_t>(width);
    crop.bottom = static_cast<std::int16_t>(height);
    std::int64_t const wide = std::int64_t{width} * destination.height;
    std::int64_t const tall = std::int64_t{height} * destination.width;
    if (wide > tall) {  // wider than the destination: the sides go
        int const cropWidth =
            static_cast<int>(std::int64_t{height} * destination.width / destination.height);
        crop.left = static_cast<std::int16_t>((width - cropWidth) / 2);
        crop.right = static_cast<std::int16_t>(crop.left + cropWidth);
    } else if (tall > wide) {  // taller: the top and bottom go
        int const cropHeight =
            static_cast<int>(std::int64_t{width} * destination.height / destination.width);
        crop.top = static_cast<std::int16_t>((height - cropHeight) / 2);
        crop.bottom = static_cast<std::int16_t>(crop.top + cropHeight);
    }
    return crop;
}

void DecompressSequence::ScaleStagingToDestination() {
    int const pitch = mDecodedWidth * 4;
    std::uint8_t const* const centre =
        mStaging.data() + static_cast<std::size_t>(mCrop.top) * pitch + mCrop.left * 4;
    if (mCrop.Width() == mDestination.width && mCrop.Height() == mDestination.height) {
        libyuv::ARGBCopy(centre, pitch, mDestination.baseAddr, mDestination.rowBytes,
                         mDestination.width, mDestination.height);
        return;  // copied, not filtered: alpha stays 255
    }
    libyuv::ARGBScale(centre, pitch, mCrop.Width(), mCrop.Height(), mDestination.baseAddr,
                      mDestination.rowBytes, mDestination.width, mDestination.height,
                      libyuv::kFilterBilinear);
    // libyuv's horizontal filter weighs neighbours by 127/128 in all, so alpha 255 comes out
    // as 253 (colours lose up to 2 levels too). The frame buffer must stay opaque: alpha is
    // set again from a row of 255s (stride 0 repeats it).
    libyuv::ARGBCopyYToAlpha(mOpaqueRow.data(), 0, mDestination.baseAddr, mDestination.rowBytes,
                             mDestination.width, mDestination.height);
}
