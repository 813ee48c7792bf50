#pragma once
// Keeps the pixels of its input whose centres lie inside a rectangle.

#include <memory>

#include "platform/imaging/CIImageNode.h"

class CICropNode final : public CIImageNode {
public:
    CICropNode(std::shared_ptr<CIImageNode const> input, QRectF const& rect);

    std::shared_ptr<CIImageNode const> const& input() const { return mInput; }
    int scratchRows() const override;
    void prepare(CIRenderState& state, QRect const& region) const override;
    bool pixelView(CIPixelView& view) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    std::shared_ptr<CIImageNode const> mInput;
};
