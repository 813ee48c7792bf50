#pragma once
// The document window's broadcast control. Beside the switch it says in one line when
// other programs cannot see the camera because the machine has no loopback device.

#include "CoCamX/NSUICamBroadcastControlFast.h"

class QLabel;

class DSCBroadcastControl : public NSUICamBroadcastControlFast {
    Q_OBJECT
public:
    explicit DSCBroadcastControl(QWidget* parent = nullptr);

    // Checks that the broadcast classes are linked; nothing else.
    void awakeFromNib();

    // The one-line notice next to the switch; refreshed each time broadcasting starts.
    void setBroadcastNotice(QLabel* notice);
    void startBroadcasting() override;

private:
    void refreshNotice();

    QLabel* mNotice = nullptr;
};
