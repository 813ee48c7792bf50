#pragma once
// A row of exclusive, checkable tool buttons: one segment is selected at a time.

#include <QStringList>
#include <QWidget>

class QButtonGroup;

class NSUISegmentedControl : public QWidget {
    Q_OBJECT
public:
    explicit NSUISegmentedControl(QWidget* parent = nullptr);

    // Replaces the segments by one button per label; the first is selected.
    void setLabels(QStringList const& labels);
    int segmentCount() const;
    // The selected segment, or -1 when there are no segments.
    int selectedSegment() const;
    // Selects a segment; an index outside the segments is ignored. Does not emit
    // segmentChanged (only the user's clicks do).
    void setSelectedSegment(int segment);

signals:
    void segmentChanged(int segment);

private:
    QButtonGroup* mGroup;
};

bool import_NSUISegmentedControl();
