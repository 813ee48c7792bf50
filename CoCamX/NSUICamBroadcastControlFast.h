#pragma once
// The broadcast control that lets the document draw straight into the virtual camera's
// shared memory: one drawing context per shared buffer, used alternately.

#include <memory>

#include "CoCamX/NSUICamBroadcastControl.h"

class CIContext;

class NSUICamBroadcastControlFast : public NSUICamBroadcastControl {
    Q_OBJECT
public:
    explicit NSUICamBroadcastControlFast(QWidget* parent = nullptr);
    ~NSUICamBroadcastControlFast() override;

    // The context of the buffer the next frame goes to; null while not broadcasting.
    virtual CIContext* currentCIContext() const;
    // Locks the current buffer for drawing and returns its context.
    virtual CIContext* beginSwitchContexts();
    // Unlocks the current buffer, publishes it to readers and moves to the other one.
    virtual bool endSwitchContexts();

protected:
    std::unique_ptr<CIContext> _CIContext[2];
};

bool import_NSUICamBroadcastControlFast();
