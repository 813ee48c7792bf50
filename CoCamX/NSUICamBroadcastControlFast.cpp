#include "CoCamX/NSUICamBroadcastControlFast.h"

#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIContext.h"

NSUICamBroadcastControlFast::NSUICamBroadcastControlFast(QWidget* parent)
    : NSUICamBroadcastControl(parent) {}

NSUICamBroadcastControlFast::~NSUICamBroadcastControlFast() = default;

QRectF NSUICamBroadcastControlFast::extent() const {
    if (_camera_buffer[0].frameWidth > 0 && _camera_buffer[0].frameHeight > 0) {
        return QRectF(0, 0, _camera_buffer[0].frameWidth, _camera_buffer[0].frameHeight);
    }
    return QRectF(0, 0, NSUICamBroadcastControl_CameraWidth, NSUICamBroadcastControl_CameraHeight);
}

bool NSUICamBroadcastControlFast::setFrameSize(QSize size) {
    if (size == extent().size().toSize() && _CIContext[0] && _CIContext[1]) {
        return true;
    }
    if (!isBroadcasting() || size == mRefusedFrameSize) {
        return false;
    }
    SHARED_CAMERA_BUFFER const previous[2] = {_camera_buffer[0], _camera_buffer[1]};
    for (int n = 0; n < 2; ++n) {
        _CIContext[n].reset();
        _camera_buffer[n].frameWidth = static_cast<std::int16_t>(size.width());
        _camera_buffer[n].frameHeight = static_cast<std::int16_t>(size.height());
        createContexts(n);
    }
    bool const made = _CIContext[0] && _CIContext[1];
    VERIFY(made);
    if (!made) {
        CoreMachDebugLog("Broadcast: no %d x %d frames; broadcasting at %d x %d", size.width(),
                         size.height(), previous[0].frameWidth, previous[0].frameHeight);
        mRefusedFrameSize = size;
        for (int n = 0; n < 2; ++n) {
            _CIContext[n].reset();
            _camera_buffer[n] = previous[n];
            createContexts(n);
        }
    }
    return made;
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
