#include "app/DSCBroadcastControl.h"

#include "CoreX/CoreMachDebugLog.h"

DSCBroadcastControl::DSCBroadcastControl(QWidget* parent) : NSUICamBroadcastControlFast(parent) {}

void DSCBroadcastControl::awakeFromNib() { VERIFY(import_NSUICamBroadcastControlFast()); }
