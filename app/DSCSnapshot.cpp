#include "app/DSCSnapshot.h"

#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QStandardPaths>

#include "CoreX/CoreMachDebugLog.h"

namespace DSCSnapshot {

namespace {

// "Duoscope 2026-11-23 11.40.02", with " 2", " 3", ... when a snapshot of that second exists.
QString FreeBaseName(QDir const& folder, QDateTime const& when) {
    QString const stem = QStringLiteral("Duoscope ") + when.toString("yyyy-MM-dd hh.mm.ss");
    QString base = stem;
    for (int n = 2; folder.exists(base + ".png") || folder.exists(base + ".jps"); ++n) {
        base = stem + ' ' + QString::number(n);
    }
    return folder.filePath(base);
}

QString Write(QImage const& image, QString const& path, char const* format, int quality) {
    bool const fWritten = image.save(path, format, quality);
    VERIFY(fWritten);
    return fWritten ? path : QString();
}

}  // namespace

QString picturesFolder() {
    QString const folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return folder.isEmpty() ? QDir::home().filePath("Pictures") : folder;
}

QImage stereoPair(QImage const& left, QImage const& right) {
    if (left.isNull() || right.isNull() || left.size() != right.size()) {
        return {};
    }
    QImage pair(left.width() * 2, left.height(), QImage::Format_RGB32);
    QPainter painter(&pair);
    painter.drawImage(0, 0, right);
    painter.drawImage(left.width(), 0, left);
    return pair;
}

Files save(QImage const& monitor, QImage const& left, QImage const& right, QString const& folder,
           QDateTime const& when) {
    Files files;
    bool const fFolder = QDir().mkpath(folder);
    VERIFY(fFolder);
    if (!fFolder) {
        return files;
    }
    QString const base = FreeBaseName(QDir(folder), when);
    if (!monitor.isNull()) {
        files.png = Write(monitor.convertToFormat(QImage::Format_RGB32), base + ".png", "PNG", -1);
    }
    QImage const pair = stereoPair(left, right);
    if (!pair.isNull()) {
        files.jps = Write(pair, base + ".jps", "JPEG", 92);
    }
    return files;
}

}  // namespace DSCSnapshot
