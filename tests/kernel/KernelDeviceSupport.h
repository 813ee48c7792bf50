#pragma once
// What the kernel-device cases share: controls found by name (their ids change between
// kernels), node names from sysfs, and grabbers idled until frames arrive, with generous
// deadlines since the VM emulates its processor.

#include <functional>
#include <initializer_list>
#include <string>

#include "QClasses/QCameraGrabCGContext.h"

namespace KernelDeviceSupport {

// The sysfs name of a /dev/videoN node ("vivid-000-vid-cap").
std::string NodeName(std::string const& devicePath);
// Sets the control called `name` on an open node; false (with the reason printed) if it has
// none or refuses.
bool SetControlByName(int fd, char const* name, int value);
// The frame rate the driver reports for the node's capture queue.
double DriverFramesPerSecond(std::string const& devicePath);

// OpenInitialize and StartRecord; `camera` null: the default camera.
int OpenAndRecord(QCameraGrabCGContext& grabber, SGRect const& rect,
                  QCameraGrabberBase::Camera const* camera);
std::string CurrentCamera(QCameraGrabCGContext& grabber);
// Idles every grabber until each has decoded `frames` more frames; false after 30 s.
bool IdleUntilFrames(std::initializer_list<QCameraGrabCGContext*> grabbers, int frames);
// Waits (idling nothing) until `done` holds; false after 30 s.
bool IdleUntil(std::function<bool()> const& done);
// How many different colours a sample of the picture has (a blank picture has one).
int DistinctColours(CoreGraphics::BitmapContext const& bitmap);

}  // namespace KernelDeviceSupport
