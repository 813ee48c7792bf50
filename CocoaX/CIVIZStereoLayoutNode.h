#pragma once
// The stereo layouts (side by side, top-bottom, row, column and checkerboard interleaving) as
// one recipe step over the two eyes: each output span is made from the eyes' rows in one
// pass, squeezing where the layout halves an eye. Swapped, the right eye takes the left
// eye's place and the left eye the right's.

#include <memory>

#include "CocoaX/CIVIZStereoFormat.h"
#include "platform/imaging/CIImageNode.h"

class CIVIZStereoLayoutNode final : public CIImageNode {
public:
    // The picture sits where the eyes do (the top left of their union) and has the
    // format's size for eyes of that union's size. `format` is not an anaglyph.
    CIVIZStereoLayoutNode(std::shared_ptr<CIImageNode const> left,
                          std::shared_ptr<CIImageNode const> right, CIVIZStereoFormat format,
                          bool swapped);

    int scratchRows() const override;
    void prepare(CIRenderState& state, QRect const& region) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    // Pixels x .. x + count - 1 of `eye`'s row y (picture coordinates of one eye) into out.
    void eyeRow(CIRenderState& state, CIImageNode const& eye, int y, int x, int count,
                uint32_t* out) const;
    void squeezedRow(CIRenderState& state, CIImageNode const& eye, int y, int x, int count,
                     uint32_t* out) const;

    std::shared_ptr<CIImageNode const> mFirst;  // shown left, top, or at even positions
    std::shared_ptr<CIImageNode const> mSecond;
    CIVIZStereoFormat mFormat;
    bool mSwapped;
    QRect mEye;  // the eyes' frame
};
