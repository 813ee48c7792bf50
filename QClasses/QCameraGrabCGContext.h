#pragma once
// The camera grabber of each eye: its frame buffer is a 32-bit ARGB bitmap context
// (mCamContext), and every frame is decoded straight into it inside Idle. The view turns
// the bitmap into an image each tick.

#include <cstdint>

#include "CoreG/BitmapContext.h"
#include "QClasses/QCameraGrabberBase.h"
#include "platform/capture/DecompressSequence.h"

class QCameraGrabCGContext : public QCameraGrabberBase {
public:
    // What the decoder did since the grabber was made (or the counts were reset).
    struct FrameStatistics {
        std::uint64_t framesDecoded = 0;
        std::uint64_t framesDropped = 0;  // corrupt, truncated or of the wrong size
        double decodeSeconds = 0.0;       // total time spent decoding
        double maxDecodeSeconds = 0.0;
    };

    QCameraGrabCGContext() = default;
    ~QCameraGrabCGContext() override;

    int StopRecord() override;
    int Close() override;
    bool IsFrameBufferConstructed() const override { return mCamContext.IsConstructed(); }
    QGWorld* GetFrameBufferGWorldPtr() override;
    bool GetFrameBufferImageDescription(ImageDescription& desc) const override;
    void DrawCameraStatusInFrameBuffer(int status) override {}
    // Requires k32ARGBPixelFormat; keeps the bitmap when size and format are unchanged,
    // otherwise builds a new one, cleared to opaque black.
    int CreateFrameBuffer(SGRect const& rect, OSType pixelFormat) override;
    int BeginDecompressionSequence(ImageDescription const& cameraDesc, SGRect const& cameraRect,
                                   SGRect const& frameBufferRect) override;
    // Decodes one frame into the bitmap; a frame that cannot be decoded is dropped (the
    // picture stays) and counted; the caller logs it.
    int DefaultDataProc(std::uint8_t const* data, long size) override;
    std::uint64_t FramesDropped() const override { return mStatistics.framesDropped; }
    char const* DroppedFrameReason() const override { return mDecompressSequence.LastError(); }

    SGPixMap GetFrameBufferPixMap() const;
    void DestructFrameBuffer();

    FrameStatistics const& GetFrameStatistics() const { return mStatistics; }
    void ResetFrameStatistics() { mStatistics = FrameStatistics(); }

    CoreGraphics::BitmapContext mCamContext;

private:
    DecompressSequence mDecompressSequence;
    FrameStatistics mStatistics;
};
