// duoscope-cam: reads the virtual camera's shared memory from outside the application.
//
//   duoscope-cam --snapshot FILE.png   writes the current frame as a PNG
//   duoscope-cam --raw [--frames N]    streams frames to standard output as raw 32-bit video
//                                      (bytes B, G, R, A; ffmpeg's "bgra") at the frame rate
//
// Frames are 640 x 480 unless the stereo format makes them wider or taller (1280 x 480 side
// by side, 640 x 960 top-bottom). --raw says each frame size on standard error when it
// starts and whenever it changes, so the reading program can be told (ffmpeg -video_size).
//
// Exits 0 on success, 2 when nothing is broadcasting, 3 when connections are not allowed,
// 4 when the memory belongs to another user or has another layout, 1 for other errors.

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <QImage>

#include "component/SharedCameraMemory.h"

char const* g_CoreMachDebug_LogPrefix = "duoscope-cam";
char const* g_CoreMachDebug_LogFileName = "";

namespace {

constexpr int kLockTimeoutMs = 100;
constexpr auto kFramePeriod = std::chrono::microseconds(1000000 / 30);

enum ExitCode { kExitOk = 0, kExitError = 1, kExitNotBroadcasting = 2, kExitRefused = 3,
                kExitNoAccess = 4 };

int Usage() {
    std::fprintf(stderr, "usage: duoscope-cam --snapshot FILE.png | --raw [--frames N]\n");
    return kExitError;
}

// Why no frame can be read now, as an exit code; kExitOk when frames can be read.
int CheckCamera(SharedCameraMemory const& memory) {
    if (!memory.WriterAlive()) {
        std::fprintf(stderr, "duoscope-cam: Duoscope is not broadcasting\n");
        return kExitNotBroadcasting;
    }
    if (!memory.ConnectionsAllowed()) {
        std::fprintf(stderr, "duoscope-cam: Duoscope does not allow camera connections now\n");
        return kExitRefused;
    }
    return kExitOk;
}

int Attach(SharedCameraMemory& memory) {
    switch (memory.AttachForReading(geteuid())) {
        case SharedCameraMemory::kOk:
            return CheckCamera(memory);
        case SharedCameraMemory::kNotBroadcasting:
            std::fprintf(stderr, "duoscope-cam: Duoscope is not broadcasting\n");
            return kExitNotBroadcasting;
        case SharedCameraMemory::kPermissionDenied:
            std::fprintf(stderr, "duoscope-cam: the virtual camera belongs to another user\n");
            return kExitNoAccess;
        case SharedCameraMemory::kBadLayout:
            std::fprintf(stderr, "duoscope-cam: the virtual camera's memory has another layout "
                                 "(a different Duoscope version?)\n");
            return kExitNoAccess;
        case SharedCameraMemory::kSystemError:
            break;
    }
    std::fprintf(stderr, "duoscope-cam: cannot open the virtual camera: %s\n",
                 std::strerror(errno));
    return kExitError;
}

// Room for the largest frame the shared memory holds.
std::vector<std::uint8_t> FrameStorage() {
    return std::vector<std::uint8_t>(static_cast<std::size_t>(SharedCameraMemory::kMaxPixels) * 4);
}

int Snapshot(SharedCameraMemory& memory, char const* path) {
    std::vector<std::uint8_t> frame = FrameStorage();
    SharedCameraFrameSize size{};
    if (memory.CopyPublishedFrame(frame.data(), frame.size(), size, kLockTimeoutMs) == 0) {
        std::fprintf(stderr, "duoscope-cam: no frame has been published yet\n");
        return kExitNotBroadcasting;
    }
    QImage const image(frame.data(), size.width, size.height, size.rowBytes,
                       QImage::Format_ARGB32_Premultiplied);
    if (!image.save(QString::fromLocal8Bit(path), "PNG")) {
        std::fprintf(stderr, "duoscope-cam: cannot write %s\n", path);
        return kExitError;
    }
    return kExitOk;
}

bool WriteAll(std::uint8_t const* data, std::size_t size) {
    while (size > 0) {
        ssize_t const written = write(STDOUT_FILENO, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// Each new frame once, in order; a frame that was already sent is not sent again, so the
// output runs at the application's rate.
int Raw(SharedCameraMemory& memory, long frames) {
    std::vector<std::uint8_t> frame = FrameStorage();
    SharedCameraFrameSize size{};
    SharedCameraFrameSize said{};
    std::uint64_t last = 0;
    auto next = std::chrono::steady_clock::now();
    for (long sent = 0; frames < 0 || sent < frames;) {
        if (int const status = CheckCamera(memory); status != kExitOk) {
            return status;
        }
        std::uint64_t const number = memory.Header()->frameCounter.load();
        if (number != 0 && number != last) {
            std::uint64_t const copied =
                memory.CopyPublishedFrame(frame.data(), frame.size(), size, kLockTimeoutMs);
            if (copied != 0 && copied != last) {
                if (size.width != said.width || size.height != said.height) {
                    std::fprintf(stderr, "duoscope-cam: frames are %d x %d\n", size.width,
                                 size.height);
                    said = size;
                }
                if (!WriteAll(frame.data(),
                              static_cast<std::size_t>(size.rowBytes) * size.height)) {
                    return kExitOk;  // the reading end closed
                }
                last = copied;
                ++sent;
            }
        }
        // Looks four times a frame period, so a frame is never missed at 30 a second.
        next += kFramePeriod / 4;
        std::this_thread::sleep_until(next);
        if (std::chrono::steady_clock::now() > next + kFramePeriod) {
            next = std::chrono::steady_clock::now();
        }
    }
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    char const* snapshot = nullptr;
    bool raw = false;
    long frames = -1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--snapshot") == 0 && i + 1 < argc) {
            snapshot = argv[++i];
        } else if (std::strcmp(argv[i], "--raw") == 0) {
            raw = true;
        } else if (std::strcmp(argv[i], "--frames") == 0 && i + 1 < argc) {
            frames = std::strtol(argv[++i], nullptr, 10);
        } else {
            return Usage();
        }
    }
    if ((snapshot != nullptr) == raw) {
        return Usage();
    }
    SharedCameraMemory memory;
    if (int const status = Attach(memory); status != kExitOk) {
        return status;
    }
    return snapshot != nullptr ? Snapshot(memory, snapshot) : Raw(memory, frames);
}
