#pragma once
// The virtual-camera component as the application sees it: installed into the user's
// components folder while broadcasting, loaded on first use, and called through its seven
// exported entry points. One process-wide instance; every wrapper returns 0 when the
// component cannot be found or loaded.

#include "CoreX/CoreResourceBundle.h"
#include "component/SharedCameraRecords.h"

class SharedCameraBundle : public CoreResourceBundle {
public:
    SharedCameraBundle(char const* fileName, char const* baseName);

    // Whether the component is in the user's or the system's components folder.
    bool AlreadyInstalledSomewhere() const override;

    static bool Install() { return sComponent.InstallLocation(true, CFBaseDLL::kLocationUserComponents); }
    static bool UnInstall() {
        return sComponent.InstallLocation(false, CFBaseDLL::kLocationUserComponents);
    }
    static bool IsLoaded() { return sComponent.mLoader.IsExecutableLoaded(); }

    static int SetCameraControl(SHARED_CAMERA_CONTROL* control);
    static int GetWriteableFrameBuffer_N(int bufferNumber, SHARED_CAMERA_BUFFER* buffer);
    static int SetCurrentReadBuffer(void* frameBufferPtr);
    static bool LockFrameBuffer(void* frameBufferPtr);
    static bool UnLockFrameBuffer(void* frameBufferPtr);

    static SharedCameraBundle sComponent;

private:
    // The entry point `name`, loading the component first if needed; null when unavailable.
    static void* EntryPoint(char const* name);
};
