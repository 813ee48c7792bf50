#pragma once
// The window's controls that act on both eyes at once: the convergence (one horizontal shift
// between the eyes that moves what sits at the screen's depth), the automatic alignment of
// the right eye to the left, and the colour match of the right eye to the left.
//
// The results go into the right eye's adjustment stack, where its Align page shows them and
// the user can change them. The alignment is measured on a worker thread from copies of the
// eyes' pictures and applied on the main thread, so the clock's tick never waits for it.

#include <functional>
#include <thread>

#include <QImage>
#include <QWidget>

#include "CoCamX/NSUIEyeAlignment.h"

struct StereoAlignmentEstimate;
class NSUICICameraControls;
class NSUISlider;
class QLabel;
class QPushButton;

class NSUIStereoAlignControl : public QWidget {
    Q_OBJECT
public:
    explicit NSUIStereoAlignControl(QWidget* parent = nullptr);
    ~NSUIStereoAlignControl() override;

    // Each eye's stack (not owned) and where its current picture (after its stack) comes from.
    using PictureSource = std::function<QImage()>;
    void setEyes(NSUICICameraControls* left, PictureSource leftPicture, NSUICICameraControls* right,
                 PictureSource rightPicture);

    // Convergence in whole pixels: the right eye moves right by half of it, the left eye left
    // by the rest, so positive values put the scene further behind the screen.
    int convergence() const;
    void setConvergence(int pixels);
    // Kept under "convergence" in the user's defaults.
    void saveSettings() const;
    void restoreSettings();

    // Starts measuring the pictures; false (and nothing started) while a measurement is under
    // way or an eye has no picture. alignmentFinished follows on the main thread.
    bool autoAlign();
    bool isAligning() const { return mAligning; }
    // Measures the colours and sets the right eye's match at once; false when it could not.
    bool matchColors();

    NSUISlider* convergenceSlider() const { return mConvergence; }

signals:
    void convergenceChanged(int pixels);
    // What happened, for the window's status line.
    void statusMessage(QString const& text);
    void alignmentFinished(bool applied);

private:
    void applyConvergence();
    void finishAutoAlign(StereoAlignmentEstimate const& estimate, NSUIEyeAlignment const& start,
                         double startShift);
    // A deep copy of an eye's picture as premultiplied ARGB, safe to hand to another thread;
    // null when the eye has none.
    static QImage PictureCopy(PictureSource const& source);

    NSUICICameraControls* mLeft = nullptr;
    NSUICICameraControls* mRight = nullptr;
    PictureSource mLeftPicture;
    PictureSource mRightPicture;
    NSUISlider* mConvergence;
    QLabel* mConvergenceValue;
    QPushButton* mAlignButton;
    QPushButton* mMatchButton;
    bool mAligning = false;
    std::thread mWorker;  // joined before the next measurement and on destruction
};

bool import_NSUIStereoAlignControl();
