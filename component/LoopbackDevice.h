#pragma once
// The virtual camera as other programs see it: a v4l2loopback device that each published
// frame is written to as YUYV. Found by its sysfs entry (a device labelled "Duoscope" first,
// else the lowest-numbered loopback device). When broadcasting stops, or the program quits or
// dies, the device shows its readers a still picture saying so instead of a dead stream.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct LoopbackCandidate {
    std::string devicePath;  // /dev/videoN
    std::string name;        // the card label
    int number = -1;
};

class LoopbackDevice {
public:
    static constexpr char kPreferredName[] = "Duoscope";

    // The loopback devices listed under `sysfsRoot` (/sys/class/video4linux), with their
    // nodes named under `devRoot`, in /dev/videoN number order.
    static std::vector<LoopbackCandidate> FindLoopbackDevices(
        std::string const& sysfsRoot = "/sys/class/video4linux",
        std::string const& devRoot = "/dev");
    // The one to write to: labelled "Duoscope" if there is one, else the first.
    static std::optional<LoopbackCandidate> ChooseLoopbackDevice(
        std::vector<LoopbackCandidate> const& candidates);

    LoopbackDevice();
    LoopbackDevice(LoopbackDevice const&) = delete;
    LoopbackDevice& operator=(LoopbackDevice const&) = delete;
    ~LoopbackDevice();

    // Opens the chosen device for writing 640 x 480 YUYV. False (logged) when there is
    // none or it refuses the format.
    bool Open();
    bool IsOpen() const { return mFd >= 0; }
    std::string const& DevicePath() const { return mDevicePath; }

    // Converts one 32-bit ARGB frame and writes it; a device that is busy drops the frame.
    // A frame of another size than the device's reopens the device at that size; where the
    // driver refuses (a program is reading and holds the format), it says so once and the
    // frame is scaled to the device's size instead.
    bool WriteFrame(std::uint8_t const* argb, int width, int height, int rowBytes);
    int Width() const { return mWidth; }
    int Height() const { return mHeight; }
    // Leaves the "not broadcasting" picture on the device and closes it.
    void CloseWithStillPicture();

    // The conversion alone, into `yuyv` (width * 2 bytes a row).
    static void ConvertARGBToYUYV(std::uint8_t const* argb, int argbRowBytes, std::uint8_t* yuyv,
                                  int width, int height);
    std::vector<std::uint8_t> const& StillPictureYUYV() const { return mStill; }

    // Readers see the still picture once no frame came for this long, whether Duoscope
    // stopped, hangs or died.
    static constexpr int kStillAfterMs = 1000;

private:
    static bool SetControlByName(int fd, char const* name, int value);
    // Opens the node for YUYV frames of this size: sets mFd, the size and the buffers, and
    // loads the timeout picture. A node kept at another format is released once and retried.
    bool OpenAtSize(std::string const& devicePath, int width, int height);
    // Sets mFd when the node takes YUYV of this size; the first attempt releases a node that
    // an earlier writer left at another format.
    void OpenAsYUYV(std::string const& devicePath, int width, int height, bool fFirstAttempt);
    void MakeStillPicture(int width, int height);
    void LoadTimeoutPicture();

    int mFd = -1;
    std::string mDevicePath;
    std::vector<std::uint8_t> mYUYV;   // one frame, allocated once
    std::vector<std::uint8_t> mStill;  // the "not broadcasting" picture at the device's size
    int mWidth = 0;                    // the device's frame size while open
    int mHeight = 0;
    int mRefusedWidth = 0;  // the size the device last refused, so it is asked once
    int mRefusedHeight = 0;
    std::vector<std::uint8_t> mScaled;  // a frame scaled to the device's size
};
