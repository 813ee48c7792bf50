#pragma once
// Keeps one camera pop-up in step with one grabber: after the pop-up's separator it lists
// "No Camera", a separator and one entry per camera input, marks the running camera, and
// turns the user's choice into a camera switch.

#include <QObject>
#include <QPersistentModelIndex>
#include <QString>

class QCameraGrabberBase;
class QComboBox;

class NSUICamMenuController : public QObject {
    Q_OBJECT
public:
    static constexpr char kNoCameraTitle[] = "No Camera";

    explicit NSUICamMenuController(QObject* parent = nullptr);

    // Outlet: the pop-up and the row of its separator; every row after it is ours.
    void setCameraMenu(QComboBox* popUp, int separatorRow);
    QComboBox* cameraMenu() const { return mMenu; }

    // Rebuilds the entries after the separator from the grabber's camera list.
    void updateForCameraGrabber(QCameraGrabberBase* grabber);
    // Applies the chosen entry to the grabber; true when something changed.
    bool changeCameraGrabberDevice(QCameraGrabberBase* grabber);
    bool useNextCameraGrabberDevice(QCameraGrabberBase* grabber);
    bool usePrevCameraGrabberDevice(QCameraGrabberBase* grabber);

    // The action of every entry: takes its title and tells the target.
    void cameraSelectionChanged(QString const& title);

    // A null string stands for no choice.
    void setCameraDeviceInputName(QString const& name);
    QString cameraDeviceInputName() const;

    // Names containing any of these substrings are never offered (none at present).
    static bool IsExcludedCameraName(QByteArray const& name);

signals:
    // The target-action of the controller: a camera entry was chosen.
    void action(NSUICamMenuController* sender);

private:
    void addEntry(QString const& title, bool checked, bool setCheckState);

    QComboBox* mMenu = nullptr;
    QPersistentModelIndex mCameraMenuSeparator;
    QString _cameraDeviceInputName;
};

bool import_NSUICamMenuController();
