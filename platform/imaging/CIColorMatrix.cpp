#include "platform/imaging/CIColorMatrix.h"

CIColorMatrix::CIColorMatrix()
    : mRows{{{1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}}} {}

CIColorMatrix CIColorMatrix::fromRows(Row const& red, Row const& green, Row const& blue) {
    CIColorMatrix matrix;
    matrix.mRows = {red, green, blue};
    return matrix;
}

CIColorMatrix CIColorMatrix::scale(double red, double green, double blue) {
    return fromRows({red, 0.0, 0.0, 0.0}, {0.0, green, 0.0, 0.0}, {0.0, 0.0, blue, 0.0});
}

CIColorMatrix CIColorMatrix::followedBy(CIColorMatrix const& next) const {
    // [N | n] . [M | m] = [N M | N m + n]
    CIColorMatrix result;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 4; ++column) {
            double sum = column == 3 ? next.mRows[row][3] : 0.0;
            for (int k = 0; k < 3; ++k) {
                sum += next.mRows[row][k] * mRows[k][column];
            }
            result.mRows[row][column] = sum;
        }
    }
    return result;
}

bool CIColorMatrix::isIdentity() const {
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 4; ++column) {
            if (mRows[row][column] != (row == column ? 1.0 : 0.0)) {
                return false;
            }
        }
    }
    return true;
}

QString CIColorMatrix::description() const {
    QString text;
    for (int row = 0; row < 3; ++row) {
        text += row == 0 ? "[" : " [";
        for (int column = 0; column < 4; ++column) {
            text += QString::number(mRows[row][column], 'g', 4) + (column < 3 ? " " : "]");
        }
    }
    return text;
}
