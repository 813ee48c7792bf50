#include "app/DSCDocument.h"

#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>

#include <QComboBox>
#include <QFileInfo>
#include <QShortcut>
#include <QStatusBar>
#include <QTimer>
#include <QToolButton>

#include "CoCamX/NSUICICameraControls.h"
#include "CoCamX/NSUICamMenuController.h"
#include "CoCamX/NSUISegmentedControl.h"
#include "CoCamX/NSUIStereoAlignControl.h"
#include "CoCamX/NSUIToolkit.h"
#include "CoCamX/QCamGrabCGImageView.h"
#include "CoreX/CoreMachDebugLog.h"
#include "QClasses/QCameraPairing.h"
#include "QClasses/QCameraStatus.h"
#include "app/DSCBroadcastControl.h"
#include "app/DSCDocumentWindow.h"
#include "app/DSCProduct.h"
#include "app/DSCSnapshot.h"
#include "app/DSCStereoView.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/imaging/CIContext.h"
#include "platform/imaging/CIImage.h"
#include "ui_DSCDocument.h"

namespace {

int sCountInstances = 0;

constexpr QSizeF kCameraFrameSize(640.0, 480.0);

// Each eye's chosen camera (its input name), as the user last picked it in the menu.
constexpr char kLeftEyeCameraKey[] = "_grabViewLeftEye";
constexpr char kRightEyeCameraKey[] = "_grabViewRightEye";

// Each eye's adjustments are kept under "<eye>.<control>"; the monitor type and the window's
// place and size beside them.
constexpr char kLeftEyeSettingsPrefix[] = "leftEye";
constexpr char kRightEyeSettingsPrefix[] = "rightEye";
constexpr char kMonitorImageTypeKey[] = "monitorImageType";
constexpr char kStereoFormatKey[] = "stereoFormat";
constexpr char kWindowGeometryKey[] = "windowGeometry";
// How long the settings wait after a change before they are written.
constexpr int kSettingsDelayMs = 500;

}  // namespace

DSCDocument::DSCDocument() = default;

DSCDocument::~DSCDocument() {
    if (mWindow) {
        // Closing without the window's own close path (the program is ending).
        disconnect(mWindow, nullptr, this, nullptr);
        delete mWindow;
    }
}

int DSCDocument::countInstances() { return sCountInstances; }

QString DSCDocument::displayName() const { return QString::fromLatin1(kDSCProductName); }

QString DSCDocument::windowNibName() const {
    VERIFY(import_NSUIToolButton());
    VERIFY(import_NSUIColorContentView());
    VERIFY(import_NSUINfoGraffik());
    VERIFY(import_QCamGrabCGImageView());
    VERIFY(import_NSUISegmentedControl());
    VERIFY(import_NSUICICameraControls());
    VERIFY(import_NSUIStereoAlignControl());
    return QStringLiteral("DSCDocument");
}

void DSCDocument::makeWindowControllers() {
    if (mWindow) {
        return;
    }
    VERIFY(windowNibName() == QLatin1String("DSCDocument"));
    mWindow = new DSCDocumentWindow();
    mWindow->setAttribute(Qt::WA_DeleteOnClose);
    mUi = std::make_unique<Ui::DSCDocument>();
    mUi->setupUi(mWindow);
    mWindow->setWindowTitle(displayName());

    mUi->leftEyeView->setCameraPopUpButton(mUi->leftCameraPopUp);
    mUi->rightEyeView->setCameraPopUpButton(mUi->rightCameraPopUp);
    mUi->stereoView->setMonitorImageTypeControl(mUi->monitorImageType);
    mUi->stereoView->setStereoFormatControl(mUi->stereoFormat);
    mUi->stereoView->setEyes(mUi->leftEyeView, mUi->rightEyeView);
    for (QCamGrabCGImageView* eye : {mUi->leftEyeView, mUi->rightEyeView}) {
        connect(eye->cameraMenuController(), &NSUICamMenuController::action, this,
                &DSCDocument::stereoGrabCameraMenuChanged);
    }
    connectAdjustments();
    connect(mUi->snapshotButton, &QToolButton::clicked, this, &DSCDocument::takeSnapshot);
    connect(new QShortcut(QKeySequence::Save, mWindow), &QShortcut::activated, this,
            &DSCDocument::takeSnapshot);
    DSCStereoView* monitor = mUi->stereoView;
    connect(mUi->fullScreenButton, &QToolButton::clicked, monitor,
            [monitor] { monitor->setFullScreenMonitor(true); });
    connect(new QShortcut(QKeySequence(Qt::Key_F11), mWindow), &QShortcut::activated, monitor,
            [monitor] { monitor->setFullScreenMonitor(!monitor->isFullScreenMonitor()); });
    mUi->broadcastControl->setRebroadcastButton(mUi->rebroadcastButton);
    mUi->broadcastControl->setAllowCameraButton(mUi->allowCameraButton);
    mUi->broadcastControl->setBroadcastNotice(mUi->broadcastNotice);
    mUi->broadcastControl->awakeFromNib();
    setOutlets(mUi->leftEyeView, mUi->rightEyeView, mUi->stereoView, mUi->broadcastControl);

    connect(mWindow, &DSCDocumentWindow::windowWillClose, this, &DSCDocument::windowWillClose);
    restoreWindowSettings();
    windowControllerDidLoadNib();
}

