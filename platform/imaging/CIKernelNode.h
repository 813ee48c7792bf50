#pragma once
// A kernel applied to its sampler images and numbers: each output span is computed by the
// kernel's row routine from the samplers' pixels over the same span.

#include <memory>
#include <vector>

#include "platform/imaging/CIImageNode.h"
#include "platform/imaging/CIKernel.h"

class CIKernelNode final : public CIImageNode {
public:
    // A null sampler reads as transparent.
    CIKernelNode(QString name, CIKernelRoutine routine,
                 std::vector<std::shared_ptr<CIImageNode const>> samplers,
                 std::vector<float> numbers, QRectF const& extent);

    int scratchRows() const override;
    void prepare(CIRenderState& state, QRect const& region) const override;
    QString description() const override;

protected:
    uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                              uint32_t* out) const override;

private:
    static constexpr int kMaxSamplers = 8;

    QString mName;
    CIKernelRoutine mRoutine;
    std::vector<std::shared_ptr<CIImageNode const>> mSamplers;
    std::vector<float> mNumbers;
};
