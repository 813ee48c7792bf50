#pragma once
// The per-user shared memory of the virtual camera: a versioned header and two 32-bit frames,
// each guarded by a process-shared robust mutex. A frame is 640 x 480 unless the stereo
// format needs more room (a full side by side is 1280 x 480, a full top-bottom 640 x 960):
// each buffer holds up to 1280 x 480 pixels, and the header says each buffer's size. The
// component writes it (one writer per user); readers in other processes attach to it.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <pthread.h>
#include <string>

#include <sys/types.h>

// A frame's shape: rows of `width` 32-bit pixels, `rowBytes` apart (a multiple of 16).
struct SharedCameraFrameSize {
    std::int32_t width;
    std::int32_t height;
    std::int32_t rowBytes;
};

struct SharedCameraHeader {
    std::uint32_t magic;
    std::uint32_t layoutVersion;
    std::uint32_t headerBytes;
    std::int32_t maxWidth;
    std::int32_t maxHeight;
    std::uint32_t maxPixels;
    std::uint32_t frameBytes;  // each buffer's capacity
    std::uint32_t pixelFormat;
    std::uint32_t bufferOffset[2];
    std::atomic<std::int32_t> writerPid;  // 0 while no program broadcasts
    std::atomic<std::int32_t> allowCameraConnections;
    std::atomic<std::uint32_t> readBuffer;
    std::atomic<std::uint64_t> frameCounter;    // number of the last published frame
    std::atomic<std::uint64_t> bufferFrame[2];  // number of the frame each buffer holds
    SharedCameraFrameSize bufferSize[2];        // written and read under the buffer's lock
    pthread_mutex_t lock[2];
};

class SharedCameraMemory {
public:
    static constexpr std::uint32_t kMagic = 0x4d435344;  // "DSCM" in memory
    static constexpr std::uint32_t kLayoutVersion = 2;
    // The frame size when none is asked for: one camera's picture.
    static constexpr int kWidth = 640;
    static constexpr int kHeight = 480;
    static constexpr int kRowBytes = kWidth * 4;  // a multiple of 16
    // What a buffer holds at most.
    static constexpr int kMaxWidth = 2 * kWidth;
    static constexpr int kMaxHeight = 2 * kHeight;
    static constexpr int kMaxPixels = 2 * kWidth * kHeight;
    static constexpr std::uint32_t kPixelFormatARGB = 0x42475241;  // 'BGRA' bytes in memory

    enum Status {
        kOk,
        kNotBroadcasting,  // no shared memory, or its writer is gone
        kPermissionDenied,  // it belongs to another user
        kBadLayout,        // another version of the layout, or a damaged object
        kSystemError,
    };

    SharedCameraMemory() = default;
    SharedCameraMemory(SharedCameraMemory const&) = delete;
    SharedCameraMemory& operator=(SharedCameraMemory const&) = delete;
    ~SharedCameraMemory();

    // "/Duoscope_XXX.<uid>".
    static std::string ObjectName(uid_t uid);

    // Writer: creates (or takes over from a writer that died) this user's object, mode 0600.
    Status CreateForWriting();
    // Reader: attaches to the object of `uid` (the current user by default).
    Status AttachForReading(uid_t uid);
    // Writer: marks the camera as not broadcasting and removes the object's name; readers
    // that are attached keep their mapping and see that nobody writes.
    void Close();

    bool IsOpen() const { return mHeader != nullptr; }
    bool IsWriter() const { return mWriter; }
    SharedCameraHeader* Header() const { return mHeader; }
    std::uint8_t* Frame(int n) const;
    // 0 or 1 for a pointer that Frame returned, else -1.
    int BufferOfFrame(void const* frame) const;

    // Waits at most `timeoutMs` for buffer n. A lock whose holder died is taken over.
    bool Lock(int n, int timeoutMs);
    // The size of a width x height frame in a buffer, rows 16-byte aligned; nullopt when it
    // does not fit (wider than kMaxWidth, taller than kMaxHeight, more than kMaxPixels).
    static std::optional<SharedCameraFrameSize> FrameSizeFor(int width, int height);
    // Writer: the frames written to buffer n from now on have this size (FrameSizeFor's);
    // readers learn it with the next frame published from that buffer.
    void SetFrameSize(int n, SharedCameraFrameSize size);
    SharedCameraFrameSize FrameSize(int n) const { return mFrameSize[n & 1]; }
    // Writer: stamps the buffer with the next frame number and its size, then unlocks.
    bool UnlockWritten(int n);
    bool Unlock(int n);
    // Writer: buffer n becomes the one readers take.
    void Publish(int n);

    // Whether a live writer is behind the object.
    bool WriterAlive() const;
    bool ConnectionsAllowed() const;
    void SetConnectionsAllowed(bool allowed);

    // Reader: copies the published frame into `pixels`, its rows packed (width * 4 bytes
    // apart; `capacityBytes` must hold kMaxPixels), and says its size in `size`, waiting at
    // most `timeoutMs` for its lock. Returns the frame's number, or 0 when nothing was copied.
    std::uint64_t CopyPublishedFrame(std::uint8_t* pixels, std::size_t capacityBytes,
                                     SharedCameraFrameSize& size, int timeoutMs);

    static std::size_t MappingBytes();

private:
    Status Map(int fd, bool initialise);

    SharedCameraHeader* mHeader = nullptr;
    std::size_t mBytes = 0;
    bool mWriter = false;
    std::string mName;
    std::uint64_t mNextFrame = 0;
    SharedCameraFrameSize mFrameSize[2] = {{kWidth, kHeight, kRowBytes},
                                           {kWidth, kHeight, kRowBytes}};
};
