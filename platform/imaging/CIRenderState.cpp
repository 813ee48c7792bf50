#include "platform/imaging/CIRenderState.h"

#include <cstring>

#include "CoreX/CoreMachDebugLog.h"

namespace {

// Scratch rows start on 16-byte boundaries.
std::size_t RoundedCount(int count) {
    return (static_cast<std::size_t>(count) + 3) & ~std::size_t{3};
}

}  // namespace

CIRenderState::CIRenderState() = default;
CIRenderState::~CIRenderState() = default;

void CIRenderState::beginDraw() {
    mIntermediates.clear();
    mBuffersUsed = 0;
    mScratchTop = 0;
}

void CIRenderState::renderRows(CIImageNode const& node, QRect const& region, unsigned char* pixels,
                               std::ptrdiff_t rowBytes) {
    VERIFY(mScratchTop == 0);
    mScratchTop = 0;
    std::size_t const needed =
        static_cast<std::size_t>(node.scratchRows()) * RoundedCount(region.width());
    if (mScratch.size() < needed) {
        mScratch.resize(needed);
    }
    int const width = region.width();
    for (int y = 0; y < region.height(); ++y) {
        auto* destination = reinterpret_cast<uint32_t*>(pixels + y * rowBytes);
        uint32_t const* source =
            node.row(*this, region.top() + y, region.left(), width, destination);
        if (source != destination) {
            std::memcpy(destination, source, static_cast<std::size_t>(width) * sizeof(uint32_t));
        }
    }
}

uint32_t* CIRenderState::takeScratch(int count) {
    std::size_t const rounded = RoundedCount(count);
    bool const fits = mScratchTop + rounded <= mScratch.size();
    VERIFY(fits);
    if (!fits) {
        return nullptr;
    }
    uint32_t* row = mScratch.data() + mScratchTop;
    mScratchTop += rounded;
    return row;
}

void CIRenderState::materialize(CIImageNode const& node, QRect const& requested) {
    QRect region = requested & node.pixelExtent();
    if (region.isEmpty()) {
        return;
    }
    std::size_t index = mIntermediates.size();
    for (std::size_t i = 0; i < mIntermediates.size(); ++i) {
        if (mIntermediates[i].node == &node) {
            index = i;
        }
    }
    std::size_t buffer;
    if (index < mIntermediates.size()) {
        if (mIntermediates[index].view.region.contains(region)) {
            return;
        }
        region |= mIntermediates[index].view.region;
        buffer = mIntermediates[index].buffer;
    } else {
        if (mBuffersUsed == mBuffers.size()) {
            mBuffers.push_back(std::make_unique<std::vector<uint32_t>>());
        }
        buffer = mBuffersUsed++;
        mIntermediates.push_back({&node, CIPixelView(), buffer});
    }
    std::vector<uint32_t>& pixels = *mBuffers[buffer];
    std::size_t const pixelCount =
        static_cast<std::size_t>(region.width()) * static_cast<std::size_t>(region.height());
    if (pixels.size() < pixelCount) {
        pixels.resize(pixelCount);
    }
    CIPixelView& view = mIntermediates[index].view;
    view.base = reinterpret_cast<unsigned char const*>(pixels.data());
    view.rowBytes = static_cast<std::ptrdiff_t>(region.width()) * 4;
    view.region = region;
    renderRows(node, region, reinterpret_cast<unsigned char*>(pixels.data()), view.rowBytes);
}

CIPixelView const* CIRenderState::viewOf(CIImageNode const* node) const {
    for (Intermediate const& intermediate : mIntermediates) {
        if (intermediate.node == node) {
            return &intermediate.view;
        }
    }
    return nullptr;
}
