#pragma once
// Applies a colour matrix to every pixel of its input. A chain of colour filters becomes one
// such node (the matrices are composed when the recipe is built), so it costs one pass.

#include <memory>

#include "platform/imaging/CIColorMatrix.h"
#include "platform/imaging/CIImageNode.h"
#include "platform/imaging/CIPixelKernels.h"

class CIColorMatrixNode final : public CIImageNode {
public:
    CIColorMatrixNode(std::shared_ptr<CIImageNode const> input, CIColorMatrix const& matrix);

    std::shared_ptr<CIImageNode const> const& input() const { return mInput; }
    CIColorMatrix const& matrix() const { return mMatrix; }
    int scratchRows() const override;
    void prepare(CIRenderState& state, QRect const& region) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    std::shared_ptr<CIImageNode const> mInput;
    CIColorMatrix mMatrix;
    CIColorMatrixRowCoefficients mCoefficients;
};
