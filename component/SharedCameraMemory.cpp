#include "component/SharedCameraMemory.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include <sys/mman.h>
#include <sys/stat.h>

#include "CoreX/CoreMachDebugLog.h"

namespace {

static_assert(std::atomic<std::int32_t>::is_always_lock_free);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

constexpr std::size_t kPageBytes = 4096;

constexpr std::size_t RoundUp(std::size_t bytes) {
    return (bytes + kPageBytes - 1) / kPageBytes * kPageBytes;
}

constexpr std::size_t kHeaderBytes = RoundUp(sizeof(SharedCameraHeader));
constexpr std::size_t kFrameBytes = static_cast<std::size_t>(SharedCameraMemory::kMaxPixels) * 4;
static_assert(SharedCameraMemory::kMaxWidth % 4 == 0, "full rows are 16-byte aligned");

timespec DeadlineAfter(int timeoutMs) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    long long const nanoseconds = now.tv_nsec + static_cast<long long>(timeoutMs) * 1000000;
    now.tv_sec += static_cast<time_t>(nanoseconds / 1000000000);
    now.tv_nsec = static_cast<long>(nanoseconds % 1000000000);
    return now;
}

}  // namespace

SharedCameraMemory::~SharedCameraMemory() { Close(); }

std::string SharedCameraMemory::ObjectName(uid_t uid) {
    return "/Duoscope_XXX." + std::to_string(uid);
}

std::size_t SharedCameraMemory::MappingBytes() { return kHeaderBytes + 2 * RoundUp(kFrameBytes); }

std::uint8_t* SharedCameraMemory::Frame(int n) const {
    if (mHeader == nullptr || (n != 0 && n != 1)) {
        return nullptr;
    }
    return reinterpret_cast<std::uint8_t*>(mHeader) + mHeader->bufferOffset[n];
}

int SharedCameraMemory::BufferOfFrame(void const* frame) const {
    for (int n = 0; n < 2; ++n) {
        if (frame != nullptr && frame == Frame(n)) {
            return n;
        }
    }
    return -1;
}

SharedCameraMemory::Status SharedCameraMemory::CreateForWriting() {
    if (mHeader != nullptr) {
        return mWriter ? kOk : kSystemError;
    }
    std::string const name = ObjectName(geteuid());
    int fd = shm_open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    VERIFY(fd >= 0);
    if (fd < 0) {
        return errno == EACCES ? kPermissionDenied : kSystemError;
    }
    struct stat info {};
    bool const owned = fstat(fd, &info) == 0 && info.st_uid == geteuid();
    VERIFY(owned);  // an object of this name made by another user is never written
    if (!owned) {
        close(fd);
        return kPermissionDenied;
    }
    VERIFY(fchmod(fd, 0600) == 0);

    // An object left by an earlier run is reused when its layout matches (its locks are
    // robust, so a dead holder is recovered); any other object is replaced.
    bool reuse = false;
    if (static_cast<std::size_t>(info.st_size) == MappingBytes()) {
        Status const status = Map(fd, false);
        reuse = status == kOk;
        if (reuse) {
            pid_t const other = mHeader->writerPid.load();
            if (other != 0 && other != getpid() && kill(other, 0) == 0) {
                CoreMachDebugLog("Another program (pid %d) is broadcasting as this user's "
                                 "virtual camera", static_cast<int>(other));
                munmap(mHeader, mBytes);
                mHeader = nullptr;
                close(fd);
                return kPermissionDenied;
            }
        }
    }
    if (!reuse) {
        close(fd);
        shm_unlink(name.c_str());
        fd = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        VERIFY(fd >= 0);
        if (fd < 0) {
            return kSystemError;
        }
        bool const sized = ftruncate(fd, static_cast<off_t>(MappingBytes())) == 0;
        VERIFY(sized);
        Status const status = sized ? Map(fd, true) : kSystemError;
        if (status != kOk) {
            close(fd);
            shm_unlink(name.c_str());
            return status;
        }
    }
    close(fd);
    mWriter = true;
    mName = name;
    mNextFrame = mHeader->frameCounter.load() + 1;
    mHeader->writerPid.store(static_cast<std::int32_t>(getpid()));
    return kOk;
}

