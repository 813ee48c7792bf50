// The virtual-camera component: a shared object the application loads while it broadcasts.
// It owns this user's shared camera memory, hands the application its two buffers, locks
// them against readers in other processes and, while connections are allowed, writes each
// published frame to the v4l2loopback device that other programs open as a camera.
//
// Everything here is called on the application's main thread.

#include <unistd.h>

#include "CoreX/CoreMachDebugLog.h"
#include "component/LoopbackDevice.h"
#include "component/SharedCameraMemory.h"
#include "component/SharedCameraRecords.h"

char const* g_CoreMachDebug_LogPrefix = "Duoscope";
char const* g_CoreMachDebug_LogFileName = "";

namespace {

// A refused lock drops the frame; a tick must never wait longer than this on a reader.
constexpr int kWriterLockTimeoutMs = 8;

class CameraComponent {
public:
    CameraComponent() { CoreMachDebugLogSetUseLogger(kCoreLogOutputASL); }
    ~CameraComponent() {
        // Unloaded: broadcasting stopped or the program quits.
        mLoopback.CloseWithStillPicture();
        mMemory.Close();
    }

    bool Attach() {
        if (!mMemory.IsOpen()) {
            SharedCameraMemory::Status const status = mMemory.CreateForWriting();
            VERIFY(status == SharedCameraMemory::kOk);
            mMemory.SetConnectionsAllowed(mAllowed);
        }
        return mMemory.IsOpen();
    }

    void SetAllowed(bool allowed) {
        mAllowed = allowed;
        mMemory.SetConnectionsAllowed(allowed);
        if (allowed) {
            mLoopback.Open();
        } else {
            mLoopback.CloseWithStillPicture();
        }
    }

    int Publish(void* frame) {
        int const n = mMemory.BufferOfFrame(frame);
        if (n < 0) {
            return 0;
        }
        mMemory.Publish(n);
        ++mPublished;
        // The buffer is complete and unlocked, and the next frame goes to the other one, so
        // it is read here without its lock.
        if (mAllowed && mLoopback.IsOpen()) {
            SharedCameraFrameSize const size = mMemory.FrameSize(n);
            mLoopback.WriteFrame(static_cast<std::uint8_t const*>(frame), size.width, size.height,
                                 size.rowBytes);
        }
        return 1;
    }

    SharedCameraMemory mMemory;
    LoopbackDevice mLoopback;
    bool mAllowed = true;
    int mPublished = 0;
};

CameraComponent& Component() {
    static CameraComponent component;
    return component;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int __public_fn_(SHARED_CAMERA_CONTROL* control) {
    if (control == nullptr || control->sizeofSHARED_CAMERA_CONTROL != sizeof(*control)) {
        return 0;
    }
    CameraComponent& component = Component();
    component.Attach();
    component.SetAllowed(control->allowCameraConnections != 0);
    return 1;
}

__attribute__((visibility("default"))) int __public_fn0(int bufferNumber,
                                                        SHARED_CAMERA_BUFFER* buffer) {
    if (buffer == nullptr || buffer->sizeofSHARED_CAMERA_BUFFER != sizeof(*buffer) ||
        (bufferNumber != 0 && bufferNumber != 1)) {
        return 0;
    }
    CameraComponent& component = Component();
    if (!component.Attach()) {
        return 0;
    }
    bool const sizeAsked = buffer->frameWidth != 0 || buffer->frameHeight != 0;
    auto const size = SharedCameraMemory::FrameSizeFor(
        sizeAsked ? buffer->frameWidth : SharedCameraMemory::kWidth,
        sizeAsked ? buffer->frameHeight : SharedCameraMemory::kHeight);
    VERIFY(size.has_value());
    if (!size) {
        return 0;
    }
    component.mMemory.SetFrameSize(bufferNumber, *size);
    buffer->frameBufferPtr = component.mMemory.Frame(bufferNumber);
    buffer->frameBufferRowBytes = size->rowBytes;
    buffer->frameBufferSizeBytes = size->rowBytes * size->height;
    buffer->frameWidth = static_cast<std::int16_t>(size->width);
    buffer->frameHeight = static_cast<std::int16_t>(size->height);
    buffer->framePixelFormat = SharedCameraMemory::kPixelFormatARGB;
    return 1;
}

__attribute__((visibility("default"))) int __public_fn1(void* frameBufferPtr) {
    return Component().Publish(frameBufferPtr);
}

// Not used by the application: the version of the shared-memory layout this component
// writes, for tools that check before attaching.
__attribute__((visibility("default"))) int __public_fn2(void) {
    return static_cast<int>(SharedCameraMemory::kLayoutVersion);
}

// Not used by the application: how many frames were published since the component loaded.
__attribute__((visibility("default"))) int __public_fn3(void) { return Component().mPublished; }

__attribute__((visibility("default"))) bool __public_fn4(void* frameBufferPtr) {
    CameraComponent& component = Component();
    return component.mMemory.Lock(component.mMemory.BufferOfFrame(frameBufferPtr),
                                  kWriterLockTimeoutMs);
}

__attribute__((visibility("default"))) bool __public_fn5(void* frameBufferPtr) {
    CameraComponent& component = Component();
    return component.mMemory.UnlockWritten(component.mMemory.BufferOfFrame(frameBufferPtr));
}

}  // extern "C"
