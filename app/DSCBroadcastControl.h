#pragma once
// The document window's broadcast control.

#include "CoCamX/NSUICamBroadcastControlFast.h"

class DSCBroadcastControl : public NSUICamBroadcastControlFast {
    Q_OBJECT
public:
    explicit DSCBroadcastControl(QWidget* parent = nullptr);

    // Checks that the broadcast classes are linked; nothing else.
    void awakeFromNib();
};
