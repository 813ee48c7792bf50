#include "platform/imaging/CIColorMatrixNode.h"

CIColorMatrixNode::CIColorMatrixNode(std::shared_ptr<CIImageNode const> input,
                                     CIColorMatrix const& matrix)
    : CIImageNode(input->extent()),
      mInput(std::move(input)),
      mMatrix(matrix),
      mCoefficients(CIColorMatrixRowCoefficientsFrom(matrix)) {}

int CIColorMatrixNode::scratchRows() const { return mInput->scratchRows(); }

void CIColorMatrixNode::prepare(CIRenderState& state, QRect const& region) const {
    mInput->prepare(state, region & pixelExtent());
}

QString CIColorMatrixNode::description() const {
    return QString("colorMatrix(%1, %2)").arg(mMatrix.description(), mInput->description());
}

uint32_t const* CIColorMatrixNode::rowInside(CIRenderState& state, int y, int x, int count,
                                             uint32_t* out) const {
    // The input may hand back its own memory (a source); the result always goes to out.
    uint32_t const* pixels = mInput->row(state, y, x, count, out);
    CIColorMatrixRow(pixels, out, count, mCoefficients);
    return out;
}
