// Decoding camera frames into the 640 x 480 ARGB frame buffer: the MJPEG paths (straight,
// decoder scaling, central 4:3 crop), webcam MJPEG without Huffman tables, damaged frames,
// and raw formats with padded rows.

#include "platform/capture/DecompressSequence.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/CaptureTestFrames.h"

namespace {

using namespace CaptureTestFrames;

constexpr int kWidth = 640;
constexpr int kHeight = 480;

// A frame buffer with padded rows; the padding must never be written.
struct FrameBuffer {
    static constexpr int kRowBytes = kWidth * 4 + 64;
    static constexpr std::uint8_t kSentinel = 0xEE;

    SGPixMap PixMap() { return {bytes.data(), kRowBytes, kWidth, kHeight}; }
    // Every pixel opaque, and the padding as it was.
    bool OpaqueWithPaddingUntouched() const {
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            std::size_t const x = at % kRowBytes;
            if (x < kWidth * 4 ? x % 4 == 3 && bytes[at] != 255 : bytes[at] != kSentinel) {
                return false;
            }
        }
        return true;
    }

    std::vector<std::uint8_t> bytes =
        std::vector<std::uint8_t>(static_cast<std::size_t>(kRowBytes) * kHeight, kSentinel);
};

ImageDescription Format(OSType cType, int width, int height, int bytesPerLine = 0) {
    return {cType, static_cast<std::int16_t>(width), static_cast<std::int16_t>(height),
            bytesPerLine};
}

TEST(DecompressSequence, MJPEGOfEachCameraSizeFillsTheFrameBufferWithItsCentre) {
    struct Case {
        int width, height;
        bool fDirect;
        int leftBlue;  // the picture's blue rises from 0 at its left edge
        bool fBare;    // without Huffman tables, as many webcams send MJPEG
    };
    // The frame buffer's own size and an exact multiple decode straight into it; 16:9 loses
    // its sides (never stretched); a smaller camera is enlarged.
    for (Case const c : {Case{640, 480, true, 0, false}, Case{1280, 960, true, 0, true},
                         Case{1280, 720, false, 32, false}, Case{1920, 1080, false, 32, true},
                         Case{320, 240, false, 0, false}}) {
        SCOPED_TRACE(c.width);
        std::vector<std::uint8_t> const picture = Picture(c.width, c.height);
        std::vector<std::uint8_t> jpeg = EncodeJPEG(picture, c.width, c.height);
        if (c.fBare) {
            std::size_t const size = jpeg.size();
            jpeg = StripHuffmanTables(jpeg);
            ASSERT_LT(jpeg.size(), size - 400);  // the four tables are gone
        }
        FrameBuffer buffer;
        DecompressSequence sequence;
        EXPECT_EQ(sequence.Begin(Format(kCodecMJPEG, c.width, c.height), buffer.PixMap()), noErr);
        EXPECT_EQ(sequence.DecodesDirectly(), c.fDirect);
        EXPECT_EQ(sequence.DecodeFrame(jpeg.data(), jpeg.size()), noErr) << sequence.LastError();
        EXPECT_TRUE(buffer.OpaqueWithPaddingUntouched());
        std::vector<std::uint8_t> const expected =
            ScaledCentre(picture, c.width, c.height, kWidth, kHeight);
        EXPECT_LT(MeanDifference(buffer.bytes.data(), FrameBuffer::kRowBytes, expected.data(),
                                 kWidth * 4, kWidth, kHeight),
                  3.0);
        EXPECT_NEAR(buffer.bytes[FrameBuffer::kRowBytes * 240], c.leftBlue, 4);
    }
}

TEST(DecompressSequence, DamagedFramesAreDroppedAndThePictureStays) {
    std::vector<std::uint8_t> const jpeg = EncodeJPEG(Picture(kWidth, kHeight), kWidth, kHeight);
    FrameBuffer buffer;
    DecompressSequence sequence;
    ASSERT_EQ(sequence.Begin(Format(kCodecMJPEG, kWidth, kHeight), buffer.PixMap()), noErr);
    ASSERT_EQ(sequence.DecodeFrame(jpeg.data(), jpeg.size()), noErr);
    std::vector<std::uint8_t> const good = buffer.bytes;

    using Frame = std::vector<std::uint8_t>;
    Frame framedGarbage(5000, 0x5A);  // marked as a JPEG at both ends, nonsense in between
    std::copy_n("\xFF\xD8", 2, framedGarbage.begin());
    std::copy_n("\xFF\xD9", 2, framedGarbage.end() - 2);
    // A valid header and markers with the entropy-coded data damaged halfway: the decoder
    // only finds out while writing pixels.
    Frame damagedData = jpeg;
    for (std::size_t i = damagedData.size() / 2; i < damagedData.size() - 2; ++i) {
        damagedData[i] = static_cast<std::uint8_t>(0xFF - (i % 7));
    }
    Frame truncated(jpeg.begin(), jpeg.begin() + jpeg.size() / 2);
    Frame otherSize = EncodeJPEG(Picture(320, 240), 320, 240);  // not what the camera sends
    for (Frame* frame : {&truncated, &framedGarbage, &damagedData, &otherSize}) {
        EXPECT_EQ(sequence.DecodeFrame(frame->data(), frame->size()), sgDecodeErr);
        EXPECT_STRNE(sequence.LastError(), "");
        EXPECT_EQ(buffer.bytes, good) << "a frame that fails must not show";
    }
    EXPECT_EQ(sequence.DecodeFrame(jpeg.data(), 0), sgDecodeErr);
    EXPECT_EQ(sequence.DecodeFrame(nullptr, 100), paramErr);
    EXPECT_EQ(buffer.bytes, good);

    // Zero bytes after the end-of-image marker are padding, not damage.
    std::vector<std::uint8_t> padded = jpeg;
    padded.resize(jpeg.size() + 300, 0);
    EXPECT_EQ(sequence.DecodeFrame(padded.data(), padded.size()), noErr);
}