void DSCDocument::connectAdjustments() {
    mSettingsTimer = new QTimer(this);
    mSettingsTimer->setSingleShot(true);
    mSettingsTimer->setInterval(kSettingsDelayMs);
    connect(mSettingsTimer, &QTimer::timeout, this, &DSCDocument::storeWindowSettings);
    struct Eye {
        QCamGrabCGImageView* view;
        NSUICameraAdjustPanel* panel;
    };
    for (Eye const& eye : {Eye{mUi->leftEyeView, mUi->leftAdjustPanel},
                           Eye{mUi->rightEyeView, mUi->rightAdjustPanel}}) {
        NSUICICameraControls* controls = eye.panel->controls();
        eye.view->setCameraControls(controls);
        connect(controls, &NSUICICameraControls::filterStackChanged, this,
                &DSCDocument::settingsChanged);
        QToolButton* pick = eye.panel->pickButton();
        QCamGrabCGImageView* view = eye.view;
        connect(pick, &QToolButton::toggled, view, [view](bool picking) {
            view->setPickingWhiteReference(picking);
            view->setCursor(picking ? Qt::CrossCursor : Qt::ArrowCursor);
        });
        connect(view, &QCamGrabCGImageView::whiteReferencePicked, pick,
                [pick] { pick->setChecked(false); });
    }
    connect(mUi->monitorImageType, &NSUISegmentedControl::segmentChanged, this,
            &DSCDocument::settingsChanged);
    connect(mUi->stereoFormat, &QComboBox::currentIndexChanged, this,
            &DSCDocument::settingsChanged);
    // Convergence, auto-align and colour match act on both eyes' stacks.
    QCamGrabCGImageView* left = mUi->leftEyeView;
    QCamGrabCGImageView* right = mUi->rightEyeView;
    mUi->stereoAlign->setEyes(
        mUi->leftAdjustPanel->controls(), [left] { return left->eyePicture(); },
        mUi->rightAdjustPanel->controls(), [right] { return right->eyePicture(); });
    connect(mUi->stereoAlign, &NSUIStereoAlignControl::convergenceChanged, this,
            &DSCDocument::settingsChanged);
    connect(mUi->stereoAlign, &NSUIStereoAlignControl::statusMessage, mUi->statusBar,
            [bar = mUi->statusBar](QString const& text) { bar->showMessage(text, 15000); });
}

void DSCDocument::settingsChanged() {
    if (mSettingsTimer != nullptr) {
        mSettingsTimer->start();
    }
}

void DSCDocument::storeWindowSettings() {
    if (!mUi || !mWindow) {
        return;
    }
    if (mSettingsTimer != nullptr) {
        mSettingsTimer->stop();
    }
    UserDefaults& defaults = UserDefaults::standard();
    UserDefaults::Batch const batch(defaults);
    mUi->leftAdjustPanel->controls()->saveEyeSettings(QString::fromLatin1(kLeftEyeSettingsPrefix));
    mUi->rightAdjustPanel->controls()->saveEyeSettings(
        QString::fromLatin1(kRightEyeSettingsPrefix));
    defaults.setNumber(kMonitorImageTypeKey, mUi->stereoView->monitorImageType());
    defaults.setNumber(kStereoFormatKey, static_cast<int>(mUi->stereoView->stereoFormat()));
    mUi->stereoAlign->saveSettings();
    defaults.setString(kWindowGeometryKey, mWindow->saveGeometry().toBase64().toStdString());
}

