// duoscope-cameras: what the program sees of the cameras, through the grabber code itself.
//   duoscope-cameras                          the cameras in walk order, with their formats
//   duoscope-cameras --snapshot NAME FILE.png one frame of the camera NAME as a PNG
//   duoscope-cameras --measure NAME SECONDS   delivered frame rate and decode time
//   duoscope-cameras --stereo LEFT RIGHT SECONDS  two cameras ticked as the program ticks
//                                                them: each eye's rate, the pairing error

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <QImage>

#include "CoreX/CoreMachDebugLog.h"
#include "QClasses/QCameraGrabCGContext.h"
#include "QClasses/QCameraPairing.h"
#include "platform/capture/CaptureRegistry.h"

char const* g_CoreMachDebug_LogPrefix = "duoscope-cameras";
char const* g_CoreMachDebug_LogFileName = "Duoscope.log";

namespace {

using Clock = std::chrono::steady_clock;
using Camera = QCameraGrabberBase::Camera;

constexpr SGRect kFrameRect = {0, 0, 480, 640};

enum ExitCode {
    kExitOk = 0,
    kExitUsage = 1,
    kExitUnknownCamera = 2,
    kExitCannotOpen = 3,
    kExitNoFrames = 4,
    kExitCannotWrite = 5,
    kExitCameraLost = 6,
};

int Usage() {
    std::fprintf(stderr,
                 "usage: duoscope-cameras                          list the cameras\n"
                 "       duoscope-cameras --snapshot NAME FILE.png save one frame of camera NAME\n"
                 "       duoscope-cameras --measure NAME SECONDS   frame rate and decode time\n"
                 "       duoscope-cameras --stereo LEFT RIGHT SECONDS  both eyes' rates and the "
                 "pairing error (how far apart in time the frames shown together were taken)\n"
                 "NAME is a camera's name as the list shows it, for example \"Test Pattern "
                 "Left\".\n");
    return kExitUsage;
}

void PrintCameraNames(QSGDeviceList const& list) {
    Camera camera;
    for (bool fOk = list.GetFirstInput(camera); fOk; fOk = list.GetNextInput(camera)) {
        std::fprintf(stderr, "  \"%s\"\n", PStr63ToString(camera.inputName).c_str());
    }
}

int ListCameras() {
    QCameraGrabCGContext grabber;
    QSGDeviceList list;
    if (grabber.OpenInitialize() != noErr || !grabber.GetCameraInputList(list)) {
        std::printf("No cameras.\n");
        return kExitOk;
    }
    std::vector<CaptureDevice> const devices = CaptureRegistry::Shared().ListDevices();
    std::printf(
        "Cameras in walk order (the left eye opens the first that is free, the right "
        "eye the next):\n");
    int number = 0;
    Camera camera;
    for (bool fOk = list.GetFirstInput(camera); fOk; fOk = list.GetNextInput(camera)) {
        std::printf("  %d. \"%s\"  (device %d \"%s\", input %d)\n", ++number,
                    PStr63ToString(camera.inputName).c_str(), camera.device,
                    PStr63ToString(camera.deviceName).c_str(), camera.input);
    }
    std::printf("\nDevices and their formats:\n");
    for (CaptureDevice const& device : devices) {
        std::printf("  %s  [%s]\n", device.name.c_str(), device.path.c_str());
        std::vector<std::string> lines;
        device.backEnd->DescribeFormats(device, lines);
        for (std::string const& line : lines) {
            std::printf("      %s\n", line.c_str());
        }
    }
    return kExitOk;
}

// Idles until `frames` more frames were decoded or `seconds` passed; false when they did
// not come, and `lost` then says whether the camera vanished.
bool WaitForFrames(QCameraGrabCGContext& grabber, std::uint64_t frames, double seconds,
                   bool* lost = nullptr) {
    std::uint64_t const target = grabber.GetFrameStatistics().framesDecoded + frames;
    auto const end = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
        int const err = grabber.Idle();
        if (grabber.GetFrameStatistics().framesDecoded >= target) {
            return true;
        }
        if (err == sgDeviceLostErr) {
            if (lost != nullptr) {
                *lost = true;
            }
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

// Opens the camera whose input name is `name`, records, and waits for its first frame.
int OpenNamedCamera(QCameraGrabCGContext& grabber, char const* name) {
    QSGDeviceList list;
    if (grabber.OpenInitialize() != noErr || !grabber.GetCameraInputList(list)) {
        std::fprintf(stderr, "duoscope-cameras: there are no cameras\n");
        return kExitUnknownCamera;
    }
    Camera camera;
    Str63 wanted;
    PStr63FromCString(name, wanted);
    if (!list.FindInputNamed(wanted, camera)) {
        std::fprintf(stderr, "duoscope-cameras: no camera is called \"%s\". The cameras are:\n",
                     name);
        PrintCameraNames(list);
        return kExitUnknownCamera;
    }
    // A lost camera is a result here: no other camera may take its place.
    grabber.SetAutoOpenCameraPluggedIn(false, 1.0f);
    int err = grabber.OpenInitialize(kFrameRect, k32ARGBPixelFormat, &camera);
    if (err == noErr) {
        err = grabber.StartRecord();
    }
    if (err != noErr) {
        std::fprintf(stderr,
                     "duoscope-cameras: camera \"%s\" cannot be opened: %s (error %d; the log "
                     "lines above say more)\n",
                     name, SGStatusText(err), err);
        return kExitCannotOpen;
    }
    if (!WaitForFrames(grabber, 1, 5.0)) {
        std::fprintf(stderr, "duoscope-cameras: camera \"%s\" sent no frame in 5 seconds\n", name);
        return kExitNoFrames;
    }
    return kExitOk;
}

int Snapshot(char const* name, char const* path) {
    QCameraGrabCGContext grabber;
    if (int const code = OpenNamedCamera(grabber, name); code != kExitOk) {
        return code;
    }
    // A webcam's first frames are often dark while its exposure settles: a few more.
    WaitForFrames(grabber, 10, 0.5);
    QImage const picture =
        grabber.mCamContext.ConstructCGImage().convertToFormat(QImage::Format_RGB32);
    if (!picture.save(QString::fromLocal8Bit(path), "PNG")) {
        std::fprintf(stderr, "duoscope-cameras: cannot write \"%s\"\n", path);
        return kExitCannotWrite;
    }
    std::printf("%s: %dx%d from \"%s\" (camera sends %s %dx%d)\n", path, picture.width(),
                picture.height(), name, PixelFourCCText(grabber.mCameraImageDesc.cType).c_str(),
                grabber.mCameraImageDesc.width, grabber.mCameraImageDesc.height);
    return kExitOk;
}

int Measure(char const* name, double seconds) {
    QCameraGrabCGContext grabber;
    if (int const code = OpenNamedCamera(grabber, name); code != kExitOk) {
        return code;
    }
    // Counted from the first frame, so that opening the camera is not part of the rate.
    grabber.ResetFrameStatistics();
    auto const start = Clock::now();
    bool lost = false;
    WaitForFrames(grabber, UINT64_MAX / 2, seconds, &lost);
    double const elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    auto const& statistics = grabber.GetFrameStatistics();
    double const decoded = static_cast<double>(statistics.framesDecoded);
    std::printf("\"%s\" sends %s %dx%d\n", name,
                PixelFourCCText(grabber.mCameraImageDesc.cType).c_str(),
                grabber.mCameraImageDesc.width, grabber.mCameraImageDesc.height);
    std::printf("  %llu frames in %.2f s: %.1f frames a second, %llu dropped as damaged\n",
                static_cast<unsigned long long>(statistics.framesDecoded), elapsed,
                decoded / elapsed, static_cast<unsigned long long>(statistics.framesDropped));
    if (statistics.framesDecoded != 0) {
        std::printf(
            "  decoding into the 640x480 frame buffer: %.2f ms a frame on average, %.2f "
            "ms at most\n",
            1000.0 * statistics.decodeSeconds / decoded, 1000.0 * statistics.maxDecodeSeconds);
    }
    if (lost) {
        std::fprintf(stderr, "duoscope-cameras: camera \"%s\" was lost after %.2f s\n", name,
                     elapsed);
        return kExitCameraLost;
    }
    return statistics.framesDecoded != 0 ? kExitOk : kExitNoFrames;
}

// Both cameras idled once a tick, 30 ticks a second, as the program's clock does, their
// frames paired by capture time as the window pairs them; the pairing error is how far
// apart in time the frames shown together were taken.
int Stereo(char const* leftName, char const* rightName, double seconds) {
    QCameraGrabCGContext left;
    QCameraGrabCGContext right;
    if (int const code = OpenNamedCamera(left, leftName); code != kExitOk) {
        return code;
    }
    if (int const code = OpenNamedCamera(right, rightName); code != kExitOk) {
        return code;
    }
    left.ResetFrameStatistics();
    right.ResetFrameStatistics();
    left.SetHoldFramesForPairing(true);
    right.SetHoldFramesForPairing(true);
    auto const tick = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / 30));
    auto const start = Clock::now();
    auto const end = start + std::chrono::duration<double>(seconds);
    double apartSumMs = 0.0;
    double apartMaxMs = 0.0;
    long long pairs = 0;
    char const* lostName = nullptr;
    for (auto next = start + tick; Clock::now() < end && lostName == nullptr; next += tick) {
        if (left.Idle() == sgDeviceLostErr) {
            lostName = leftName;
        }
        if (right.Idle() == sgDeviceLostErr) {
            lostName = rightName;
        }
        QCameraPairing::Choice const pair = QCameraPairing::ShowBestPair(left, right);
        if (pair.errorMs >= 0.0) {
            double const apartMs = pair.errorMs;
            apartSumMs += apartMs;
            apartMaxMs = std::max(apartMaxMs, apartMs);
            ++pairs;
        }
        std::this_thread::sleep_until(next);
    }
    double const elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    for (auto const& [name, grabber] : {std::pair<char const*, QCameraGrabCGContext*>{leftName, &left},
                                        {rightName, &right}}) {
        auto const& statistics = grabber->GetFrameStatistics();
        std::printf("\"%s\": %s %dx%d, %.1f frames a second, %llu dropped\n", name,
                    PixelFourCCText(grabber->mCameraImageDesc.cType).c_str(),
                    grabber->mCameraImageDesc.width, grabber->mCameraImageDesc.height,
                    static_cast<double>(statistics.framesDecoded) / elapsed,
                    static_cast<unsigned long long>(statistics.framesDropped));
    }
    if (pairs != 0) {
        std::printf("pairing error: %.1f ms on average, %.1f ms at most, over %lld ticks\n",
                    apartSumMs / static_cast<double>(pairs), apartMaxMs, pairs);
    }
    if (lostName != nullptr) {
        std::fprintf(stderr, "duoscope-cameras: camera \"%s\" was lost after %.2f s\n",
                     lostName, elapsed);
        return kExitCameraLost;
    }
    return pairs != 0 ? kExitOk : kExitNoFrames;
}

}  // namespace

int main(int argc, char** argv) {
    // Log lines (why a camera did not open) go to standard error as well as the system log.
    CoreMachDebugLogSetUseLogger(kCoreLogOutputASL);
    if (argc == 1) {
        return ListCameras();
    }
    std::string const command = argv[1];
    if (command == "--snapshot" && argc == 4) {
        return Snapshot(argv[2], argv[3]);
    }
    if (command == "--measure" && argc == 4) {
        char* end = nullptr;
        double const seconds = std::strtod(argv[3], &end);
        if (*end != '\0' || !(seconds > 0.0) || seconds > 3600.0) {
            std::fprintf(stderr, "duoscope-cameras: SECONDS must be a number above 0\n");
            return Usage();
        }
        return Measure(argv[2], seconds);
    }
    if (command == "--stereo" && argc == 5) {
        char* end = nullptr;
        double const seconds = std::strtod(argv[4], &end);
        if (*end != '\0' || !(seconds > 0.0) || seconds > 3600.0) {
            std::fprintf(stderr, "duoscope-cameras: SECONDS must be a number above 0\n");
            return Usage();
        }
        return Stereo(argv[2], argv[3], seconds);
    }
    return Usage();
}
