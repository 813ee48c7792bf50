#include "CoCamX/NSUISegmentedControl.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QToolButton>

NSUISegmentedControl::NSUISegmentedControl(QWidget* parent)
    : QWidget(parent), mGroup(new QButtonGroup(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    mGroup->setExclusive(true);
    // The selected segment in the highlight colour, bold, so it is seen at a glance.
    setStyleSheet(QStringLiteral(
        "QToolButton { padding: 4px 10px; border: 1px solid palette(mid); background: palette(button); }"
        "QToolButton:checked { background: palette(highlight); color: palette(highlighted-text);"
        " font-weight: bold; }"));
    connect(mGroup, &QButtonGroup::idClicked, this, &NSUISegmentedControl::segmentChanged);
}

void NSUISegmentedControl::setLabels(QStringList const& labels) {
    for (QAbstractButton* button : mGroup->buttons()) {
        mGroup->removeButton(button);
        delete button;
    }
    for (int segment = 0; segment < labels.size(); ++segment) {
        auto* button = new QToolButton(this);
        button->setText(labels[segment]);
        button->setCheckable(true);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        mGroup->addButton(button, segment);
        layout()->addWidget(button);
    }
    setSelectedSegment(0);
}

int NSUISegmentedControl::segmentCount() const {
    return static_cast<int>(mGroup->buttons().size());
}

int NSUISegmentedControl::selectedSegment() const { return mGroup->checkedId(); }

void NSUISegmentedControl::setSelectedSegment(int segment) {
    if (QAbstractButton* button = mGroup->button(segment)) {
        button->setChecked(true);
    }
}

bool import_NSUISegmentedControl() { return true; }
