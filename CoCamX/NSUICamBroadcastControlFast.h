#pragma once
// The broadcast control that lets the document draw straight into the virtual camera's
// shared memory: for each of the two shared buffers a drawing context and an imaging context
// laid over the buffer's memory, made once when broadcasting starts and used alternately.

#include <memory>

#include <QRectF>
#include <QSize>

#include "CoCamX/NSUICamBroadcastControl.h"

class CIContext;

enum : int {
    kNSUICamBroadcastControlFast_Buffer0 = 0,
    kNSUICamBroadcastControlFast_Buffer1 = 1,
};

class NSUICamBroadcastControlFast : public NSUICamBroadcastControl {
    Q_OBJECT
public:
    explicit NSUICamBroadcastControlFast(QWidget* parent = nullptr);
    ~NSUICamBroadcastControlFast() override;

    // The frame the contexts draw: (0, 0, 640, 480) unless another size was set.
    QRectF extent() const;
    // The size of the frames broadcast from now on (a stereo layout can be 1280 x 480 or
    // 640 x 960): the component is asked for buffers of that size, which tell readers, and
    // the contexts are made again. False (logged once per size) when the buffers cannot
    // hold it or nothing is broadcasting; then the contexts stay as they were.
    virtual bool setFrameSize(QSize size);
    CGContext* currentCGContext() const;
    // The context of the buffer the next frame goes to; null while not broadcasting.
    virtual CIContext* currentCIContext() const;

    // Buffer 0 becomes the one to write and the one readers take.
    void useContextZero();
    CIContext* lockCurrentCIContext();
    bool unlockCurrentCIContext();
    // Locks the current buffer (clearing it first when asked); null when the lock is refused.
    CIContext* beginSwitchContextsClear(bool clear);
    // Locks the current buffer and returns its context, even when the lock was refused.
    virtual CIContext* beginSwitchContexts();
    // Unlocks the current buffer, publishes it to readers and moves to the other one. False
    // when the unlock is refused; then nothing is published.
    virtual bool endSwitchContexts();
    // Clears buffer n to transparent.
    void eraseContext(int n);

    void createContexts(int n);
    // Releases the four contexts, logging each that was never made.
    void destroyContexts();

    void startBroadcasting() override;
    void stopBroadcasting() override;

protected:
    SHARED_CAMERA_BUFFER _camera_buffer[2] = {};
    CGContextRef _CGContext[2];
    std::unique_ptr<CIContext> _CIContext[2];

private:
    QSize mRefusedFrameSize;
};

bool import_NSUICamBroadcastControlFast();