void DSCDocument::restoreWindowSettings() {
    UserDefaults const& defaults = UserDefaults::standard();
    mUi->leftAdjustPanel->controls()->restoreEyeSettings(
        QString::fromLatin1(kLeftEyeSettingsPrefix));
    mUi->rightAdjustPanel->controls()->restoreEyeSettings(
        QString::fromLatin1(kRightEyeSettingsPrefix));
    // Checked before the conversion: a damaged file may hold any number, or none.
    double const type = defaults.numberForKey(kMonitorImageTypeKey).value_or(0.0);
    if (type >= 1.0 && type <= 4.0) {
        mUi->stereoView->setMonitorImageType(static_cast<int>(type));
    }
    // An unknown number (a damaged file, a later version's format) is the default format.
    double const format = defaults.numberForKey(kStereoFormatKey).value_or(0.0);
    CIVIZStereoFormat const stereoFormat = CIVIZStereoFormatFromNumber(format);
    VERIFY(static_cast<double>(stereoFormat) == format);
    mUi->stereoView->setStereoFormat(stereoFormat);
    mUi->stereoAlign->restoreSettings();
    if (std::optional<std::string> const geometry = defaults.stringForKey(kWindowGeometryKey)) {
        mWindow->restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(*geometry)));
    }
    // Restoring is no change to store again.
    if (mSettingsTimer != nullptr) {
        mSettingsTimer->stop();
    }
}

QString DSCDocument::takeSnapshot() {
    if (!mUi) {
        return {};
    }
    DSCSnapshot::Files const files = DSCSnapshot::save(
        mUi->stereoView->monitorPicture(), mUi->leftEyeView->eyePicture(),
        mUi->rightEyeView->eyePicture(), DSCSnapshot::picturesFolder());
    QStringList names;
    for (QString const& path : {files.png, files.jps}) {
        if (!path.isEmpty()) {
            names << QFileInfo(path).fileName();
        }
    }
    QString const status =
        names.isEmpty() ? tr("No snapshot saved: nothing to save, or the Pictures folder "
                             "cannot be written (see the log)")
                        : tr("Saved in %1: %2").arg(DSCSnapshot::picturesFolder(),
                                                    names.join(QStringLiteral(", ")));
    mUi->statusBar->showMessage(status, 10000);
    return status;
}

void DSCDocument::showWindows() {
    if (mWindow) {
        mWindow->show();
    }
}

DSCDocumentWindow* DSCDocument::window() const { return mWindow; }

void DSCDocument::setOutlets(QCamGrabCGImageView* leftEye, QCamGrabCGImageView* rightEye,
                             DSCStereoView* stereoView, DSCBroadcastControl* broadcast) {
    _grabViewLeftEye = leftEye;
    _grabViewRightEye = rightEye;
    _stereoView = stereoView;
    _broadcast = broadcast;
}

void DSCDocument::windowControllerDidLoadNib() {
    ++sCountInstances;
    stereoCameraOpen();
    restoreCameraChoices();
    if (_broadcast != nullptr) {
        _broadcast->applicationDidFinishLaunching(this);
    }
}

void DSCDocument::stereoCameraOpen() {
    // One repeating timer on the main thread. Qt timers keep firing while a menu is open,
    // a slider is dragged or a modal dialog runs its own event loop, so no extra modes are
    // needed for the clock to keep ticking then.
    _camTimer = new QTimer(this);
    VERIFY(_camTimer != nullptr);
    if (_camTimer != nullptr) {
        _camTimer->setTimerType(Qt::PreciseTimer);
        connect(_camTimer, &QTimer::timeout, this, [this] { masterTimeClock(_camTimer); });
        mClockStart = std::chrono::steady_clock::now();
        mTickIndex = 0;
        scheduleNextTick();
    }
    _broadcastFrame = 0;
    if (_grabViewLeftEye != nullptr) {
        _grabViewLeftEye->cameraOpen(kCameraFrameSize, kCameraFrameSize);
    }
    if (_grabViewRightEye != nullptr) {
        _grabViewRightEye->cameraOpen(kCameraFrameSize, kCameraFrameSize);
    }
    if (_grabViewLeftEye != nullptr && _grabViewRightEye != nullptr) {
        _grabViewLeftEye->grabber()->SetHoldFramesForPairing(true);
        _grabViewRightEye->grabber()->SetHoldFramesForPairing(true);
    }
    stereoCameraMenuRefresh();
}

void DSCDocument::scheduleNextTick() {
    using namespace std::chrono;
    auto const period = duration<double>(kTickSeconds);
    auto const now = steady_clock::now();
    ++mTickIndex;
    auto deadline = mClockStart + duration_cast<steady_clock::duration>(period * mTickIndex);
    if (deadline <= now) {
        // Late (a long tick or a stalled machine): skip the missed ticks, do not bunch up.
        mTickIndex = static_cast<long long>((now - mClockStart) / period) + 1;
        deadline = mClockStart + duration_cast<steady_clock::duration>(period * mTickIndex);
    }
    auto const wait = ceil<milliseconds>(deadline - now);
    _camTimer->start(wait);
}

