#pragma once
// A kind of camera the capture component can open (V4L2 devices, the built-in test pattern):
// it lists its devices with their inputs and opens one input for streaming.

#include <memory>
#include <string>
#include <vector>

#include "platform/capture/CaptureSource.h"

class CaptureBackEnd;

// One device as listed. Device names are unique among all devices; input names are the
// names of cameras and are unique among all inputs, so a camera is found by its input name.
struct CaptureDevice {
    std::string name;
    std::vector<std::string> inputs;
    std::string path;  // the back end's own address of the device ("/dev/video0")
    CaptureBackEnd* backEnd = nullptr;
    // Whether a grabber opened without a camera may take it: cameras plugged into the
    // computer come before its own (a laptop's), and an infrared-only node is never taken.
    enum DefaultUse { kDefaultFirst, kDefaultLater, kDefaultNever };
    DefaultUse defaultUse = kDefaultLater;
};

class CaptureBackEnd {
public:
    virtual ~CaptureBackEnd() = default;

    // Appends this back end's devices in its own order.
    virtual void ListDevices(std::vector<CaptureDevice>& devices) = 0;
    // Opens input `input` of `device` with frames that cover width x height where it can,
    // at `framesPerSecond` or the nearest rate it offers (both eyes at one rate keeps their
    // frames in step). sgDeviceBusyErr when someone else holds it; the source is left null
    // on any error.
    virtual int OpenInput(CaptureDevice const& device, int input, int width, int height,
                          std::unique_ptr<CaptureSource>& source,
                          double framesPerSecond = 30.0) = 0;
    // One line per frame format the device offers, for people (the cameras tool).
    virtual void DescribeFormats(CaptureDevice const& device, std::vector<std::string>& lines) = 0;
};
