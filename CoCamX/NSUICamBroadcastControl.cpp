#include "CoCamX/NSUICamBroadcastControl.h"

#include <algorithm>
#include <cstring>

#include <QAbstractButton>
#include <QCheckBox>

#include "CoreG/BitmapContext.h"
#include "CoreX/CoreMachDebugLog.h"
#include "CoreX/SharedCameraBundle.h"
#include "platform/defaults/UserDefaults.h"

namespace {

constexpr char kAllowCameraKey[] = "_allowCameraButton";
constexpr char kRebroadcastKey[] = "_rebroadcastButton";

// 1 on, 0 off, -1 for a tri-state box in its middle state.
int StateOf(QAbstractButton const* button) {
    if (auto const* box = qobject_cast<QCheckBox const*>(button);
        box != nullptr && box->checkState() == Qt::PartiallyChecked) {
        return -1;
    }
    return button != nullptr && button->isChecked() ? 1 : 0;
}

void SetState(QAbstractButton* button, int state) {
    if (button != nullptr) {
        button->setChecked(state != 0);
    }
}

// Zeroed, with the size field set, as the component wants it.
SHARED_CAMERA_BUFFER EmptyBuffer() {
    SHARED_CAMERA_BUFFER buffer;
    std::memset(&buffer, 0, sizeof(buffer));
    buffer.sizeofSHARED_CAMERA_BUFFER = sizeof(SHARED_CAMERA_BUFFER);
    return buffer;
}

}  // namespace

int const NSUICamBroadcastControl::NSUICamBroadcastControl_CameraWidth = 640;
int const NSUICamBroadcastControl::NSUICamBroadcastControl_CameraHeight = 480;

CGContext::CGContext(void* pixels, int width, int height, int rowBytes)
    : image(static_cast<uchar*>(pixels), width, height, rowBytes,
            QImage::Format_ARGB32_Premultiplied),
      painter(&image) {}

CGContextRef CGContextRef_From_ARGB_CameraBuffer(SHARED_CAMERA_BUFFER const* buffer) {
    if (buffer == nullptr || buffer->frameBufferPtr == nullptr || buffer->frameWidth < 1 ||
        buffer->frameHeight < 1 || buffer->frameBufferRowBytes < buffer->frameWidth * 4) {
        return nullptr;
    }
    // Copied out first: the record is packed, so its fields cannot be bound to references.
    void* const pixels = buffer->frameBufferPtr;
    int const width = buffer->frameWidth;
    int const height = buffer->frameHeight;
    int const rowBytes = buffer->frameBufferRowBytes;
    auto context = std::make_unique<CGContext>(pixels, width, height, rowBytes);
    if (!context->painter.isActive()) {
        return nullptr;
    }
    return context;
}

NSUICamBroadcastControl::NSUICamBroadcastControl(QWidget* parent) : QWidget(parent) {}

NSUICamBroadcastControl::~NSUICamBroadcastControl() = default;

void NSUICamBroadcastControl::setAllowCameraButton(QAbstractButton* button) {
    _allowCameraButton = button;
    if (button != nullptr) {
        connect(button, &QAbstractButton::clicked, this, [this] { cameraConnectChanged(this); });
    }
}

void NSUICamBroadcastControl::setRebroadcastButton(QAbstractButton* button) {
    _rebroadcastButton = button;
    if (button != nullptr) {
        connect(button, &QAbstractButton::clicked, this,
                [this] { broadcastButtonChanged(_rebroadcastButton); });
    }
}

bool NSUICamBroadcastControl::isBroadcastEnabled() const {
    return StateOf(_rebroadcastButton) == 1;
}

bool NSUICamBroadcastControl::areCameraConnectionAllowed() const {
    return StateOf(_allowCameraButton) == 1;
}

bool NSUICamBroadcastControl::isBroadcasting() const { return SharedCameraBundle::IsLoaded(); }

void NSUICamBroadcastControl::setBroadcastEnabled(bool enabled) {
    SetState(_rebroadcastButton, enabled ? 1 : 0);
    broadcastButtonChanged(this);
}

void NSUICamBroadcastControl::broadcastButtonChanged(QObject* sender) {
    bool const enabled = isBroadcastEnabled();
    bool const broadcasting = isBroadcasting();
    if (enabled && !broadcasting) {
        startBroadcasting();
    } else if (!enabled && broadcasting) {
        stopBroadcasting();
    }
}

