#include "platform/capture/V4L2DeviceWatch.h"

#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

#include "CoreX/CoreMachDebugLog.h"

bool V4L2DeviceWatch::Watch(std::string const& folder) {
    mFolder = folder;
    mFd.Reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!mFd.IsOpen()) {
        CoreMachDebugLog("V4L2DeviceWatch: inotify: %s; cameras are looked for at every scan\n",
                         std::strerror(errno));
        return false;
    }
    // udev creates a node, then gives it its group and mode: both matter, since a node that
    // cannot be opened yet is not listed.
    std::uint32_t const events =
        IN_CREATE | IN_DELETE | IN_ATTRIB | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF;
    if (::inotify_add_watch(mFd.Get(), folder.c_str(), events) < 0) {
        CoreMachDebugLog("V4L2DeviceWatch: cannot watch '%s': %s\n", folder.c_str(),
                         std::strerror(errno));
        mFd.Reset();
        return false;
    }
    return true;
}

bool V4L2DeviceWatch::Changed() {
    if (!mFd.IsOpen()) {
        return true;
    }
    bool fChanged = false;
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        ssize_t const length = ::read(mFd.Get(), buffer, sizeof(buffer));
        if (length <= 0) {
            break;  // EAGAIN: nothing more
        }
        for (ssize_t at = 0; at < length;) {
            auto const* event = reinterpret_cast<inotify_event const*>(buffer + at);
            bool const fVideoNode = event->len > 0 && std::strncmp(event->name, "video", 5) == 0;
            if (fVideoNode || (event->mask & (IN_Q_OVERFLOW | IN_DELETE_SELF | IN_IGNORED)) != 0) {
                fChanged = true;
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    return fChanged;
}
