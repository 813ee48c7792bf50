#include "platform/imaging/CITransformNode.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/imaging/CIPixelKernels.h"
#include "platform/imaging/CIRenderState.h"

namespace {

bool IsWhole(double value) {
    return std::abs(value - std::round(value)) < 1e-9 && std::abs(value) < 1073741824.0;
}

bool IsUnit(double value) { return value == 1.0 || value == -1.0; }

// Blackens the pixels before and after the run of `out` for which `insideAt(i)` holds (one
// run: the sample moves along a straight line through a rectangle) and returns the run as
// [begin, end).
template <typename InsideAt>
std::pair<int, int> BlackenOutsideRun(uint32_t* out, int count, InsideAt const& insideAt) {
    int begin = 0;
    int end = count;
    while (begin < end && !insideAt(begin)) {
        out[begin++] = 0;
    }
    while (end > begin && !insideAt(end - 1)) {
        out[--end] = 0;
    }
    return {begin, end};
}

}  // namespace

bool CITransformNode::isPixelExact(QTransform const& transform) {
    return transform.type() <= QTransform::TxScale && IsUnit(transform.m11()) &&
           IsUnit(transform.m22()) && IsWhole(transform.dx()) && IsWhole(transform.dy());
}

CITransformNode::CITransformNode(std::shared_ptr<CIImageNode const> input,
                                 QTransform const& transform)
    : CIImageNode(transform.mapRect(input->extent())),
      mInput(std::move(input)),
      mTransform(transform),
      mInverse(transform.inverted()),
      mExact(isPixelExact(transform)) {
    if (mExact) {
        mFlipX = transform.m11() < 0.0;
        mFlipY = transform.m22() < 0.0;
        mDx = static_cast<int>(std::lround(transform.dx()));
        mDy = static_cast<int>(std::lround(transform.dy()));
    }
}

int CITransformNode::scratchRows() const {
    if (!mExact) {
        return 0;  // samples an intermediate made in prepare
    }
    return mInput->scratchRows() + (mFlipX ? 1 : 0);
}

QRect CITransformNode::inputRegion(QRect const& region) const {
    if (mExact) {
        int const left = mFlipX ? mDx - region.left() - region.width() : region.left() - mDx;
        int const top = mFlipY ? mDy - region.top() - region.height() : region.top() - mDy;
        return QRect(left, top, region.width(), region.height());
    }
    // The centres' bounding box, one pixel wider on each side for the bilinear neighbours.
    QRect const centres = CIPixelSpan(mInverse.mapRect(QRectF(region)));
    return centres.adjusted(-1, -1, 1, 1) & mInput->pixelExtent();
}

void CITransformNode::prepare(CIRenderState& state, QRect const& region) const {
    QRect const needed = inputRegion(region & pixelExtent());
    if (needed.isEmpty()) {
        return;
    }
    mInput->prepare(state, needed);
    CIPixelView view;
    if (!mExact && !mInput->pixelView(view)) {
        state.materialize(*mInput, needed);
    }
}

bool CITransformNode::pixelView(CIPixelView& view) const {
    // A whole-pixel move of memory is the same memory at other coordinates.
    if (!mExact || mFlipX || mFlipY || !mInput->pixelView(view)) {
        return false;
    }
    view.region.translate(mDx, mDy);
    return true;
}

QString CITransformNode::description() const {
    return QString("transform([%1 %2 %3 %4 %5 %6], %7)")
        .arg(mTransform.m11())
        .arg(mTransform.m12())
        .arg(mTransform.m21())
        .arg(mTransform.m22())
        .arg(mTransform.dx())
        .arg(mTransform.dy())
        .arg(mInput->description());
}

uint32_t const* CITransformNode::rowInside(CIRenderState& state, int y, int x, int count,
                                           uint32_t* out) const {
    return mExact ? exactRow(state, y, x, count, out) : sampledRow(state, y, x, count, out);
}

uint32_t const* CITransformNode::exactRow(CIRenderState& state, int y, int x, int count,
                                          uint32_t* out) const {
    int const sourceY = mFlipY ? mDy - 1 - y : y - mDy;
    if (!mFlipX) {
        return mInput->row(state, sourceY, x - mDx, count, out);
    }
    CIRenderState::Scope scope(state);
    uint32_t* scratch = state.takeScratch(count);
    if (scratch == nullptr) {
        std::fill_n(out, count, 0u);
        return out;
    }
    // Output x .. x + count - 1 reads input mDx - 1 - x down to mDx - x - count.
    uint32_t const* pixels = mInput->row(state, sourceY, mDx - x - count, count, scratch);
    std::reverse_copy(pixels, pixels + count, out);
    return out;
}