void NSUICamBroadcastControl::toggleBroadcastButtonAction(QObject* sender) {
    if (_rebroadcastButton == nullptr) {
        return;
    }
    SetState(_rebroadcastButton, StateOf(_rebroadcastButton) == 1 ? 0 : 1);
    broadcastButtonChanged(_rebroadcastButton);
}

void NSUICamBroadcastControl::cameraConnectChanged(QObject* sender) {
    if (isBroadcasting()) {
        setComponentAllowCameraConnections(areCameraConnectionAllowed());
    }
}

void NSUICamBroadcastControl::setComponentAllowCameraConnections(bool allowed) {
    SHARED_CAMERA_CONTROL control{sizeof(SHARED_CAMERA_CONTROL), allowed ? 1 : 0};
    SharedCameraBundle::SetCameraControl(&control);
}

void NSUICamBroadcastControl::startBroadcasting() {
    _SharedCameraBufferNumber = 0;
    if (!isBroadcastEnabled()) {
        return;
    }
    VERIFY(SharedCameraBundle::Install());
    for (int n = 0; n < 2; ++n) {
        SHARED_CAMERA_BUFFER buffer = EmptyBuffer();
        SharedCameraBundle::GetWriteableFrameBuffer_N(n, &buffer);
    }
    setComponentAllowCameraConnections(areCameraConnectionAllowed());
    if (_allowCameraButton != nullptr) {
        _allowCameraButton->setHidden(false);
    }
}

void NSUICamBroadcastControl::stopBroadcasting() {
    if (isBroadcasting()) {
        VERIFY(SharedCameraBundle::UnInstall());
    }
    if (_allowCameraButton != nullptr) {
        _allowCameraButton->setHidden(true);
    }
}

void NSUICamBroadcastControl::applicationDidFinishLaunching(QObject* notification) {
    UserDefaults& defaults = UserDefaults::standard();
    SetState(_allowCameraButton,
             static_cast<int>(defaults.numberForKey(kAllowCameraKey).value_or(1)));
    SetState(_rebroadcastButton,
             static_cast<int>(defaults.numberForKey(kRebroadcastKey).value_or(0)));
    startBroadcasting();
}

void NSUICamBroadcastControl::applicationWillTerminate(QObject* notification) {
    UserDefaults& defaults = UserDefaults::standard();
    defaults.setNumber(kAllowCameraKey, StateOf(_allowCameraButton) == 1 ? 1 : 0);
    defaults.setNumber(kRebroadcastKey, StateOf(_rebroadcastButton) == 1 ? 1 : 0);
    setBroadcastEnabled(false);
}

void NSUICamBroadcastControl::broadcastFrame(CoreGraphics::BitmapContext const* frame) {
    if (frame == nullptr || !isBroadcasting()) {
        return;
    }
    if (static_cast<float>(frame->mImageWidth) ==
            static_cast<float>(NSUICamBroadcastControl_CameraWidth) &&
        static_cast<float>(frame->mImageHeight) ==
            static_cast<float>(NSUICamBroadcastControl_CameraHeight)) {
        broadcastFrame_WWWWxHHH(frame);
    } else {
        broadcastFrame_XXXxYYY(frame);
    }
}

void NSUICamBroadcastControl::broadcastFrame_WWWWxHHH(CoreGraphics::BitmapContext const* frame) {
    if (frame == nullptr || frame->mImageHeight < 1 || frame->mImageDataBytes == nullptr ||
        frame->mImageRowBytes == 0) {
        return;
    }
    if (frame->mImageWidth != static_cast<std::uint32_t>(NSUICamBroadcastControl_CameraWidth) ||
        frame->mImageHeight != static_cast<std::uint32_t>(NSUICamBroadcastControl_CameraHeight)) {
        return;
    }
    SHARED_CAMERA_BUFFER buffer = EmptyBuffer();
    if (!SharedCameraBundle::GetWriteableFrameBuffer_N(_SharedCameraBufferNumber, &buffer)) {
        return;
    }
    VERIFY(buffer.sizeofSHARED_CAMERA_BUFFER == sizeof(SHARED_CAMERA_BUFFER));
    if (!SharedCameraBundle::LockFrameBuffer(buffer.frameBufferPtr)) {
        return;  // a reader holds it too long: this frame is dropped
    }
    // The camera row is never longer than the frame's here: both are 640 32-bit pixels.
    std::size_t const rowBytes =
        std::min<std::size_t>(buffer.frameBufferRowBytes, frame->mImageRowBytes);
    auto* destination = static_cast<std::uint8_t*>(buffer.frameBufferPtr);
    for (int row = 0; row < buffer.frameHeight; ++row) {
        std::uint8_t* target = destination + static_cast<std::ptrdiff_t>(row) *
                                                 buffer.frameBufferRowBytes;
        if (static_cast<std::uint32_t>(row) < frame->mImageHeight) {
            std::memcpy(target, frame->mImageDataBytes + static_cast<std::size_t>(row) *
                                                             frame->mImageRowBytes,
                        rowBytes);
        }
    }
    SharedCameraBundle::UnLockFrameBuffer(buffer.frameBufferPtr);
    SharedCameraBundle::SetCurrentReadBuffer(buffer.frameBufferPtr);
    _SharedCameraBufferNumber = 1 - _SharedCameraBufferNumber;
}

