#include "platform/capture/V4L2Resources.h"

#include <cerrno>
#include <unistd.h>

#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

namespace {

V4L2IoctlFunction sIoctlFunction = nullptr;

}  // namespace

void SetV4L2IoctlFunction(V4L2IoctlFunction function) { sIoctlFunction = function; }

int V4L2Ioctl(int fd, unsigned long request, void* arg) {
    int result;
    do {
        result = sIoctlFunction != nullptr ? sIoctlFunction(fd, request, arg)
                                           : ::ioctl(fd, request, arg);
    } while (result == -1 && errno == EINTR);
    return result == -1 ? -errno : 0;
}

void ScopedFd::Reset(int fd) {
    if (mFd >= 0) {
        ::close(mFd);
    }
    mFd = fd;
}

MappedBuffer& MappedBuffer::operator=(MappedBuffer&& other) noexcept {
    if (this != &other) {
        Unmap();
        mData = std::exchange(other.mData, nullptr);
        mLength = std::exchange(other.mLength, 0);
    }
    return *this;
}

int MappedBuffer::Map(int fd, std::size_t length, off_t offset) {
    Unmap();
    void* data = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, offset);
    if (data == MAP_FAILED) {
        return -errno;
    }
    mData = static_cast<std::uint8_t*>(data);
    mLength = length;
    return 0;
}

void MappedBuffer::Unmap() {
    if (mData != nullptr) {
        ::munmap(mData, mLength);
        mData = nullptr;
        mLength = 0;
    }
}

int V4L2StreamGuard::Start(int fd) {
    Stop();
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    int const err = V4L2Ioctl(fd, VIDIOC_STREAMON, &type);
    if (err == 0) {
        mFd = fd;
    }
    return err;
}

int V4L2StreamGuard::Stop() {
    if (mFd < 0) {
        return 0;
    }
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    int const err = V4L2Ioctl(mFd, VIDIOC_STREAMOFF, &type);
    mFd = -1;
    return err;
}
