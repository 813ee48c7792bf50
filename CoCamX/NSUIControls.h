#pragma once
// The adjustment controls: a slider with a decimal value, a switch with an on, off and mixed
// state, and a colour well. Each takes part in parameter mapping.

#include <QCheckBox>
#include <QColor>
#include <QSlider>
#include <QToolButton>

#include "CocoaX/ParamMapping.h"
#include "platform/imaging/CIColor.h"

// A horizontal slider over minValue..maxValue in steps of `increment`.
class NSUISlider : public QSlider, public ParamControl {
    Q_OBJECT
public:
    explicit NSUISlider(QWidget* parent = nullptr);

    void setRange(double minValue, double maxValue, double increment);
    double minValue() const { return mMin; }
    double maxValue() const { return mMax; }

    double doubleValue() const;
    // Clamped into the range and rounded to the nearest step.
    void setDoubleValue(double value);
    // The value as text with a decimal point whatever the locale ("0.5", "1", "-1.25").
    QString stringValue() const;
    // Text that is no number gives 0, clamped into the range.
    void setStringValue(QString const& text);

    int intValue() const override;
    void setIntValue(int value) override { setDoubleValue(value); }
    double floatValue() const override { return doubleValue(); }
    void setFloatValue(double value) override { setDoubleValue(value); }

private:
    double mMin = 0.0;
    double mMax = 1.0;
    double mIncrement = 0.01;
};

// A check box whose integer state reads 1 (on), 0 (off) or -1 (mixed). Only 1 counts as on.
class NSUISwitch : public QCheckBox, public ParamControl {
    Q_OBJECT
public:
    explicit NSUISwitch(QWidget* parent = nullptr);
    explicit NSUISwitch(QString const& text, QWidget* parent = nullptr);

    int state() const;
    bool isOn() const { return state() == 1; }
    // Zero turns it off, a positive value on, a negative one to mixed.
    void setState(int state);

    int intValue() const override { return state(); }
    void setIntValue(int value) override { setState(value); }
};

// A button showing a colour; a click lets the user choose another (without alpha).
class NSUIColorWell : public QToolButton, public ParamControl {
    Q_OBJECT
public:
    explicit NSUIColorWell(QWidget* parent = nullptr);

    QColor color() const { return mColor; }
    void setColor(QColor const& color);
    // The colour as the filters take it, alpha 1.
    CIColor getCIColorOpaque() const;

    QColor colorValue() const override { return mColor; }
    void setColorValue(QColor const& color) override { setColor(color); }

    static void setColorParamsLocked(bool locked) { ParamConvert::setColorParamsLocked(locked); }
    static bool colorParamsLocked() { return ParamConvert::colorParamsLocked(); }

signals:
    void colorChanged(QColor const& color);

private:
    void chooseColor();
    QColor mColor = Qt::white;
};
