#pragma once
// An affine map of colours, c' = M c + bias, where c is the unpremultiplied (r, g, b) in 0..1
// and alpha passes unchanged. On premultiplied pixels (p = a c) the same map reads
// p' = M p + a bias, so it runs without unpremultiplying, and two maps in a row compose into
// one: that is how a chain of colour filters renders in a single pass.

#include <array>

#include <QString>

class CIColorMatrix {
public:
    using Row = std::array<double, 4>;  // weights of r, g, b, then the bias

    CIColorMatrix();  // identity

    static CIColorMatrix fromRows(Row const& red, Row const& green, Row const& blue);
    // Multiplies each channel.
    static CIColorMatrix scale(double red, double green, double blue);

    // Entry of output channel `row` (0 red, 1 green, 2 blue); column 3 is the bias.
    double at(int row, int column) const { return mRows[row][column]; }

    // The map that applies this one, then `next`.
    CIColorMatrix followedBy(CIColorMatrix const& next) const;

    bool isIdentity() const;
    QString description() const;

private:
    std::array<Row, 3> mRows;
};