void NSUICamBroadcastControl::broadcastFrame_XXXxYYY(CoreGraphics::BitmapContext const* frame) {
    CoreGraphics::BitmapContext scaled;
    if (!scaled.Construct(NSUICamBroadcastControl_CameraWidth,
                          NSUICamBroadcastControl_CameraHeight, CoreGraphics::kBitmapTypeARGB,
                          0)) {
        return;
    }
    frame->Draw(scaled.mContext.get(), QRectF(0, 0, NSUICamBroadcastControl_CameraWidth,
                                              NSUICamBroadcastControl_CameraHeight));
    broadcastFrame_WWWWxHHH(&scaled);
}

bool NSUICamBroadcastControl::get_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER* buffer) {
    buffer->sizeofSHARED_CAMERA_BUFFER = sizeof(SHARED_CAMERA_BUFFER);
    return SharedCameraBundle::GetWriteableFrameBuffer_N(_SharedCameraBufferNumber, buffer) != 0;
}

bool NSUICamBroadcastControl::get_SINGLE_CAMERA_BUFFER(SHARED_CAMERA_BUFFER* buffer) {
    return get_SHARED_CAMERA_BUFFER(buffer);
}

void NSUICamBroadcastControl::set_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer) {
    SharedCameraBundle::SetCurrentReadBuffer(buffer->frameBufferPtr);
    _SharedCameraBufferNumber = 1 - _SharedCameraBufferNumber;
}

void NSUICamBroadcastControl::set_SINGLE_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer) {
    SharedCameraBundle::SetCurrentReadBuffer(buffer->frameBufferPtr);
    _SharedCameraBufferNumber = 0;
}

bool NSUICamBroadcastControl::use_SHARED_CAMERA_BUFFER(int n) {
    SHARED_CAMERA_BUFFER buffer = EmptyBuffer();
    bool const filled = SharedCameraBundle::GetWriteableFrameBuffer_N(n, &buffer) != 0;
    if (filled) {
        SharedCameraBundle::SetCurrentReadBuffer(buffer.frameBufferPtr);
    }
    return filled;
}

bool NSUICamBroadcastControl::lock_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer) {
    return SharedCameraBundle::LockFrameBuffer(buffer->frameBufferPtr);
}

bool NSUICamBroadcastControl::unlock_SHARED_CAMERA_BUFFER(SHARED_CAMERA_BUFFER const* buffer) {
    return SharedCameraBundle::UnLockFrameBuffer(buffer->frameBufferPtr);
}

CGContextRef NSUICamBroadcastControl::createBroadcastGraphicsContext(SHARED_CAMERA_BUFFER* buffer,
                                                                     int n) {
    buffer->sizeofSHARED_CAMERA_BUFFER = sizeof(SHARED_CAMERA_BUFFER);
    if (!SharedCameraBundle::GetWriteableFrameBuffer_N(n, buffer)) {
        return nullptr;
    }
    return contextWithCameraBuffer(buffer);
}

CGContextRef NSUICamBroadcastControl::contextWithCameraBuffer(SHARED_CAMERA_BUFFER const* buffer) {
    return CGContextRef_From_ARGB_CameraBuffer(buffer);
}

void NSUICamBroadcastControl::setCurrentBroadcastGraphicsContext(
    SHARED_CAMERA_BUFFER const* buffer) {
    if (buffer->frameBufferPtr != nullptr) {
        SharedCameraBundle::SetCurrentReadBuffer(buffer->frameBufferPtr);
    }
    _SharedCameraBufferNumber = 1 - _SharedCameraBufferNumber;
}

void NSUICamBroadcastControl::releaseBroadcastGraphicsContext(SHARED_CAMERA_BUFFER const* buffer,
                                                              CGContextRef context) {
    context.reset();
    setCurrentBroadcastGraphicsContext(buffer);
}

bool import_NSUICamBroadcastControl() { return true; }
