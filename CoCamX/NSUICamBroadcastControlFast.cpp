#include "CoCamX/NSUICamBroadcastControlFast.h"

#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIContext.h"

NSUICamBroadcastControlFast::NSUICamBroadcastControlFast(QWidget* parent)
    : NSUICamBroadcastControl(parent) {}

NSUICamBroadcastControlFast::~NSUICamBroadcastControlFast() = default;

QRectF NSUICamBroadcastControlFast::extent() const {
    return QRectF(0, 0, NSUICamBroadcastControl_CameraWidth, NSUICamBroadcastControl_CameraHeight);
}

CGContext* NSUICamBroadcastControlFast::currentCGContext() const {
    return _CGContext[_SharedCameraBufferNumber & 1].get();
}

CIContext* NSUICamBroadcastControlFast::currentCIContext() const {
    return _CIContext[_SharedCameraBufferNumber & 1].get();
}

void NSUICamBroadcastControlFast::useContextZero() {
    _SharedCameraBufferNumber = kNSUICamBroadcastControlFast_Buffer0;
    use_SHARED_CAMERA_BUFFER(kNSUICamBroadcastControlFast_Buffer0);
}

CIContext* NSUICamBroadcastControlFast::lockCurrentCIContext() {
    if (!lock_SHARED_CAMERA_BUFFER(&_camera_buffer[_SharedCameraBufferNumber & 1])) {
        return nullptr;
    }
    return currentCIContext();
}

bool NSUICamBroadcastControlFast::unlockCurrentCIContext() {
    return unlock_SHARED_CAMERA_BUFFER(&_camera_buffer[_SharedCameraBufferNumber & 1]);
}

CIContext* NSUICamBroadcastControlFast::beginSwitchContextsClear(bool clear) {
    if (!lock_SHARED_CAMERA_BUFFER(&_camera_buffer[_SharedCameraBufferNumber & 1])) {
        return nullptr;
    }
    if (clear) {
        eraseContext(_SharedCameraBufferNumber & 1);
    }
    return currentCIContext();
}

CIContext* NSUICamBroadcastControlFast::beginSwitchContexts() {
    beginSwitchContextsClear(false);
    return currentCIContext();
}

bool NSUICamBroadcastControlFast::endSwitchContexts() {
    int const current = _SharedCameraBufferNumber & 1;
    if (!unlock_SHARED_CAMERA_BUFFER(&_camera_buffer[current])) {
        return false;
    }
    use_SHARED_CAMERA_BUFFER(current);
    _SharedCameraBufferNumber = 1 - current;
    return _SharedCameraBufferNumber != 0;
}

void NSUICamBroadcastControlFast::eraseContext(int n) {
    if (CGContext* context = _CGContext[n & 1].get()) {
        context->painter.setCompositionMode(QPainter::CompositionMode_Source);
        context->painter.fillRect(extent(), Qt::transparent);
        context->painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
}

void NSUICamBroadcastControlFast::createContexts(int n) {
    n &= 1;
    _CGContext[n] = createBroadcastGraphicsContext(&_camera_buffer[n], n);
    if (!_CGContext[n]) {
        return;
    }
    eraseContext(n);
    SHARED_CAMERA_BUFFER const& buffer = _camera_buffer[n];
    // Both contexts draw into the same shared memory; the imaging one is what ticks use.
    _CIContext[n] = CIContext::contextWithBitmap(buffer.frameBufferPtr, buffer.frameWidth,
                                                 buffer.frameHeight, buffer.frameBufferRowBytes);
}

void NSUICamBroadcastControlFast::destroyContexts() {
    VERIFY(_CIContext[kNSUICamBroadcastControlFast_Buffer0] != nullptr);
    _CIContext[kNSUICamBroadcastControlFast_Buffer0].reset();
    VERIFY(_CGContext[kNSUICamBroadcastControlFast_Buffer0] != nullptr);
    _CGContext[kNSUICamBroadcastControlFast_Buffer0].reset();
    VERIFY(_CIContext[kNSUICamBroadcastControlFast_Buffer1] != nullptr);
    _CIContext[kNSUICamBroadcastControlFast_Buffer1].reset();
    VERIFY(_CGContext[kNSUICamBroadcastControlFast_Buffer1] != nullptr);
    _CGContext[kNSUICamBroadcastControlFast_Buffer1].reset();
}

void NSUICamBroadcastControlFast::startBroadcasting() {
    NSUICamBroadcastControl::startBroadcasting();
    createContexts(kNSUICamBroadcastControlFast_Buffer0);
    createContexts(kNSUICamBroadcastControlFast_Buffer1);
}

void NSUICamBroadcastControlFast::stopBroadcasting() {
    // The contexts outlive the mapping under them for a moment; releasing them only lets go
    // of the painter and does not touch the pixels.
    NSUICamBroadcastControl::stopBroadcasting();
    destroyContexts();
}

bool import_NSUICamBroadcastControlFast() { return import_NSUICamBroadcastControl(); }
