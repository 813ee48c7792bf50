#pragma once
// A colour as filters take it: red, green, blue and alpha in 0..1, not premultiplied, in the
// device's own (gamma-encoded) RGB.

#include <QColor>
#include <QMetaType>

class CIColor {
public:
    CIColor() = default;  // opaque black

    static CIColor colorWithRed(double red, double green, double blue, double alpha = 1.0) {
        CIColor color;
        color.mRed = red;
        color.mGreen = green;
        color.mBlue = blue;
        color.mAlpha = alpha;
        return color;
    }
    static CIColor colorWithQColor(QColor const& color) {
        return colorWithRed(color.redF(), color.greenF(), color.blueF(), color.alphaF());
    }

    double red() const { return mRed; }
    double green() const { return mGreen; }
    double blue() const { return mBlue; }
    double alpha() const { return mAlpha; }

    friend bool operator==(CIColor const&, CIColor const&) = default;

private:
    double mRed = 0.0;
    double mGreen = 0.0;
    double mBlue = 0.0;
    double mAlpha = 1.0;
};

Q_DECLARE_METATYPE(CIColor)
