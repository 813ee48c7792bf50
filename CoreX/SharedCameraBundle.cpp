#include "CoreX/SharedCameraBundle.h"

#include <unistd.h>

SharedCameraBundle SharedCameraBundle::sComponent(kCameraComponentFileName,
                                                  kCameraComponentBaseName);

SharedCameraBundle::SharedCameraBundle(char const* fileName, char const* baseName)
    : CoreResourceBundle(fileName, baseName) {}

bool SharedCameraBundle::AlreadyInstalledSomewhere() const {
    for (int const location :
         {CFBaseDLL::kLocationUserComponents, CFBaseDLL::kLocationSystemComponents}) {
        if (access(CFBaseDLL::URLOfNameInLocation(mFileName, location).c_str(), R_OK) == 0) {
            return true;
        }
    }
    return false;
}

void* SharedCameraBundle::EntryPoint(char const* name) {
    T_CFBaseDLL<I_CFBundleDLL>& loader = sComponent.mLoader;
    if (!loader.IsExecutableLoaded()) {
        // A failed load is tried again on the next call, so a later install is picked up.
        loader.SetName(kCameraComponentFileName);
        loader.LoadQuickTimeComponentBundle(nullptr);
    }
    return loader.FunctionPointerForName(name);
}

int SharedCameraBundle::SetCameraControl(SHARED_CAMERA_CONTROL* control) {
    auto const proc =
        reinterpret_cast<CameraComponentSetControlProc>(EntryPoint(kCameraComponentFunction));
    return proc != nullptr ? proc(control) : 0;
}

int SharedCameraBundle::GetWriteableFrameBuffer_N(int bufferNumber, SHARED_CAMERA_BUFFER* buffer) {
    auto const proc =
        reinterpret_cast<CameraComponentGetBufferProc>(EntryPoint(kCameraComponentFunction0));
    return proc != nullptr ? proc(bufferNumber, buffer) : 0;
}

int SharedCameraBundle::SetCurrentReadBuffer(void* frameBufferPtr) {
    auto const proc =
        reinterpret_cast<CameraComponentSetReadBufferProc>(EntryPoint(kCameraComponentFunction1));
    return proc != nullptr ? proc(frameBufferPtr) : 0;
}

bool SharedCameraBundle::LockFrameBuffer(void* frameBufferPtr) {
    auto const proc =
        reinterpret_cast<CameraComponentLockProc>(EntryPoint(kCameraComponentFunction4));
    return proc != nullptr && proc(frameBufferPtr);
}

bool SharedCameraBundle::UnLockFrameBuffer(void* frameBufferPtr) {
    auto const proc =
        reinterpret_cast<CameraComponentLockProc>(EntryPoint(kCameraComponentFunction5));
    return proc != nullptr && proc(frameBufferPtr);
}
