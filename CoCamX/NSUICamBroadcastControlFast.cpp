#include "CoCamX/NSUICamBroadcastControlFast.h"

#include "platform/imaging/CIContext.h"

NSUICamBroadcastControlFast::NSUICamBroadcastControlFast(QWidget* parent)
    : NSUICamBroadcastControl(parent) {}

NSUICamBroadcastControlFast::~NSUICamBroadcastControlFast() = default;

CIContext* NSUICamBroadcastControlFast::currentCIContext() const {
    return _CIContext[_SharedCameraBufferNumber & 1].get();
}

CIContext* NSUICamBroadcastControlFast::beginSwitchContexts() { return currentCIContext(); }

bool NSUICamBroadcastControlFast::endSwitchContexts() {
    // Without a loaded component there is no buffer to unlock and publish.
    return false;
}

bool import_NSUICamBroadcastControlFast() { return import_NSUICamBroadcastControl(); }