SharedCameraMemory::Status SharedCameraMemory::AttachForReading(uid_t uid) {
    if (mHeader != nullptr) {
        return kOk;
    }
    int const fd = shm_open(ObjectName(uid).c_str(), O_RDWR | O_CLOEXEC, 0);
    if (fd < 0) {
        return errno == EACCES ? kPermissionDenied
               : errno == ENOENT ? kNotBroadcasting
                                 : kSystemError;
    }
    struct stat info {};
    Status status = kBadLayout;
    if (fstat(fd, &info) == 0 && static_cast<std::size_t>(info.st_size) == MappingBytes()) {
        status = Map(fd, false);
    }
    close(fd);
    if (status == kOk && !WriterAlive()) {
        status = kNotBroadcasting;
    }
    if (status != kOk) {
        Close();
    }
    return status;
}

SharedCameraMemory::Status SharedCameraMemory::Map(int fd, bool initialise) {
    void* const memory =
        mmap(nullptr, MappingBytes(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    VERIFY(memory != MAP_FAILED);
    if (memory == MAP_FAILED) {
        return kSystemError;
    }
    mHeader = static_cast<SharedCameraHeader*>(memory);
    mBytes = MappingBytes();
    SharedCameraHeader& header = *mHeader;
    if (initialise) {
        // The memory of a fresh object is zero: only what is not zero is set. The magic
        // goes last, so a reader never takes a half-made header for a valid one.
        header.layoutVersion = kLayoutVersion;
        header.headerBytes = sizeof(SharedCameraHeader);
        header.maxWidth = kMaxWidth;
        header.maxHeight = kMaxHeight;
        header.maxPixels = kMaxPixels;
        header.frameBytes = kFrameBytes;
        header.bufferSize[0] = header.bufferSize[1] = {kWidth, kHeight, kRowBytes};
        header.pixelFormat = kPixelFormatARGB;
        header.bufferOffset[0] = kHeaderBytes;
        header.bufferOffset[1] = kHeaderBytes + RoundUp(kFrameBytes);
        header.allowCameraConnections.store(1);
        for (pthread_mutex_t& lock : header.lock) {
            pthread_mutexattr_t attributes;
            pthread_mutexattr_init(&attributes);
            pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
            pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
            VERIFY(pthread_mutex_init(&lock, &attributes) == 0);
            pthread_mutexattr_destroy(&attributes);
        }
        std::atomic_thread_fence(std::memory_order_release);
        header.magic = kMagic;
        return kOk;
    }
    std::atomic_thread_fence(std::memory_order_acquire);
    bool const valid = header.magic == kMagic && header.layoutVersion == kLayoutVersion &&
                       header.headerBytes == sizeof(SharedCameraHeader) &&
                       header.maxWidth == kMaxWidth && header.maxHeight == kMaxHeight &&
                       header.maxPixels == kMaxPixels && header.frameBytes == kFrameBytes &&
                       header.bufferOffset[0] == kHeaderBytes &&
                       header.bufferOffset[1] == kHeaderBytes + RoundUp(kFrameBytes);
    if (!valid) {
        munmap(mHeader, mBytes);
        mHeader = nullptr;
        return kBadLayout;
    }
    return kOk;
}

void SharedCameraMemory::Close() {
    if (mHeader == nullptr) {
        return;
    }
    if (mWriter) {
        mHeader->writerPid.store(0);
        shm_unlink(mName.c_str());
    }
    munmap(mHeader, mBytes);
    mHeader = nullptr;
    mWriter = false;
}

bool SharedCameraMemory::Lock(int n, int timeoutMs) {
    if (mHeader == nullptr || (n != 0 && n != 1)) {
        return false;
    }
    timespec const deadline = DeadlineAfter(timeoutMs);
    int const result = pthread_mutex_clocklock(&mHeader->lock[n], CLOCK_MONOTONIC, &deadline);
    if (result == EOWNERDEAD) {
        // The holder died inside its frame: the lock is ours and made usable again. A dead
        // reader changed nothing; a dead writer's half frame is overwritten by the next one.
        CoreMachDebugLog("Shared camera buffer %d: recovered the lock of a program that died", n);
        VERIFY(pthread_mutex_consistent(&mHeader->lock[n]) == 0);
        return true;
    }
    return result == 0;
}

bool SharedCameraMemory::Unlock(int n) {
    if (mHeader == nullptr || (n != 0 && n != 1)) {
        return false;
    }
    return pthread_mutex_unlock(&mHeader->lock[n]) == 0;
}

std::optional<SharedCameraFrameSize> SharedCameraMemory::FrameSizeFor(int width, int height) {
    if (width < 1 || height < 1 || width > kMaxWidth || height > kMaxHeight ||
        static_cast<long long>(width) * height > kMaxPixels) {
        return std::nullopt;
    }
    int const rowBytes = (width * 4 + 15) / 16 * 16;
    if (static_cast<long long>(rowBytes) * (height - 1) + width * 4 >
        static_cast<long long>(kFrameBytes)) {
        return std::nullopt;  // padded rows that would run past the buffer
    }
    return SharedCameraFrameSize{width, height, rowBytes};
}

void SharedCameraMemory::SetFrameSize(int n, SharedCameraFrameSize size) {
    VERIFY(FrameSizeFor(size.width, size.height).has_value());
    if (n == 0 || n == 1) {
        if (auto const checked = FrameSizeFor(size.width, size.height)) {
            mFrameSize[n] = *checked;
        }
    }
}

bool SharedCameraMemory::UnlockWritten(int n) {
    if (mHeader == nullptr || !mWriter || (n != 0 && n != 1)) {
        return false;
    }
    // Stamped while still locked, so a reader always sees a frame's pixels with its number
    // and its size.
    mHeader->bufferSize[n] = mFrameSize[n];
    mHeader->bufferFrame[n].store(mNextFrame++);
    return Unlock(n);
}

void SharedCameraMemory::Publish(int n) {
    if (mHeader == nullptr || !mWriter || (n != 0 && n != 1)) {
        return;
    }
    mHeader->readBuffer.store(static_cast<std::uint32_t>(n));
    mHeader->frameCounter.store(mHeader->bufferFrame[n].load());
}

bool SharedCameraMemory::WriterAlive() const {
    if (mHeader == nullptr) {
        return false;
    }
    pid_t const writer = mHeader->writerPid.load();
    return writer != 0 && (kill(writer, 0) == 0 || errno == EPERM);
}

bool SharedCameraMemory::ConnectionsAllowed() const {
    return mHeader != nullptr && mHeader->allowCameraConnections.load() != 0;
}

void SharedCameraMemory::SetConnectionsAllowed(bool allowed) {
    if (mHeader != nullptr && mWriter) {
        mHeader->allowCameraConnections.store(allowed ? 1 : 0);
    }
}

std::uint64_t SharedCameraMemory::CopyPublishedFrame(std::uint8_t* pixels,
                                                     std::size_t capacityBytes,
                                                     SharedCameraFrameSize& size, int timeoutMs) {
    if (mHeader == nullptr || pixels == nullptr) {
        return 0;
    }
    int const n = static_cast<int>(mHeader->readBuffer.load() & 1);
    if (!Lock(n, timeoutMs)) {
        return 0;
    }
    std::uint64_t frame = mHeader->bufferFrame[n].load();
    SharedCameraFrameSize const stored = mHeader->bufferSize[n];
    // The header is another process's memory: its size is believed only when it fits.
    std::optional<SharedCameraFrameSize> const checked = FrameSizeFor(stored.width, stored.height);
    bool const valid = checked && checked->rowBytes == stored.rowBytes &&
                       capacityBytes >= static_cast<std::size_t>(stored.width) * 4 * stored.height;
    VERIFY(valid);
    if (valid) {
        std::size_t const packedRowBytes = static_cast<std::size_t>(stored.width) * 4;
        std::uint8_t const* source = Frame(n);
        for (int row = 0; row < stored.height; ++row) {
            std::memcpy(pixels + row * packedRowBytes,
                        source + static_cast<std::ptrdiff_t>(row) * stored.rowBytes,
                        packedRowBytes);
        }
        size = {stored.width, stored.height, static_cast<std::int32_t>(packedRowBytes)};
    } else {
        frame = 0;
    }
    Unlock(n);
    return frame;
}
