#pragma once
// A short vector of one to four numbers, as filters take points and rectangles. A rectangle
// is (x, y, width, height) in image coordinates (origin top-left, y down).

#include <array>

#include <QMetaType>
#include <QRectF>

class CIVector {
public:
    CIVector() = default;  // no components

    static CIVector vectorWithX(double x) { return CIVector(1, {x, 0.0, 0.0, 0.0}); }
    static CIVector vectorWithX(double x, double y) { return CIVector(2, {x, y, 0.0, 0.0}); }
    static CIVector vectorWithX(double x, double y, double z) {
        return CIVector(3, {x, y, z, 0.0});
    }
    static CIVector vectorWithX(double x, double y, double z, double w) {
        return CIVector(4, {x, y, z, w});
    }
    static CIVector vectorWithCGRect(QRectF const& rect) {
        return vectorWithX(rect.x(), rect.y(), rect.width(), rect.height());
    }

    int count() const { return mCount; }
    // Components past count() read as 0.
    double valueAtIndex(int index) const {
        return index >= 0 && index < mCount ? mValues[static_cast<size_t>(index)] : 0.0;
    }
    double X() const { return valueAtIndex(0); }
    double Y() const { return valueAtIndex(1); }
    double Z() const { return valueAtIndex(2); }
    double W() const { return valueAtIndex(3); }
    QRectF CGRectValue() const { return QRectF(X(), Y(), Z(), W()); }

    friend bool operator==(CIVector const&, CIVector const&) = default;

private:
    CIVector(int count, std::array<double, 4> values) : mCount(count), mValues(values) {}

    int mCount = 0;
    std::array<double, 4> mValues{};
};

Q_DECLARE_METATYPE(CIVector)
