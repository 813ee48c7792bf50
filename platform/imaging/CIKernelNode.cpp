#include "platform/imaging/CIKernelNode.h"

#include <algorithm>

#include "platform/imaging/CIRenderState.h"

CIKernelNode::CIKernelNode(QString name, CIKernelRoutine routine,
                           std::vector<std::shared_ptr<CIImageNode const>> samplers,
                           std::vector<float> numbers, QRectF const& extent)
    : CIImageNode(extent),
      mName(std::move(name)),
      mRoutine(routine),
      mSamplers(std::move(samplers)),
      mNumbers(std::move(numbers)) {}

int CIKernelNode::scratchRows() const {
    int deepest = 0;
    for (auto const& sampler : mSamplers) {
        if (sampler) {
            deepest = std::max(deepest, sampler->scratchRows());
        }
    }
    // One row per sampler, held while the later samplers render theirs.
    return static_cast<int>(mSamplers.size()) + deepest;
}

void CIKernelNode::prepare(CIRenderState& state, QRect const& region) const {
    for (auto const& sampler : mSamplers) {
        if (sampler) {
            sampler->prepare(state, region & pixelExtent());
        }
    }
}

QString CIKernelNode::description() const {
    QStringList arguments;
    for (auto const& sampler : mSamplers) {
        arguments << (sampler ? sampler->description() : QString("empty"));
    }
    for (float number : mNumbers) {
        arguments << QString::number(number);
    }
    return QString("kernel %1(%2)").arg(mName, arguments.join(", "));
}

uint32_t const* CIKernelNode::rowInside(CIRenderState& state, int y, int x, int count,
                                        uint32_t* out) const {
    CIRenderState::Scope scope(state);
    uint32_t const* rows[kMaxSamplers] = {};
    for (std::size_t i = 0; i < mSamplers.size(); ++i) {
        uint32_t* scratch = state.takeScratch(count);
        if (scratch == nullptr) {
            std::fill_n(out, count, 0u);
            return out;
        }
        if (mSamplers[i]) {
            rows[i] = mSamplers[i]->row(state, y, x, count, scratch);
        } else {
            std::fill_n(scratch, count, 0u);
            rows[i] = scratch;
        }
    }
    CIKernelRow const row{y, x, count, out, rows, mNumbers.data()};
    mRoutine(row);
    return out;
}
