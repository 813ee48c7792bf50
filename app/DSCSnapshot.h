#pragma once
// Snapshots of the stereo camera: the monitor's picture as a PNG, and the two eyes as a
// side-by-side JPEG stereo pair (".jps": one JPEG twice as wide, the right eye in the left
// half and the left eye in the right half, as stereo photo viewers expect).

#include <QDateTime>
#include <QImage>
#include <QString>

namespace DSCSnapshot {

// The user's Pictures folder (XDG_PICTURES_DIR, else ~/Pictures).
QString picturesFolder();

// The stereo pair of two eyes of the same size: right | left; null when they differ.
QImage stereoPair(QImage const& left, QImage const& right);

struct Files {
    QString png;  // empty when not written
    QString jps;
};

// Writes "Duoscope <date> <time>.png" (the monitor) and ".jps" (the eyes, when both have a
// picture) into `folder`, made if missing, never over an existing file. Failures are logged
// and leave that file's name empty.
Files save(QImage const& monitor, QImage const& left, QImage const& right, QString const& folder,
           QDateTime const& when = QDateTime::currentDateTime());

}  // namespace DSCSnapshot
