#include "QClasses/QCameraGrabCGContext.h"

#include <algorithm>
#include <chrono>

#include "CoreX/CoreMachDebugLog.h"

QCameraGrabCGContext::~QCameraGrabCGContext() {
    // The component goes first, so that no frame arrives for a decoder that is gone.
    Close();
}

QGWorld* QCameraGrabCGContext::GetFrameBufferGWorldPtr() {
    return mCamContext.IsConstructed() ? &mCamContext.mGWorld : nullptr;
}

SGPixMap QCameraGrabCGContext::GetFrameBufferPixMap() const {
    SGPixMap pixMap;
    if (mCamContext.IsConstructed()) {
        pixMap.baseAddr = mCamContext.mImageDataBytes;
        pixMap.rowBytes = static_cast<std::int32_t>(mCamContext.mImageRowBytes);
        pixMap.width = static_cast<std::int32_t>(mCamContext.mImageWidth);
        pixMap.height = static_cast<std::int32_t>(mCamContext.mImageHeight);
    }
    return pixMap;
}

bool QCameraGrabCGContext::GetFrameBufferImageDescription(ImageDescription& desc) const {
    if (!mCamContext.IsConstructed()) {
        return false;
    }
    desc = ImageDescription();
    desc.cType = k32ARGBPixelFormat;
    desc.width = static_cast<std::int16_t>(mCamContext.mImageWidth);
    desc.height = static_cast<std::int16_t>(mCamContext.mImageHeight);
    desc.bytesPerLine = static_cast<std::int32_t>(mCamContext.mImageRowBytes);
    desc.dataSize = static_cast<std::int32_t>(mCamContext.mImageDataSize);
    return true;
}

int QCameraGrabCGContext::CreateFrameBuffer(SGRect const& rect, OSType pixelFormat) {
    bool fOk = pixelFormat == k32ARGBPixelFormat;
    VERIFY(fOk);
    if (fOk) {
        VERIFY(fOk = !rect.IsEmpty());
    }
    if (!fOk) {
        return paramErr;
    }
    auto const width = static_cast<std::uint32_t>(rect.Width());
    auto const height = static_cast<std::uint32_t>(rect.Height());
    bool const fReuse = mCamContext.IsConstructed() && mCamContext.mImageWidth == width &&
                        mCamContext.mImageHeight == height &&
                        mCamContext.mBitmapType == CoreGraphics::kBitmapTypeARGB;
    if (!fReuse) {
        // A decoder still aimed at the old memory must not write into it again.
        mDecompressSequence.End();
        VERIFY(fOk = mCamContext.Construct(static_cast<int>(width), static_cast<int>(height),
                                           CoreGraphics::kBitmapTypeARGB, 0));
        if (!fOk) {
            return paramErr;
        }
        for (std::uint32_t y = 0; y < height; ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(mCamContext.mImageDataBytes +
                                                         y * mCamContext.mImageRowBytes);
            std::fill(row, row + width, 0xFF000000u);
        }
    }
    SetFrameBufferRect(rect);
    SetFrameBufferPixelFormat(pixelFormat);
    return noErr;
}

void QCameraGrabCGContext::DestructFrameBuffer() {
    mDecompressSequence.End();
    mCamContext.Destruct();
}

int QCameraGrabCGContext::BeginDecompressionSequence(ImageDescription const& cameraDesc,
                                                     SGRect const& cameraRect,
                                                     SGRect const& frameBufferRect) {
    if (!mCamContext.IsConstructed()) {
        return paramErr;
    }
    // The camera's rectangle is stretched onto the frame buffer's.
    int err;
    VERIFY_ERR(err = mDecompressSequence.Begin(cameraDesc, GetFrameBufferPixMap()));
    return err;
}

int QCameraGrabCGContext::DefaultDataProc(std::uint8_t const* data, long size) {
    if (!mDecompressSequence.IsOpen() || size < 0) {
        return paramErr;
    }
    auto const start = std::chrono::steady_clock::now();
    int const err = mDecompressSequence.DecodeFrame(data, static_cast<std::size_t>(size));
    double const seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (err != noErr) {
        ++mStatistics.framesDropped;
        return err;
    }
    ++mStatistics.framesDecoded;
    mStatistics.decodeSeconds += seconds;
    mStatistics.maxDecodeSeconds = std::max(mStatistics.maxDecodeSeconds, seconds);
    return noErr;
}

int QCameraGrabCGContext::StopRecord() {
    int const err = QCameraGrabberBase::StopRecord();
    mDecompressSequence.End();
    return err;
}

int QCameraGrabCGContext::Close() {
    int const err = QCameraGrabberBase::Close();
    mDecompressSequence.End();
    return err;
}