uint32_t const* CITransformNode::sampledRow(CIRenderState& state, int y, int x, int count,
                                            uint32_t* out) const {
    CIPixelView view;
    if (!mInput->pixelView(view)) {
        CIPixelView const* intermediate = state.viewOf(mInput.get());
        if (intermediate == nullptr) {
            std::fill_n(out, count, 0u);
            return out;
        }
        view = *intermediate;
    }
    QRect const& extent = mInput->pixelExtent();
    QRect const bounds = view.region & extent;
    if (bounds.isEmpty()) {
        std::fill_n(out, count, 0u);
        return out;
    }
    // Input positions in 16.16 fixed point, measured from pixel centres: the centre of
    // input pixel i is i << 16.
    double const centreX = x + 0.5;
    double const centreY = y + 0.5;
    double const u = mInverse.m11() * centreX + mInverse.m21() * centreY + mInverse.dx() - 0.5;
    double const v = mInverse.m12() * centreX + mInverse.m22() * centreY + mInverse.dy() - 0.5;
    int64_t sampleU = std::llround(u * 65536.0);
    int64_t sampleV = std::llround(v * 65536.0);
    int64_t const stepU = std::llround(mInverse.m11() * 65536.0);
    int64_t const stepV = std::llround(mInverse.m12() * 65536.0);
    // A pixel is inside when its centre maps inside the input's pixels.
    int64_t const insideLeft = (int64_t{extent.left()} << 16) - 32768;
    int64_t const insideRight = (int64_t{extent.left() + extent.width()} << 16) - 32768;
    int64_t const insideTop = (int64_t{extent.top()} << 16) - 32768;
    int64_t const insideBottom = (int64_t{extent.top() + extent.height()} << 16) - 32768;
    int64_t const clampLeft = int64_t{bounds.left()} << 16;
    int64_t const clampTop = int64_t{bounds.top()} << 16;
    int64_t const clampBottom = int64_t{bounds.bottom()} << 16;
    int const lastY = bounds.bottom();
    if (stepV == 0) {
        // No rotation or shear (every scaled draw): fixed rows, and the pixels inside form
        // one run since the column moves one way.
        if (sampleV < insideTop || sampleV >= insideBottom) {
            std::fill_n(out, count, 0u);
            return out;
        }
        auto const insideAt = [&](int i) {
            int64_t const sample = sampleU + int64_t{i} * stepU;
            return sample >= insideLeft && sample < insideRight;
        };
        auto const [begin, end] = BlackenOutsideRun(out, count, insideAt);
        int64_t const heldV = std::clamp(sampleV, clampTop, clampBottom);
        int const y0 = static_cast<int>(heldV >> 16);
        int64_t const left = int64_t{view.region.left()} << 16;
        CIBilinearSpan const span{
            sampleU + int64_t{begin} * stepU - left, stepU, bounds.left() - view.region.left(),
            bounds.right() - view.region.left(), static_cast<uint32_t>(heldV >> 8) & 0xFF};
        CIBilinearRow(view.rowAt(y0), view.rowAt(std::min(y0 + 1, lastY)), out + begin, end - begin,
                      span);
        return out;
    }
    // Turned or sheared: the pixels inside still form one run, since the sample moves along
    // a straight line through a rectangle.
    auto const insideAt = [&](int i) {
        int64_t const u = sampleU + int64_t{i} * stepU;
        int64_t const v = sampleV + int64_t{i} * stepV;
        return u >= insideLeft && u < insideRight && v >= insideTop && v < insideBottom;
    };
    auto const [begin, end] = BlackenOutsideRun(out, count, insideAt);
    // Positions measured from the first pixel that may be sampled.
    CIAffineSpan const span{sampleU + int64_t{begin} * stepU - clampLeft,
                            sampleV + int64_t{begin} * stepV - clampTop,
                            stepU,
                            stepV,
                            bounds.right() - bounds.left(),
                            bounds.bottom() - bounds.top()};
    unsigned char const* const corner = reinterpret_cast<unsigned char const*>(
        view.rowAt(bounds.top()) + (bounds.left() - view.region.left()));
    CIAffineBilinearRow(corner, view.rowBytes, out + begin, end - begin, span);
    return out;
}
