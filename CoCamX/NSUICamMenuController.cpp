#include "CoCamX/NSUICamMenuController.h"

#include <cstring>

#include <QComboBox>
#include <QStandardItemModel>

#include "CoreX/CoreMachDebugLog.h"
#include "QClasses/QCameraGrabberBase.h"

namespace {

// Inputs never offered in the menu, as substrings of their names.
constexpr char const* CamExcluded[] = {nullptr};

bool IsSeparator(QComboBox const* menu, int row) {
    return menu->itemData(row, Qt::AccessibleDescriptionRole).toString() ==
           QLatin1String("separator");
}

// Camera names are UTF-8 (V4L2 card and input names); titles are made and matched back
// through the same conversion.
QString TitleFromName(Str63 const name) {
    return QString::fromUtf8(reinterpret_cast<char const*>(name + 1), name[0]);
}

}  // namespace

NSUICamMenuController::NSUICamMenuController(QObject* parent) : QObject(parent) {}

void NSUICamMenuController::setCameraMenu(QComboBox* popUp, int separatorRow) {
    if (mMenu != nullptr) {
        disconnect(mMenu, nullptr, this, nullptr);
    }
    mMenu = popUp;
    mCameraMenuSeparator = QPersistentModelIndex();
    if (popUp == nullptr) {
        return;
    }
    mCameraMenuSeparator = QPersistentModelIndex(popUp->model()->index(separatorRow, 0));
    connect(popUp, &QComboBox::activated, this, [this](int row) {
        if (mCameraMenuSeparator.isValid() && row > mCameraMenuSeparator.row() &&
            !IsSeparator(mMenu, row)) {
            cameraSelectionChanged(mMenu->itemText(row));
        }
    });
}

bool NSUICamMenuController::IsExcludedCameraName(QByteArray const& name) {
    for (char const* const* excluded = CamExcluded; *excluded != nullptr; ++excluded) {
        if (std::strstr(name.constData(), *excluded) != nullptr) {
            return true;
        }
    }
    return false;
}

void NSUICamMenuController::addEntry(QString const& title, bool checked, bool setCheckState) {
    mMenu->addItem(title);
    int const row = mMenu->count() - 1;
    if (setCheckState) {
        mMenu->setItemData(row, checked ? QVariant(Qt::Checked) : QVariant(), Qt::CheckStateRole);
    }
}

void NSUICamMenuController::updateForCameraGrabber(QCameraGrabberBase* grabber) {
    if (mMenu == nullptr || !mCameraMenuSeparator.isValid() ||
        !IsSeparator(mMenu, mCameraMenuSeparator.row())) {
        return;
    }
    QComboBox* cameraMenu = mMenu;
    VERIFY(cameraMenu);

    // Everything after the separator is rebuilt.
    int const firstRow = mCameraMenuSeparator.row() + 1;
    while (cameraMenu->count() > firstRow) {
        cameraMenu->removeItem(cameraMenu->count() - 1);
    }

    QSGDeviceList::InputIterator current;
    bool const hasChannel = grabber != nullptr && grabber->mVideoChannel != nullptr;
    bool const noCamera = !(hasChannel && grabber->GetCurrentCamera(current));
    QString const currentName =
        noCamera ? QString::fromLatin1(kNoCameraTitle) : TitleFromName(current.inputName);

    addEntry(QString::fromLatin1(kNoCameraTitle), noCamera, true);
    if (noCamera) {
        setCameraDeviceInputName(QString::fromLatin1(kNoCameraTitle));
    }
    cameraMenu->insertSeparator(cameraMenu->count());

    QSGDeviceList cameras;
    if (grabber == nullptr || !grabber->GetCameraInputList(cameras)) {
        return;
    }
    QSGDeviceList::InputIterator camera;
    for (bool more = cameras.GetFirstInput(camera); more; more = cameras.GetNextInput(camera)) {
        QByteArray const name(reinterpret_cast<char const*>(camera.inputName + 1),
                              camera.inputName[0]);
        if (IsExcludedCameraName(name)) {
            continue;
        }
        QString const title = TitleFromName(camera.inputName);
        bool const isCurrent = currentName == title;
        if (isCurrent) {
            setCameraDeviceInputName(title);
        }
        addEntry(title, isCurrent, hasChannel);
    }
}

bool NSUICamMenuController::changeCameraGrabberDevice(QCameraGrabberBase* grabber) {
    QString const cameraDeviceInputName = this->cameraDeviceInputName();
    if (cameraDeviceInputName.isNull()) {
        VERIFY(!cameraDeviceInputName.isNull());
        return false;
    }
    QByteArray const cameraDeviceInputNameCString = cameraDeviceInputName.toUtf8();
    if (grabber == nullptr) {
        return false;
    }
    if (cameraDeviceInputName == QLatin1String(kNoCameraTitle)) {
        // The user wants no camera: the grabber stops re-opening one by itself, for good.
        grabber->SetAutoOpenCameraPluggedIn(false, 1.0f);
        grabber->CloseCameraInput();
        updateForCameraGrabber(grabber);
        return true;
    }

    bool changed = false;
    if (grabber->mVideoChannel == nullptr) {
        grabber->OpenCameraInput(nullptr);
        changed = true;
    }
    if (grabber->mVideoChannel != nullptr) {
        QSGDeviceList::InputIterator camera;
        bool const fListed = grabber->GetCameraWithDeviceInputName(
            camera, cameraDeviceInputNameCString.constData());
        // A choice that is not plugged in now is taken as soon as it is.
        grabber->SetWantedCameraName(fListed ? std::string()
                                             : cameraDeviceInputNameCString.toStdString());
        if (fListed) {
            QSGDeviceList::InputIterator current;
            if (!(grabber->GetCurrentCamera(current) && current == camera)) {
                grabber->SwitchToCamera(camera);
                changed = true;
            }
        }
    }
    if (changed) {
        updateForCameraGrabber(grabber);
    }
    return changed;
}

bool NSUICamMenuController::useNextCameraGrabberDevice(QCameraGrabberBase* grabber) {
    if (grabber == nullptr || !grabber->UseNextCamera()) {
        return false;
    }
    updateForCameraGrabber(grabber);
    return true;
}

bool NSUICamMenuController::usePrevCameraGrabberDevice(QCameraGrabberBase* grabber) {
    if (grabber == nullptr || !grabber->UsePrevCamera()) {
        return false;
    }
    updateForCameraGrabber(grabber);
    return true;
}

void NSUICamMenuController::cameraSelectionChanged(QString const& title) {
    if (!title.isNull()) {
        setCameraDeviceInputName(title);
        emit action(this);
    }
}

void NSUICamMenuController::setCameraDeviceInputName(QString const& name) {
    _cameraDeviceInputName = name;
}

QString NSUICamMenuController::cameraDeviceInputName() const {
    VERIFY(!_cameraDeviceInputName.isNull());
    return _cameraDeviceInputName;
}

bool import_NSUICamMenuController() { return true; }
