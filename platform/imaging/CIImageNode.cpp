#include "platform/imaging/CIImageNode.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

double const kCoordinateBound = 1073741824.0;  // 2^30

int FirstCentreAtOrAfter(double edge) {
    return static_cast<int>(std::ceil(std::clamp(edge, -kCoordinateBound, kCoordinateBound) - 0.5));
}

}  // namespace

QRect CIPixelSpan(QRectF const& rect) {
    if (!(rect.width() > 0.0) || !(rect.height() > 0.0)) {
        return QRect();
    }
    int const left = FirstCentreAtOrAfter(rect.left());
    int const top = FirstCentreAtOrAfter(rect.top());
    // Right and bottom edges are exclusive: a centre exactly on them is outside.
    int const right = FirstCentreAtOrAfter(rect.x() + rect.width());
    int const bottom = FirstCentreAtOrAfter(rect.y() + rect.height());
    if (right <= left || bottom <= top) {
        return QRect();
    }
    return QRect(left, top, right - left, bottom - top);
}

CIImageNode::CIImageNode(QRectF const& extent)
    : mExtent(extent), mPixelExtent(CIPixelSpan(extent)) {}

CIImageNode::~CIImageNode() = default;

void CIImageNode::prepare(CIRenderState&, QRect const&) const {}

bool CIImageNode::pixelView(CIPixelView&) const { return false; }

uint32_t const* CIImageNode::row(CIRenderState& state, int y, int x, int count,
                                 uint32_t* out) const {
    int const left = mPixelExtent.left();
    int const right = left + mPixelExtent.width();
    int const x0 = std::max(x, left);
    int const x1 = std::min(x + count, right);
    if (count <= 0 || mPixelExtent.isEmpty() || y < mPixelExtent.top() ||
        y > mPixelExtent.bottom() || x1 <= x0) {
        std::fill_n(out, std::max(count, 0), 0u);
        return out;
    }
    if (x0 == x && x1 == x + count) {
        return rowInside(state, y, x, count, out);
    }
    std::fill_n(out, x0 - x, 0u);
    uint32_t* inner = out + (x0 - x);
    uint32_t const* pixels = rowInside(state, y, x0, x1 - x0, inner);
    if (pixels != inner) {
        std::memcpy(inner, pixels, static_cast<size_t>(x1 - x0) * sizeof(uint32_t));
    }
    std::fill_n(out + (x1 - x), x + count - x1, 0u);
    return out;
}
