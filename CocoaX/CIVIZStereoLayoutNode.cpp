#include "CocoaX/CIVIZStereoLayoutNode.h"

#include <algorithm>
#include <cstring>

#include "CocoaX/CIVIZStereoLayoutRows.h"
#include "platform/imaging/CIRenderState.h"

namespace {

QRect EyeFrame(CIImageNode const& left, CIImageNode const& right) {
    return left.pixelExtent() | right.pixelExtent();
}

QRectF PictureExtent(QRect const& eye, CIVIZStereoFormat format) {
    return QRectF(eye.topLeft(), QSizeF(CIVIZStereoFormatPictureSize(format, eye.size())));
}

// Two scratch rows of `count` pixels for an output row made from two source rows; false,
// with `out` left black, when the render state has none left.
bool TakeTwoScratchRows(CIRenderState& state, int count, uint32_t* out, uint32_t*& first,
                        uint32_t*& second) {
    first = state.takeScratch(count);
    second = state.takeScratch(count);
    if (first == nullptr || second == nullptr) {
        std::fill_n(out, count, 0u);
        return false;
    }
    return true;
}

}  // namespace

CIVIZStereoLayoutNode::CIVIZStereoLayoutNode(std::shared_ptr<CIImageNode const> left,
                                             std::shared_ptr<CIImageNode const> right,
                                             CIVIZStereoFormat format, bool swapped)
    : CIImageNode(PictureExtent(EyeFrame(*left, *right), format)),
      mFirst(swapped ? right : left),
      mSecond(swapped ? left : right),
      mFormat(format),
      mSwapped(swapped),
      mEye(EyeFrame(*left, *right)) {
    // Crossed: the second eye is shown on the left.
    if (format == CIVIZStereoFormat::kSideBySideCrossed) {
        std::swap(mFirst, mSecond);
    }
}

int CIVIZStereoLayoutNode::scratchRows() const {
    // Up to two rows of the eyes at once, each at most twice the span (a squeezed eye), and
    // the eyes' own scratch for such a row.
    int const deepest = std::max(mFirst->scratchRows(), mSecond->scratchRows());
    return 2 * (2 + deepest);
}

void CIVIZStereoLayoutNode::prepare(CIRenderState& state, QRect const& region) const {
    if ((region & pixelExtent()).isEmpty()) {
        return;
    }
    // A layout reads anywhere in the eyes: they are made ready whole.
    mFirst->prepare(state, mFirst->pixelExtent());
    mSecond->prepare(state, mSecond->pixelExtent());
}

QString CIVIZStereoLayoutNode::description() const {
    return QString("stereoLayout(%1%2, %3, %4)")
        .arg(static_cast<int>(mFormat))
        .arg(mSwapped ? ", swapped" : "")
        .arg(mFirst->description(), mSecond->description());
}

void CIVIZStereoLayoutNode::eyeRow(CIRenderState& state, CIImageNode const& eye, int y, int x,
                                   int count, uint32_t* out) const {
    uint32_t const* pixels = eye.row(state, mEye.top() + y, mEye.left() + x, count, out);
    if (pixels != out) {
        std::memcpy(out, pixels, static_cast<size_t>(count) * sizeof(uint32_t));
    }
}

void CIVIZStereoLayoutNode::squeezedRow(CIRenderState& state, CIImageNode const& eye, int y, int x,
                                        int count, uint32_t* out) const {
    if (count <= 0) {
        return;
    }
    CIRenderState::Scope scope(state);
    uint32_t* source = state.takeScratch(2 * count);
    if (source == nullptr) {
        std::fill_n(out, count, 0u);
        return;
    }
    uint32_t const* pixels = eye.row(state, mEye.top() + y, mEye.left() + 2 * x, 2 * count, source);
    StereoSqueezeRow(pixels, out, count);
}

uint32_t const* CIVIZStereoLayoutNode::rowInside(CIRenderState& state, int y, int x, int count,
                                                 uint32_t* out) const {
    // Coordinates within the picture.
    int const py = y - mEye.top();
    int const px = x - mEye.left();
    int const width = mEye.width();
    int const height = mEye.height();
    CIImageNode const& first = *mFirst;
    CIImageNode const& second = *mSecond;
    switch (mFormat) {
        case CIVIZStereoFormat::kSideBySide:
        case CIVIZStereoFormat::kSideBySideCrossed: {
            int const split = std::clamp(width - px, 0, count);  // pixels from the first eye
            eyeRow(state, first, py, px, split, out);
            eyeRow(state, second, py, px + split - width, count - split, out + split);
            return out;
        }
        case CIVIZStereoFormat::kSideBySideHalf: {
            int const half = width / 2;
            int const split = std::clamp(half - px, 0, count);
            squeezedRow(state, first, py, px, split, out);
            squeezedRow(state, second, py, px + split - half, count - split, out + split);
            return out;
        }
        case CIVIZStereoFormat::kTopBottom:
            return py < height ? first.row(state, y, x, count, out)
                               : second.row(state, y - height, x, count, out);
        case CIVIZStereoFormat::kTopBottomHalf: {
            int const half = height / 2;
            CIImageNode const& eye = py < half ? first : second;
            int const top = mEye.top() + 2 * (py < half ? py : py - half);
            CIRenderState::Scope scope(state);
            uint32_t* upper = nullptr;
            uint32_t* lower = nullptr;
            if (!TakeTwoScratchRows(state, count, out, upper, lower)) {
                return out;
            }
            StereoAverageRows(eye.row(state, top, x, count, upper),
                              eye.row(state, top + 1, x, count, lower), out, count);
            return out;
        }
        case CIVIZStereoFormat::kRowInterleaved:
            return ((py & 1) == 0 ? first : second).row(state, y, x, count, out);
        case CIVIZStereoFormat::kColumnInterleaved:
        case CIVIZStereoFormat::kCheckerboard: {
            int const phase =
                mFormat == CIVIZStereoFormat::kCheckerboard ? ((px + py) & 1) : (px & 1);
            CIRenderState::Scope scope(state);
            uint32_t* a = nullptr;
            uint32_t* b = nullptr;
            if (!TakeTwoScratchRows(state, count, out, a, b)) {
                return out;
            }
            StereoAlternateRow(first.row(state, y, x, count, a), second.row(state, y, x, count, b),
                               out, count, phase);
            return out;
        }
        default:
            std::fill_n(out, count, 0u);  // anaglyphs are the kernel's
            return out;
    }
}
