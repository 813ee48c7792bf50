#include "platform/imaging/CICropNode.h"

CICropNode::CICropNode(std::shared_ptr<CIImageNode const> input, QRectF const& rect)
    : CIImageNode(rect & input->extent()), mInput(std::move(input)) {}

int CICropNode::scratchRows() const { return mInput->scratchRows(); }

void CICropNode::prepare(CIRenderState& state, QRect const& region) const {
    mInput->prepare(state, region & pixelExtent());
}

bool CICropNode::pixelView(CIPixelView& view) const {
    // A crop of memory is the same memory, less of it.
    CIPixelView whole;
    if (!mInput->pixelView(whole)) {
        return false;
    }
    QRect const region = whole.region & pixelExtent();
    if (region.isEmpty()) {
        return false;
    }
    view.base = reinterpret_cast<unsigned char const*>(whole.rowAt(region.top()) +
                                                       (region.left() - whole.region.left()));
    view.rowBytes = whole.rowBytes;
    view.region = region;
    return true;
}

QString CICropNode::description() const {
    QRect const& pixels = pixelExtent();
    return QString("crop(%1,%2 %3x%4, %5)")
        .arg(pixels.x())
        .arg(pixels.y())
        .arg(pixels.width())
        .arg(pixels.height())
        .arg(mInput->description());
}

uint32_t const* CICropNode::rowInside(CIRenderState& state, int y, int x, int count,
                                      uint32_t* out) const {
    // Inside the crop is inside the input, so this passes the input's pixels through.
    return mInput->row(state, y, x, count, out);
}
