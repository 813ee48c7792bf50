#pragma once
// What a context needs while it renders a recipe: a stack of scratch rows, and the
// intermediates that sampling nodes made ready. A context keeps one and reuses its memory
// from draw to draw, so a steady stream of frames allocates nothing once warmed up.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <QRect>

#include "platform/imaging/CIImageNode.h"

class CIRenderState {
public:
    CIRenderState();
    ~CIRenderState();
    CIRenderState(CIRenderState const&) = delete;
    CIRenderState& operator=(CIRenderState const&) = delete;

    // Starts a draw: forgets the last draw's intermediates, keeping their memory.
    void beginDraw();

    // Renders `node`'s pixels of `region` into rows of memory; the one row loop of the
    // library. Never called while scratch rows are taken.
    void renderRows(CIImageNode const& node, QRect const& region, unsigned char* pixels,
                    std::ptrdiff_t rowBytes);

    // A scratch row of `count` pixels from the top of the stack; null (logged) if the
    // arena is short, which the row loop's reservation rules out.
    uint32_t* takeScratch(int count);

    // Gives back the scratch rows taken while it lived.
    class Scope {
    public:
        explicit Scope(CIRenderState& state) : mState(state), mMark(state.mScratchTop) {}
        ~Scope() { mState.mScratchTop = mMark; }
        Scope(Scope const&) = delete;
        Scope& operator=(Scope const&) = delete;

    private:
        CIRenderState& mState;
        std::size_t mMark;
    };

    // Renders `node` over `region` into memory kept for this draw, so that it can be sampled
    // anywhere inside. Called from prepare; a second call for a region not yet covered
    // renders the union.
    void materialize(CIImageNode const& node, QRect const& region);
    // The pixels materialize made for `node`, or null.
    CIPixelView const* viewOf(CIImageNode const* node) const;

private:
    struct Intermediate {
        CIImageNode const* node;
        CIPixelView view;
        std::size_t buffer;  // index into mBuffers
    };

    std::vector<uint32_t> mScratch;
    std::size_t mScratchTop = 0;
    std::vector<Intermediate> mIntermediates;
    std::vector<std::unique_ptr<std::vector<uint32_t>>> mBuffers;  // reused between draws
    std::size_t mBuffersUsed = 0;
};
