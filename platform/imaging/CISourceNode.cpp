#include "platform/imaging/CISourceNode.h"

CISourceNode::CISourceNode(void const* pixels, int width, int height, std::ptrdiff_t rowBytes,
                           std::shared_ptr<void const> owner)
    : CIImageNode(QRectF(0.0, 0.0, width, height)), mOwner(std::move(owner)) {
    mView.base = static_cast<unsigned char const*>(pixels);
    mView.rowBytes = rowBytes;
    mView.region = QRect(0, 0, width, height);
}

bool CISourceNode::pixelView(CIPixelView& view) const {
    view = mView;
    return true;
}

QString CISourceNode::description() const {
    return QString("source(%1x%2)").arg(mView.region.width()).arg(mView.region.height());
}

uint32_t const* CISourceNode::rowInside(CIRenderState&, int y, int x, int, uint32_t*) const {
    // Straight from memory: no copy unless the caller needs one.
    return mView.rowAt(y) + (x - mView.region.left());
}
