#pragma once
// Decodes a camera's frames into 32-bit ARGB memory filling the whole destination: a
// picture of another shape (16:9 onto 4:3) is cropped centrally to the destination's shape,
// never stretched. MJPEG goes through TurboJPEG (its 1/2, 1/4 or 1/8 scale where the camera
// is that much larger, then libyuv scaling), YUYV and the other raw formats through libyuv.
// Everything it needs is made in Begin; decoding a frame allocates nothing of its own.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/capture/SGTypes.h"

class DecompressSequence {
public:
    DecompressSequence();
    ~DecompressSequence();
    DecompressSequence(DecompressSequence const&) = delete;
    DecompressSequence& operator=(DecompressSequence const&) = delete;

    // Whether frames of this format can be decoded, and how well a camera sending them suits
    // (0 best: MJPEG, 1: YUYV, 2: other raw formats).
    static bool CanDecode(OSType cType);
    static int FormatPreference(OSType cType);
    // The shortest row a raw frame of this format can have (0 for JPEG).
    static int MinimumBytesPerLine(OSType cType, int width);

    // Prepares for frames described by `camera`, drawn onto all of `destination`.
    int Begin(ImageDescription const& camera, SGPixMap const& destination);
    // Decodes one frame. A frame that is truncated, corrupt or of the wrong size returns
    // sgDecodeErr, with the reason in LastError(), and the destination keeps the previous
    // picture (MJPEG decodes into a staging picture first).
    int DecodeFrame(std::uint8_t const* data, std::size_t size);
    void End();
    bool IsOpen() const { return mOpen; }

    // True when frames need no libyuv scaling pass (raw frames are then converted straight
    // into the destination; MJPEG is copied there once decoded).
    bool DecodesDirectly() const { return mDirect; }
    char const* LastError() const { return mLastError; }

private:
    int DecodeJPEG(std::uint8_t const* data, std::size_t size);
    int DecodeRaw(std::uint8_t const* data, std::size_t size);
    void Fail(char const* reason);
    void ScaleStagingToDestination();
    // The centre of a width x height picture that has the destination's shape.
    static SGRect CentralCrop(int width, int height, SGPixMap const& destination);

    struct TurboJPEGDestroyer {
        void operator()(void* handle) const;
    };

    bool mOpen = false;
    bool mDirect = false;
    ImageDescription mCamera;
    SGPixMap mDestination;
    std::unique_ptr<void, TurboJPEGDestroyer> mDecoder;
    int mDecodedWidth = 0;   // what the first stage writes: the JPEG decoder's scaled size,
    int mDecodedHeight = 0;  // or the camera size for raw frames
    SGRect mCrop;            // the part of the first-stage picture that is shown
    std::vector<std::uint8_t> mStaging;    // first-stage picture: JPEG, or before scaling
    std::vector<std::uint8_t> mOpaqueRow;  // destination.width bytes of 255
    char mLastError[160] = {};
};
