// libFuzzer target for the frame decode path: every frame a camera sends goes through
// DecompressSequence. The first 8 bytes of an input choose the camera (format, size, row
// padding) and the destination; the rest is the frame. Frame and destination are placed
// flush against an unreadable page, so a read or write past either stops the run even
// inside TurboJPEG and libyuv, which are not built with the sanitizers.
//
// Input layout: format, width (2 bytes), height (2 bytes), destination width, destination
// height, flags (bits 0-4: extra row bytes; bit 7: take a JPEG's size from its own header).
// The seeds in corpus/ are a smooth colour picture in each format, encoded as webcams send
// it (MJPEG 4:2:2 with and without Huffman tables, and the raw formats), behind that header.

#include <cstdint>
#include <cstring>
#include <turbojpeg.h>
#include <unistd.h>

#include <sys/mman.h>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/capture/DecompressSequence.h"

char const* g_CoreMachDebug_LogPrefix = "DuoscopeFuzz";
char const* g_CoreMachDebug_LogFileName = "DuoscopeFuzz.log";

namespace {

constexpr OSType kFormats[] = {kCodecMJPEG, kCodecJPEG,  kCodecYUYV,   kCodecUYVY,
                               kCodecNV12,  kCodecNV21,  kCodecYUV420, kCodecYVU420,
                               kCodecRGB24, kCodecBGR24, kCodecGrey};
constexpr int kMaxSide = 1024;  // keeps one decode within a few milliseconds

// `size` bytes that end where an inaccessible page begins.
class GuardedBlock {
public:
    explicit GuardedBlock(std::size_t size) {
        std::size_t const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        mLength = (size + page - 1) / page * page + page;
        void* map =
            mmap(nullptr, mLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) {
            return;
        }
        mMap = static_cast<std::uint8_t*>(map);
        mprotect(mMap + mLength - page, page, PROT_NONE);
        mData = mMap + mLength - page - size;
    }
    ~GuardedBlock() {
        if (mMap != nullptr) {
            munmap(mMap, mLength);
        }
    }
    GuardedBlock(GuardedBlock const&) = delete;
    GuardedBlock& operator=(GuardedBlock const&) = delete;
    std::uint8_t* data() const { return mData; }

private:
    std::uint8_t* mMap = nullptr;
    std::uint8_t* mData = nullptr;
    std::size_t mLength = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Refusals are logged; keep them out of any log file.
    CoreMachDebugLogSetUseLogger(kCoreLogOutputSyslog);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
    if (size < 8) {
        return 0;
    }
    ImageDescription camera;
    camera.cType = kFormats[input[0] % (sizeof(kFormats) / sizeof(kFormats[0]))];
    int width = 1 + (input[1] | input[2] << 8) % kMaxSide;
    int height = 1 + (input[3] | input[4] << 8) % kMaxSide;
    int const destinationWidth = 1 + input[5] % 160;
    int const destinationHeight = 1 + input[6] % 120;
    int const extraRowBytes = input[7] & 0x1F;
    std::uint8_t const* frame = input + 8;
    std::size_t const frameSize = size - 8;

    bool const jpeg = camera.cType == kCodecMJPEG || camera.cType == kCodecJPEG;
    if (jpeg && (input[7] & 0x80) != 0) {
        // The size the frame itself declares, as a camera that keeps to its format sends it.
        tjhandle const header = tjInitDecompress();
        int subsampling = 0;
        int colorspace = 0;
        int const failed = tjDecompressHeader3(header, const_cast<std::uint8_t*>(frame),
                                               static_cast<unsigned long>(frameSize), &width,
                                               &height, &subsampling, &colorspace);
        tjDestroy(header);
        if (failed != 0 || width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
            return 0;
        }
    }
    camera.width = static_cast<std::int16_t>(width);
    camera.height = static_cast<std::int16_t>(height);
    if (!jpeg) {
        camera.bytesPerLine =
            DecompressSequence::MinimumBytesPerLine(camera.cType, width) + extraRowBytes;
    }
    camera.dataSize = static_cast<std::int32_t>(frameSize);

    GuardedBlock const destination(static_cast<std::size_t>(destinationWidth) * destinationHeight *
                                   4);
    GuardedBlock const data(frameSize);
    if (destination.data() == nullptr || data.data() == nullptr) {
        return 0;
    }
    if (frameSize != 0) {
        std::memcpy(data.data(), frame, frameSize);
    }
    SGPixMap pixMap;
    pixMap.baseAddr = destination.data();
    pixMap.rowBytes = destinationWidth * 4;
    pixMap.width = destinationWidth;
    pixMap.height = destinationHeight;

    DecompressSequence sequence;
    if (sequence.Begin(camera, pixMap) != noErr) {
        return 0;
    }
    // Twice: the second decode reuses what the first one left.
    sequence.DecodeFrame(data.data(), frameSize);
    sequence.DecodeFrame(data.data(), frameSize);
    return 0;
}
