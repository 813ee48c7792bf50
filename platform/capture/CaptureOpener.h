#pragma once
// The capture worker thread: opening a camera, settling its format and starting its stream
// takes a USB webcam tens to hundreds of milliseconds, longer than a tick, so grabbers ask
// for it here and collect the open, streaming camera on a later tick. The worker also keeps
// the kernel's device list up to date, so that no tick opens a node to learn what exists.
// Sources are handed over whole: a grabber's state changes only on the main thread.

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/capture/CaptureBackEnd.h"
#include "platform/capture/CaptureSource.h"

class CaptureRegistry;

// One request to open a camera: its cameras are tried in order until one opens and starts.
struct CaptureOpenRequest {
    struct Camera {
        std::string deviceName;
        int input = 0;
    };
    std::vector<Camera> cameras;  // empty: the default camera (CaptureRegistry::DefaultOrder)
    int width = 640;
    int height = 480;
    double framesPerSecond = 30.0;  // the other eye's rate, where the camera offers it
};

// What became of a request, filled in on the worker. `done` turns true last; the rest is
// read only after that, on the main thread.
struct CaptureOpenResult {
    std::atomic<bool> done{false};
    int err = sgNoDeviceErr;
    std::unique_ptr<CaptureSource> source;  // open and streaming when err is noErr
    CaptureDevice device;
    int input = 0;
};

class CaptureOpener {
public:
    explicit CaptureOpener(CaptureRegistry& registry);
    ~CaptureOpener();  // waits for the request under way; the others are dropped
    CaptureOpener(CaptureOpener const&) = delete;
    CaptureOpener& operator=(CaptureOpener const&) = delete;

    // Queues `request`; the result's done flag turns true once it is settled. Main thread.
    std::shared_ptr<CaptureOpenResult> Open(CaptureOpenRequest request);
    // Waits until every request queued so far is settled and the device list is up to date
    // (tools and tests that want an answer now).
    void Drain();

private:
    void Run();  // the worker thread
    void Settle(CaptureOpenRequest const& request, CaptureOpenResult& result);

    CaptureRegistry& mRegistry;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::condition_variable mIdle;
    std::deque<std::function<void()>> mJobs;
    bool mBusy = false;
    bool mQuit = false;
    std::thread mThread;  // started last, joined first
};