void DSCDocument::stereoCameraClose() {
    if (_grabViewLeftEye != nullptr) {
        _grabViewLeftEye->cameraClose();
    }
    if (_grabViewRightEye != nullptr) {
        _grabViewRightEye->cameraClose();
    }
}

void DSCDocument::stereoCameraTimer(QTimer* timer) {
    // A camera that vanishes, or one the grabber re-opens by itself, changes what the camera
    // menus must list and mark.
    auto const openCameras = [this] {
        int open = 0;
        for (QCamGrabCGImageView* eye : {_grabViewLeftEye, _grabViewRightEye}) {
            open = open * 2 + (eye != nullptr && eye->grabber()->mVideoChannel != nullptr);
        }
        return open;
    };
    int const before = openCameras();
    if (_grabViewLeftEye != nullptr && _grabViewRightEye != nullptr) {
        // Both eyes grab (their frames held), the pair closest in time is decoded, then
        // both show it.
        _grabViewLeftEye->cameraGrab();
        _grabViewRightEye->cameraGrab();
        QCameraPairing::ShowBestPair(*_grabViewLeftEye->grabber(), *_grabViewRightEye->grabber());
        _grabViewLeftEye->cameraShowFrame();
        _grabViewRightEye->cameraShowFrame();
    } else {
        for (QCamGrabCGImageView* eye : {_grabViewLeftEye, _grabViewRightEye}) {
            if (eye != nullptr) {
                eye->cameraTimer(timer);
            }
        }
    }
    // A camera plugged in or unplugged: the menus list what is there now.
    bool const fDevicesChanged = CaptureRegistry::Shared().DevicesChanged();
    bool const fCamerasChanged = openCameras() != before || fDevicesChanged;
    if (fCamerasChanged) {
        stereoCameraMenuRefresh();
    }
    // A new status text lays the window out again: twice a second is enough for people,
    // and at once when a camera came or went.
    if (fCamerasChanged || ++mStatusTicks >= 15) {
        mStatusTicks = 0;
        updateEyeStatus();
    }
}

void DSCDocument::updateEyeStatus() {
    if (!mUi || _grabViewLeftEye == nullptr || _grabViewRightEye == nullptr) {
        return;
    }
    QCameraGrabberBase const* left = _grabViewLeftEye->grabber();
    QCameraGrabberBase const* right = _grabViewRightEye->grabber();
    QCameraStatus leftStatus;
    QCameraStatus rightStatus;
    left->GetStatus(leftStatus);
    right->GetStatus(rightStatus);
    std::int64_t const leftUs = left->LastFrameCaptureMicroseconds();
    std::int64_t const rightUs = right->LastFrameCaptureMicroseconds();
    if (!leftStatus.camera.empty() && !rightStatus.camera.empty() && leftUs >= 0 && rightUs >= 0) {
        double const apartMs = std::abs(static_cast<double>(leftUs - rightUs)) / 1000.0;
        leftStatus.pairingErrorMs = apartMs;
        rightStatus.pairingErrorMs = apartMs;
    }
    mUi->leftEyeStatus->setText(QString::fromStdString(leftStatus.Text("Left eye")));
    mUi->rightEyeStatus->setText(QString::fromStdString(rightStatus.Text("Right eye")));
}

void DSCDocument::masterTimeClock(QTimer* timer) {
    stereoCameraTimer(timer);
    if (_stereoView != nullptr) {
        _stereoView->setNeedsDisplay(true);
        CIImage const image = _stereoView->monitorImage();
        if (!image.isEmpty()) {
            cameraBroadcastFrame(image);
        }
    }
    if (timer != nullptr && timer == _camTimer) {
        scheduleNextTick();
    }
}

void DSCDocument::cameraBroadcastFrame(CIImage const& image) {
    if (_broadcastFrame != 0 || _broadcast == nullptr) {
        return;  // a frame is already being sent: dropped, not queued
    }
    if (!_broadcast->isBroadcastEnabled() || !_broadcast->isBroadcasting()) {
        return;
    }
    ++_broadcastFrame;
    // The broadcast takes the picture's size (a stereo layout may be wider or taller); where
    // the buffers cannot, the picture is squeezed into the size they have.
    QSize const size = image.extent().toAlignedRect().size();
    CIImage picture = image;
    if (!_broadcast->setFrameSize(size)) {
        QSizeF const frame = _broadcast->extent().size();
        picture = image.imageByApplyingTransform(
            QTransform::fromScale(frame.width() / size.width(), frame.height() / size.height()));
    }
    if (CIContext* context = _broadcast->currentCIContext()) {
        _broadcast->beginSwitchContexts();
        context->drawImage(picture, QPointF(0, 0), picture.extent());
        _broadcast->endSwitchContexts();
    }
    --_broadcastFrame;
}

