#pragma once
// Notices video nodes coming and going in a folder (/dev) through inotify, so that the
// device list is scanned again only when something changed rather than on every look.
// Non-blocking: asking costs one read(2) that returns at once.

#include <string>

#include "platform/capture/V4L2Resources.h"

class V4L2DeviceWatch {
public:
    // Starts watching `folder` (again, when it is another one). False when inotify is not
    // available: Changed() then always answers true, and every look scans.
    bool Watch(std::string const& folder);
    std::string const& Folder() const { return mFolder; }
    bool IsWatching() const { return mFd.IsOpen(); }

    // Whether a videoN node was created, removed or had its permissions changed since the
    // last call. Drains the events.
    bool Changed();

private:
    ScopedFd mFd;
    std::string mFolder;
};
