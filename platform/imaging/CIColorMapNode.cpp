#include "platform/imaging/CIColorMapNode.h"

CIColorMapNode::CIColorMapNode(std::shared_ptr<CIImageNode const> input, CIColorMap const& map)
    : CIImageNode(input->extent()),
      mInput(std::move(input)),
      mMap(map),
      mCoefficients(CIColorMapRowCoefficientsFrom(map)) {}

int CIColorMapNode::scratchRows() const { return mInput->scratchRows(); }

void CIColorMapNode::prepare(CIRenderState& state, QRect const& region) const {
    mInput->prepare(state, region & pixelExtent());
}

QString CIColorMapNode::description() const {
    return QString("colorMap(%1, %2)").arg(mMap.description(), mInput->description());
}

uint32_t const* CIColorMapNode::rowInside(CIRenderState& state, int y, int x, int count,
                                          uint32_t* out) const {
    // The input may hand back its own memory (a source); the result always goes to out.
    uint32_t const* pixels = mInput->row(state, y, x, count, out);
    CIColorMapRow(pixels, out, count, mCoefficients);
    return out;
}
