#include "CoCamX/NSUICamBroadcastControl.h"

#include <QAbstractButton>

#include "platform/defaults/UserDefaults.h"

namespace {

constexpr char kAllowCameraKey[] = "_allowCameraButton";
constexpr char kRebroadcastKey[] = "_rebroadcastButton";

int StateOf(QAbstractButton const* button) {
    return button != nullptr && button->isChecked() ? 1 : 0;
}

void SetState(QAbstractButton* button, int state) {
    if (button != nullptr) {
        button->setChecked(state != 0);
    }
}

}  // namespace

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
        // Until the virtual-camera component is built, the switch keeps its stored state
        // but cannot be turned on by hand.
        button->setEnabled(false);
        button->setToolTip(tr("This build does not publish a virtual camera yet."));
        connect(button, &QAbstractButton::clicked, this,
                [this] { broadcastButtonChanged(_rebroadcastButton); });
    }
}

bool NSUICamBroadcastControl::isBroadcastEnabled() const {
    return StateOf(_rebroadcastButton) != 0;
}

bool NSUICamBroadcastControl::areCameraConnectionAllowed() const {
    return StateOf(_allowCameraButton) != 0;
}

bool NSUICamBroadcastControl::isBroadcasting() const {
    // The virtual-camera component is not part of this build yet, so it is never loaded.
    return false;
}

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

void NSUICamBroadcastControl::cameraConnectChanged(QObject* sender) {}

void NSUICamBroadcastControl::startBroadcasting() {
    _SharedCameraBufferNumber = 0;
    if (!isBroadcastEnabled()) {
        return;
    }
    if (_allowCameraButton != nullptr) {
        _allowCameraButton->setHidden(false);
    }
}

void NSUICamBroadcastControl::stopBroadcasting() {
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
    defaults.setNumber(kAllowCameraKey, StateOf(_allowCameraButton));
    defaults.setNumber(kRebroadcastKey, StateOf(_rebroadcastButton));
    setBroadcastEnabled(false);
}

bool import_NSUICamBroadcastControl() { return true; }
