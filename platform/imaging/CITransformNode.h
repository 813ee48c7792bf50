#pragma once
// Places its input under an affine transform (image coordinates, origin top-left, y down).
// Transforms that map pixels onto pixels (integer translations, mirrors) move pixels exactly;
// any other is sampled bilinearly at each output pixel's centre, with sample positions held
// to the input's edge pixels so that a scaled picture has no transparent fringe.

#include <memory>

#include <QTransform>

#include "platform/imaging/CIImageNode.h"

class CITransformNode final : public CIImageNode {
public:
    CITransformNode(std::shared_ptr<CIImageNode const> input, QTransform const& transform);

    // True when `transform` maps pixel centres onto pixel centres (scales of +-1, no
    // rotation, whole-pixel translation), so the input's pixels move without resampling.
    static bool isPixelExact(QTransform const& transform);

    std::shared_ptr<CIImageNode const> const& input() const { return mInput; }
    QTransform const& transform() const { return mTransform; }
    int scratchRows() const override;
    void prepare(CIRenderState& state, QRect const& region) const override;
    bool pixelView(CIPixelView& view) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    uint32_t const* exactRow(CIRenderState& state, int y, int x, int count, uint32_t* out) const;
    uint32_t const* sampledRow(CIRenderState& state, int y, int x, int count, uint32_t* out) const;
    QRect inputRegion(QRect const& region) const;

    std::shared_ptr<CIImageNode const> mInput;
    QTransform mTransform;
    QTransform mInverse;
    bool mExact;
    // Exact mode: output pixel (x, y) comes from input pixel
    // (mFlipX ? mDx - 1 - x : x - mDx, mFlipY ? mDy - 1 - y : y - mDy).
    bool mFlipX = false;
    bool mFlipY = false;
    int mDx = 0;
    int mDy = 0;
};
