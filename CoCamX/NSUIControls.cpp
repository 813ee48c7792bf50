#include "CoCamX/NSUIControls.h"

#include <cmath>

#include <QColorDialog>
#include <QPainter>
#include <QPixmap>

NSUISlider::NSUISlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    setRange(0.0, 1.0, 0.01);
}

void NSUISlider::setRange(double minValue, double maxValue, double increment) {
    mMin = minValue;
    mMax = std::max(minValue, maxValue);
    mIncrement = increment > 0.0 ? increment : 0.01;
    QSlider::setRange(0, static_cast<int>(std::lround((mMax - mMin) / mIncrement)));
    setPageStep(std::max(1, maximum() / 10));
}

double NSUISlider::doubleValue() const {
    // Steps are whole multiples of the increment: round away the float noise of the sum.
    return std::round((mMin + value() * mIncrement) * 1e9) / 1e9;
}

void NSUISlider::setDoubleValue(double value) {
    if (!std::isfinite(value)) {
        value = 0.0;
    }
    setValue(static_cast<int>(std::lround((std::clamp(value, mMin, mMax) - mMin) / mIncrement)));
}

QString NSUISlider::stringValue() const {
    return QString::number(doubleValue(), 'g', 10);
}

void NSUISlider::setStringValue(QString const& text) {
    setDoubleValue(text.trimmed().toDouble());  // C locale; not a number reads as 0
}

int NSUISlider::intValue() const { return static_cast<int>(std::lround(doubleValue())); }

NSUISwitch::NSUISwitch(QWidget* parent) : QCheckBox(parent) {}

NSUISwitch::NSUISwitch(QString const& text, QWidget* parent) : QCheckBox(text, parent) {}

int NSUISwitch::state() const {
    switch (checkState()) {
        case Qt::Checked:
            return 1;
        case Qt::PartiallyChecked:
            return -1;
        default:
            return 0;
    }
}

void NSUISwitch::setState(int state) {
    setTristate(state < 0);
    setCheckState(state < 0 ? Qt::PartiallyChecked : state > 0 ? Qt::Checked : Qt::Unchecked);
}

NSUIColorWell::NSUIColorWell(QWidget* parent) : QToolButton(parent) {
    setIconSize(QSize(28, 14));
    setColor(Qt::white);
    connect(this, &QToolButton::clicked, this, &NSUIColorWell::chooseColor);
}

void NSUIColorWell::setColor(QColor const& color) {
    QColor const opaque(color.red(), color.green(), color.blue());
    bool const changed = opaque != mColor;
    mColor = opaque;
    QPixmap swatch(iconSize());
    swatch.fill(mColor);
    QPainter(&swatch).drawRect(swatch.rect().adjusted(0, 0, -1, -1));
    setIcon(swatch);
    setToolTip(tr("White reference %1").arg(mColor.name()));
    if (changed) {
        emit colorChanged(mColor);
    }
}

CIColor NSUIColorWell::getCIColorOpaque() const {
    return CIColor::colorWithRed(mColor.redF(), mColor.greenF(), mColor.blueF(), 1.0);
}

void NSUIColorWell::chooseColor() {
    QColor const chosen = QColorDialog::getColor(mColor, this, tr("White reference"));
    if (chosen.isValid()) {
        setColor(chosen);
    }
}
