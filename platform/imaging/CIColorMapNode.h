#pragma once
// Applies a colour map to every pixel of its input. A chain of colour filters becomes one
// such node (the maps are composed when the recipe is built), so it costs one pass.

#include <memory>

#include "platform/imaging/CIColorMap.h"
#include "platform/imaging/CIImageNode.h"
#include "platform/imaging/CIPixelKernels.h"

class CIColorMapNode final : public CIImageNode {
public:
    CIColorMapNode(std::shared_ptr<CIImageNode const> input, CIColorMap const& map);

    std::shared_ptr<CIImageNode const> const& input() const { return mInput; }
    CIColorMap const& map() const { return mMap; }
    int scratchRows() const override;
    void prepare(CIRenderState& state, QRect const& region) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    std::shared_ptr<CIImageNode const> mInput;
    CIColorMap mMap;
    CIColorMapRowCoefficients mCoefficients;  // with the tone tables, made once per recipe
};