// YUYV of one colour: Y, U, Y, V for every pair of pixels, rows `bytesPerLine` apart.
std::vector<std::uint8_t> YUYVFrame(int width, int height, int bytesPerLine, std::uint8_t y,
                                    std::uint8_t u, std::uint8_t v) {
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(bytesPerLine) * height, 0x55);
    for (int row = 0; row < height; ++row) {
        for (int x = 0; x < width; x += 2) {
            std::uint8_t const pair[] = {y, u, y, v};
            std::copy(pair, pair + 4, &frame[static_cast<std::size_t>(row) * bytesPerLine + x * 2]);
        }
    }
    return frame;
}

TEST(DecompressSequence, YUYVHonoursPaddedRows) {
    // Rows padded as some drivers pad them; the padding bytes (0x55) must not show.
    int const bytesPerLine = kWidth * 2 + 128;
    FrameBuffer tight;
    FrameBuffer padded;
    DecompressSequence sequence;
    std::vector<std::uint8_t> const unpadded = YUYVFrame(kWidth, kHeight, kWidth * 2, 120, 90, 200);
    ASSERT_EQ(sequence.Begin(Format(kCodecYUYV, kWidth, kHeight, kWidth * 2), tight.PixMap()),
              noErr);
    ASSERT_EQ(sequence.DecodeFrame(unpadded.data(), unpadded.size()), noErr);
    std::vector<std::uint8_t> const frame = YUYVFrame(kWidth, kHeight, bytesPerLine, 120, 90, 200);
    ASSERT_EQ(sequence.Begin(Format(kCodecYUYV, kWidth, kHeight, bytesPerLine), padded.PixMap()),
              noErr);
    EXPECT_TRUE(sequence.DecodesDirectly());
    ASSERT_EQ(sequence.DecodeFrame(frame.data(), frame.size()), noErr);
    EXPECT_EQ(padded.bytes, tight.bytes);
    EXPECT_TRUE(padded.OpaqueWithPaddingUntouched());

    // Video black and white (limited range) become 0 and 255.
    std::vector<std::uint8_t> const black = YUYVFrame(kWidth, kHeight, bytesPerLine, 16, 128, 128);
    ASSERT_EQ(sequence.DecodeFrame(black.data(), black.size()), noErr);
    EXPECT_EQ(padded.bytes[0], 0);
    EXPECT_EQ(padded.bytes[3], 255);
    std::vector<std::uint8_t> const white = YUYVFrame(kWidth, kHeight, bytesPerLine, 235, 128, 128);
    ASSERT_EQ(sequence.DecodeFrame(white.data(), white.size()), noErr);
    EXPECT_EQ(padded.bytes[FrameBuffer::kRowBytes * 479 + 639 * 4 + 2], 255);

    // A frame shorter than its rows is dropped.
    ASSERT_EQ(sequence.DecodeFrame(black.data(), black.size() - bytesPerLine), sgDecodeErr);
    EXPECT_EQ(padded.bytes[0], 255);
}

TEST(DecompressSequence, RefusesWhatItCannotDecodeAndScalesRawFormatsOfOtherSizes) {
    FrameBuffer buffer;
    DecompressSequence sequence;
    EXPECT_EQ(sequence.Begin(Format(PixelFourCC('H', '2', '6', '4'), 640, 480, 0), buffer.PixMap()),
              paramErr);
    EXPECT_FALSE(sequence.IsOpen());
    // Rows shorter than the pixels they hold.
    EXPECT_EQ(sequence.Begin(Format(kCodecYUYV, 640, 480, 640), buffer.PixMap()), paramErr);
    EXPECT_EQ(sequence.DecodeFrame(buffer.bytes.data(), 100), paramErr);

    // A 320 x 240 grey camera: full-range bytes pass through (libyuv's filter may lose up to
    // two levels).
    std::vector<std::uint8_t> grey(320 * 240, 77);
    ASSERT_EQ(sequence.Begin(Format(kCodecGrey, 320, 240, 320), buffer.PixMap()), noErr);
    EXPECT_FALSE(sequence.DecodesDirectly());
    ASSERT_EQ(sequence.DecodeFrame(grey.data(), grey.size()), noErr);
    std::uint8_t const* last = buffer.bytes.data() + FrameBuffer::kRowBytes * 479 + 639 * 4;
    for (int colour = 0; colour < 3; ++colour) {
        EXPECT_NEAR(last[colour], 77, 2);
    }
    EXPECT_TRUE(buffer.OpaqueWithPaddingUntouched());

    // NV12 at 1280 x 720 with padded rows: the chroma plane starts after the padded luma.
    int const bpl = 1280 + 64;
    std::vector<std::uint8_t> nv12(static_cast<std::size_t>(bpl) * 720 * 3 / 2, 128);
    std::fill(nv12.begin(), nv12.begin() + static_cast<std::ptrdiff_t>(bpl) * 720, 16);
    ASSERT_EQ(sequence.Begin(Format(kCodecNV12, 1280, 720, bpl), buffer.PixMap()), noErr);
    ASSERT_EQ(sequence.DecodeFrame(nv12.data(), nv12.size()), noErr);
    EXPECT_EQ(buffer.bytes[FrameBuffer::kRowBytes * 240 + 320 * 4 + 1], 0);
    EXPECT_TRUE(buffer.OpaqueWithPaddingUntouched());
}

}  // namespace
