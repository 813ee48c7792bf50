#include "platform/defaults/UserDefaults.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/folders/PlatformFolders.h"

namespace {
constexpr char kDefaultsFileName[] = "defaults.json";
}

UserDefaults& UserDefaults::standard() {
    static UserDefaults sStandard(PlatformFolders::FolderPath(PlatformFolders::kUserConfigFolder) +
                                  "/" + kDefaultsFileName);
    return sStandard;
}

UserDefaults::UserDefaults(std::string filePath) : mFilePath(std::move(filePath)) { reload(); }

std::optional<double> UserDefaults::numberForKey(std::string const& key) const {
    auto const found = mValues.find(key);
    if (found == mValues.end() || !std::holds_alternative<double>(found->second)) {
        return std::nullopt;
    }
    return std::get<double>(found->second);
}

std::optional<std::string> UserDefaults::stringForKey(std::string const& key) const {
    auto const found = mValues.find(key);
    if (found == mValues.end() || !std::holds_alternative<std::string>(found->second)) {
        return std::nullopt;
    }
    return std::get<std::string>(found->second);
}

UserDefaults::Batch::~Batch() {
    if (--mDefaults.mBatchDepth == 0 && mDefaults.mBatchDirty) {
        mDefaults.mBatchDirty = false;
        mDefaults.save();
    }
}

bool UserDefaults::changed(std::string const& key, Value value) {
    auto const found = mValues.find(key);
    if (found != mValues.end() && found->second == value) {
        return false;
    }
    mValues[key] = std::move(value);
    return true;
}

bool UserDefaults::setNumber(std::string const& key, double value) {
    return !changed(key, value) || save();
}

bool UserDefaults::setString(std::string const& key, std::string const& value) {
    return !changed(key, value) || save();
}

bool UserDefaults::removeKey(std::string const& key) { return mValues.erase(key) != 0 && save(); }

void UserDefaults::reload() {
    mValues.clear();
    mFileDamaged = false;
    QFile file(QString::fromStdString(mFilePath));
    if (!file.exists()) {
        return;  // the first run: every key gives its fallback
    }
    bool fOk = false;
    VERIFY(fOk = file.open(QIODevice::ReadOnly));
    if (!fOk) {
        CoreMachDebugLog("UserDefaults: cannot read %s; using the fallbacks\n", mFilePath.c_str());
        return;
    }
    QByteArray const contents = file.readAll();
    QJsonParseError error{};
    QJsonDocument const document = QJsonDocument::fromJson(contents, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        mFileDamaged = true;
        CoreMachDebugLog("UserDefaults: %s is %s (%s at byte %d); using the fallbacks\n",
                         mFilePath.c_str(), contents.trimmed().isEmpty() ? "empty" : "damaged",
                         error.error != QJsonParseError::NoError
                             ? error.errorString().toUtf8().constData()
                             : "not an object",
                         static_cast<int>(error.offset));
        return;
    }
    QJsonObject const object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        std::string const key = it.key().toStdString();
        if (it.value().isDouble()) {
            mValues[key] = it.value().toDouble();
        } else if (it.value().isString()) {
            mValues[key] = it.value().toString().toStdString();
        } else {
            CoreMachDebugLog("UserDefaults: ignoring \"%s\" in %s: neither number nor string\n",
                             key.c_str(), mFilePath.c_str());
        }
    }
}

bool UserDefaults::save() {
    if (mBatchDepth > 0) {
        mBatchDirty = true;  // written once, when the batch ends
        return true;
    }
    std::string folder = mFilePath.substr(0, mFilePath.rfind('/'));
    bool fOk = false;
    VERIFY(fOk = PlatformFolders::FolderExists(folder) || PlatformFolders::MakeFolders(folder));
    if (!fOk) {
        return false;
    }
    if (mFileDamaged) {
        // Keep what the user had before replacing it with a whole, valid file.
        QString const path = QString::fromStdString(mFilePath);
        QFile::remove(path + ".damaged");
        VERIFY(QFile::rename(path, path + ".damaged"));
        mFileDamaged = false;
    }
    QJsonObject object;
    for (auto const& [key, value] : mValues) {
        QString const name = QString::fromStdString(key);
        if (std::holds_alternative<double>(value)) {
            object.insert(name, std::get<double>(value));
        } else {
            object.insert(name, QString::fromStdString(std::get<std::string>(value)));
        }
    }
    QSaveFile file(QString::fromStdString(mFilePath));
    VERIFY(fOk = file.open(QIODevice::WriteOnly));
    if (fOk) {
        QByteArray const json = QJsonDocument(object).toJson(QJsonDocument::Indented);
        VERIFY(fOk = file.write(json) == json.size());
    }
    if (fOk) {
        VERIFY(fOk = file.commit());  // fsync, then rename over the old file
    }
    mSaveCount += fOk ? 1 : 0;
    return fOk;
}
