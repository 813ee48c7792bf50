#pragma once
// A recipe's leaf: 32-bit premultiplied ARGB pixels in memory, extent (0, 0, width, height).
// The memory is kept alive by `owner` (a copy the image owns, a shared QImage) or, with no
// owner, by whoever made the image.

#include <memory>

#include "platform/imaging/CIImageNode.h"

class CISourceNode final : public CIImageNode {
public:
    CISourceNode(void const* pixels, int width, int height, std::ptrdiff_t rowBytes,
                 std::shared_ptr<void const> owner);

    bool pixelView(CIPixelView& view) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    CIPixelView mView;
    std::shared_ptr<void const> mOwner;
};
