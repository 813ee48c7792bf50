#pragma once
// The built-in camera "Duoscope Test Pattern": two inputs, "Test Pattern Left" and "Test
// Pattern Right", showing one moving 3D scene to two eyes as MJPEG at 30 frames a second.
// It is listed after every real camera, so with none plugged in the program still has a live
// stereo picture. Each input is held exclusively, as a real camera is.

#include <cstdint>
#include <vector>

#include "platform/capture/CaptureBackEnd.h"

class TestPatternBackEnd : public CaptureBackEnd {
public:
    static constexpr char kDeviceName[] = "Duoscope Test Pattern";
    static constexpr int kInputCount = 2;
    static constexpr char const* kInputNames[kInputCount] = {"Test Pattern Left",
                                                             "Test Pattern Right"};

    // The device can be unplugged and plugged in again, as tests of losing and re-opening a
    // camera need: while unplugged it is not listed, and inputs that are open act as a
    // vanished camera does. It starts plugged in. A program whose environment sets
    // DUOSCOPE_TEST_PATTERN_UNPLUG_AFTER=N unplugs it once its inputs have delivered N
    // frames in all, so that tests of another process (the cameras tool) can lose a camera.
    //
    // A second device, "Duoscope Spare Camera" with the one input "Spare Camera", stands in
    // for a webcam plugged in and out at run time (hotplug tests): it starts unplugged, is
    // listed before the test pattern as a plugged-in camera is, and shows the left view.
    enum Device { kMain, kSpare };
    static constexpr char kSpareDeviceName[] = "Duoscope Spare Camera";
    static constexpr char kSpareInputName[] = "Spare Camera";
    static constexpr int kSlotCount = kInputCount + 1;  // the inputs of both devices
    static constexpr int kSpareSlot = kInputCount;
    static char const* SlotName(int slot);
    static void Plug(Device device = kMain);
    static void Unplug(Device device = kMain);
    static bool IsPlugged(Device device = kMain);
    // The next frame input `input` delivers is these bytes instead of a rendered picture.
    static void InjectFrame(int input, std::vector<std::uint8_t> frame);
    // Every grab renders a new picture rather than one per 1/30 s (for benchmarks).
    static void SetFreeRunning(bool freeRunning);
    // Inputs open but refuse to start streaming (sgBandwidthErr), as a camera does whose USB
    // bus has no bandwidth left.
    static void SetStreamingRefused(bool refused);
    // Inputs stay open and streaming but deliver nothing, as a camera whose firmware hangs.
    static void SetFrozen(bool frozen);
    static bool Frozen();

    void ListDevices(std::vector<CaptureDevice>& devices) override;
    // The test pattern always runs at 30 frames a second.
    int OpenInput(CaptureDevice const& device, int input, int width, int height,
                  std::unique_ptr<CaptureSource>& source, double framesPerSecond = 30.0) override;
    void DescribeFormats(CaptureDevice const& device, std::vector<std::string>& lines) override;

    // The sources' side of the shared state.
    static std::uint64_t PlugGeneration(Device device = kMain);  // changes at every unplug
    static std::uint64_t ListGeneration();  // changes at every plug and unplug
    static bool FreeRunning();
    static bool StreamingRefused();
    static bool TakeInjectedFrame(int input, std::vector<std::uint8_t>& frame);
    static void ReleaseInput(int input);
    // Counts one delivered frame; unplugs the device when the environment's count is reached.
    static void NoteFrameDelivered();
    // The 1/30 s tick an input read from the clock last, and when (steady microseconds), so
    // that the other eye, grabbed moments later in the same master-clock tick, shows the
    // same moment even when a tick boundary fell between the two grabs.
    static void NoteClockTick(int input, std::int64_t tick, std::int64_t timeUs);
    static bool LastClockTick(int input, std::int64_t& tick, std::int64_t& timeUs);
};
