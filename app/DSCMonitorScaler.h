#pragma once
// The painter path's scaling of the monitor picture: an exact bilinear resample (a plain
// colour keeps every level) into a picture kept while the size stays, which is then blitted
// unscaled. Separable: each source row is resampled across once, then each output row blends
// two of those. The column positions and weights are computed once per size. The row kernels
// follow the imaging library's shape: a reference (_C) beside an AVX2 form, which the
// library's CISetForceReferenceKernels(true) turns off.

#include <cstdint>
#include <vector>

#include <QImage>

// dst[i] = the blend of src[x0[i]] and src[x1[i]], src[x1[i]]'s share fx[i] / 256, per byte,
// rounded: (a * (256 - f) + b * f + 128) >> 8.
void DSCScaleRowAcross_C(uint32_t const* src, uint32_t* dst, int width, int32_t const* x0,
                         int32_t const* x1, int32_t const* fx);
void DSCScaleRowAcross_AVX2(uint32_t const* src, uint32_t* dst, int width, int32_t const* x0,
                            int32_t const* x1, int32_t const* fx);
// dst[i] = the blend of row0[i] and row1[i], row1's share fy / 256, rounded as above.
void DSCBlendRows_C(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                    uint32_t fy);
void DSCBlendRows_AVX2(uint32_t const* row0, uint32_t const* row1, uint32_t* dst, int width,
                       uint32_t fy);

class DSCMonitorScaler {
public:
    // Resamples `source` (32-bit, premultiplied or opaque) to `size`; the result stays valid
    // until the next call. Allocates only when the sizes change.
    QImage& scale(QImage const& source, QSize size);
    QImage& scaled() { return mScaled; }

private:
    void prepare(QSize source, QSize size);

    QSize mSource;
    QImage mScaled;
    // Per output column: the two source columns and the second one's share; per output row
    // the same for source rows.
    std::vector<int32_t> mX0, mX1, mFx, mY0, mY1, mFy;
    // Source rows resampled across, one per source row.
    std::vector<uint32_t> mAcross;
};
