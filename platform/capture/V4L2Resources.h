#pragma once
// Owners of what a V4L2 stream holds in the kernel (the device's file descriptor, each
// memory-mapped buffer, streaming itself), and the one ioctl wrapper every call goes through.

#include <cstddef>
#include <cstdint>
#include <utility>

#include <sys/types.h>

// Runs the ioctl, again while a signal interrupts it. Returns 0 or -errno; the caller logs,
// since it knows what it was doing.
int V4L2Ioctl(int fd, unsigned long request, void* arg);

// Where V4L2Ioctl sends its requests: the kernel, unless a test replays a camera's recorded
// answers through a function that answers as ioctl(2) does (-1 with errno). Null: the kernel.
using V4L2IoctlFunction = int (*)(int fd, unsigned long request, void* arg);
void SetV4L2IoctlFunction(V4L2IoctlFunction function);

class ScopedFd {
public:
    ScopedFd() = default;
    explicit ScopedFd(int fd) : mFd(fd) {}
    ScopedFd(ScopedFd&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    ScopedFd& operator=(ScopedFd&& other) noexcept {
        Reset(std::exchange(other.mFd, -1));
        return *this;
    }
    ScopedFd(ScopedFd const&) = delete;
    ScopedFd& operator=(ScopedFd const&) = delete;
    ~ScopedFd() { Reset(); }

    int Get() const { return mFd; }
    bool IsOpen() const { return mFd >= 0; }
    void Reset(int fd = -1);

private:
    int mFd = -1;
};

class MappedBuffer {
public:
    MappedBuffer() = default;
    MappedBuffer(MappedBuffer&& other) noexcept
        : mData(std::exchange(other.mData, nullptr)), mLength(std::exchange(other.mLength, 0)) {}
    MappedBuffer& operator=(MappedBuffer&& other) noexcept;
    MappedBuffer(MappedBuffer const&) = delete;
    MappedBuffer& operator=(MappedBuffer const&) = delete;
    ~MappedBuffer() { Unmap(); }

    // Maps `length` bytes of the device's memory at `offset` for reading. Returns 0 or
    // -errno, leaving the buffer empty.
    int Map(int fd, std::size_t length, off_t offset);
    void Unmap();

    std::uint8_t const* Data() const { return mData; }
    std::size_t Length() const { return mLength; }

private:
    std::uint8_t* mData = nullptr;
    std::size_t mLength = 0;
};

// Streaming of one capture queue: started by Start, stopped by Stop or when it goes.
class V4L2StreamGuard {
public:
    V4L2StreamGuard() = default;
    V4L2StreamGuard(V4L2StreamGuard const&) = delete;
    V4L2StreamGuard& operator=(V4L2StreamGuard const&) = delete;
    ~V4L2StreamGuard() { Stop(); }

    int Start(int fd);  // VIDIOC_STREAMON: 0 or -errno
    int Stop();         // VIDIOC_STREAMOFF when streaming: 0 or -errno
    bool IsStreaming() const { return mFd >= 0; }

private:
    int mFd = -1;
};
