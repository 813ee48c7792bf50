#include "app/DSCBroadcastControl.h"

#include <QLabel>

#include "CoreX/CoreMachDebugLog.h"
#include "component/LoopbackDevice.h"

DSCBroadcastControl::DSCBroadcastControl(QWidget* parent) : NSUICamBroadcastControlFast(parent) {}

void DSCBroadcastControl::awakeFromNib() { VERIFY(import_NSUICamBroadcastControlFast()); }

void DSCBroadcastControl::setBroadcastNotice(QLabel* notice) {
    mNotice = notice;
    refreshNotice();
}

void DSCBroadcastControl::startBroadcasting() {
    NSUICamBroadcastControlFast::startBroadcasting();
    refreshNotice();
}

void DSCBroadcastControl::refreshNotice() {
    if (mNotice == nullptr) {
        return;
    }
    // The list is read from sysfs only here, at start, never per tick.
    bool const loopback = !LoopbackDevice::FindLoopbackDevices().empty();
    mNotice->setText(loopback ? QString()
                              : tr("No virtual camera device: run \"sudo modprobe v4l2loopback "
                                   "exclusive_caps=1 card_label=Duoscope\""));
    mNotice->setVisible(!loopback);
}