void DSCDocument::stereoCameraMenuRefresh() {
    if (_grabViewRightEye != nullptr) {
        _grabViewRightEye->cameraMenuRefresh();
    }
    if (_grabViewLeftEye != nullptr) {
        _grabViewLeftEye->cameraMenuRefresh();
    }
}

void DSCDocument::stereoGrabCameraMenuChanged(NSUICamMenuController* sender) {
    if (sender == nullptr || _grabViewLeftEye == nullptr || _grabViewRightEye == nullptr) {
        return;
    }
    // The entry as picked: the change below replaces the controller's name by the camera the
    // grabber ends up with, which is "No Camera" when the pick could not be opened (the other
    // eye holds that camera).
    QString const chosen = sender->cameraDeviceInputName();
    if (sender == _grabViewLeftEye->cameraMenuController()) {
        _grabViewLeftEye->cameraMenuChanged(sender);
        _grabViewRightEye->cameraMenuRefresh();
        storeCameraChoice(kLeftEyeCameraKey, chosen);
    }
    if (sender == _grabViewRightEye->cameraMenuController()) {
        _grabViewRightEye->cameraMenuChanged(sender);
        _grabViewLeftEye->cameraMenuRefresh();
        storeCameraChoice(kRightEyeCameraKey, chosen);
    }
}

void DSCDocument::storeCameraChoice(char const* key, QString const& name) {
    // Taking the choices back at opening goes through the menu path too, but must not
    // replace a choice it could not apply (a camera not plugged in now) by what the eye got.
    if (!name.isNull() && !mRestoringCameraChoices) {
        UserDefaults::standard().setString(key, name.toStdString());
    }
}

void DSCDocument::restoreCameraChoices() {
    if (_grabViewLeftEye == nullptr || _grabViewRightEye == nullptr) {
        return;
    }
    struct Eye {
        char const* key;
        QCamGrabCGImageView* view;
        std::optional<std::string> stored;
    };
    Eye eyes[] = {{kLeftEyeCameraKey, _grabViewLeftEye, std::nullopt},
                  {kRightEyeCameraKey, _grabViewRightEye, std::nullopt}};
    for (Eye& eye : eyes) {
        eye.stored = UserDefaults::standard().stringForKey(eye.key);
    }
    // A camera an eye wants back may have been taken by the other eye at opening (each
    // opened the first free camera): that eye lets go of it first.
    for (int i = 0; i < 2; ++i) {
        Eye const& eye = eyes[i];
        QCamGrabCGImageView* other = eyes[1 - i].view;
        if (eye.stored && QString::fromStdString(*eye.stored) ==
                              other->cameraMenuController()->cameraDeviceInputName()) {
            other->grabber()->CloseCameraInput();
        }
    }
    mRestoringCameraChoices = true;
    for (Eye const& eye : eyes) {
        NSUICamMenuController* controller = eye.view->cameraMenuController();
        if (!eye.stored) {
            continue;
        }
        QString const name = QString::fromStdString(*eye.stored);
        if (name == controller->cameraDeviceInputName() &&
            eye.view->grabber()->mVideoChannel != nullptr) {
            continue;
        }
        // The same path as the user's choice in the camera menu.
        controller->setCameraDeviceInputName(name);
        stereoGrabCameraMenuChanged(controller);
    }
    mRestoringCameraChoices = false;
    // An eye that let go of its camera above and had no choice of its own takes the first
    // free one again.
    for (Eye const& eye : eyes) {
        QCameraGrabberBase* grabber = eye.view->grabber();
        if (!eye.stored && grabber->mComponent && grabber->mVideoChannel == nullptr &&
            grabber->mAutoOpenCameraPluggedIn) {
            grabber->OpenCameraInput(nullptr);
        }
    }
    stereoCameraMenuRefresh();
}

void DSCDocument::windowWillClose() {
    --sCountInstances;
    // Everything stored on the way out goes into one write of the defaults file.
    UserDefaults::Batch const batch(UserDefaults::standard());
    storeWindowSettings();
    stereoCameraClose();
    if (_camTimer != nullptr) {
        _camTimer->stop();
        _camTimer->deleteLater();
        _camTimer = nullptr;
    }
    if (_broadcast != nullptr) {
        _broadcast->applicationWillTerminate(this);
    }
    // The window deletes itself once closed; the views go with it.
    setOutlets(nullptr, nullptr, nullptr, nullptr);
    emit documentClosed();
}
