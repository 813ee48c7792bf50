#pragma once
// One step of an image recipe (a source, a crop, a transform, a colour map, a kernel). A node
// computes its pixels one row span at a time when a context asks, so a whole recipe renders
// in one pass over the destination, row by row, with no full-size intermediates except where
// a node samples its input away from its own pixels (a scaling transform).

#include <cstddef>
#include <cstdint>

#include <QRect>
#include <QRectF>
#include <QString>

class CIRenderState;

// Pixels held in memory: a source image's, or an intermediate made ready for sampling.
struct CIPixelView {
    unsigned char const* base = nullptr;  // pixel region.topLeft()
    std::ptrdiff_t rowBytes = 0;          // negative for bottom-up memory
    QRect region;                         // the pixels the view holds, in image coordinates

    uint32_t const* rowAt(int y) const {
        return reinterpret_cast<uint32_t const*>(base + (y - region.top()) * rowBytes);
    }
};

// The pixels whose centres lie inside `rect` (a pixel (x, y) covers x..x+1, y..y+1).
// Coordinates are bounded to +-2^30, so the "everything" rectangle stays representable.
QRect CIPixelSpan(QRectF const& rect);

class CIImageNode {
public:
    explicit CIImageNode(QRectF const& extent);
    virtual ~CIImageNode();
    CIImageNode(CIImageNode const&) = delete;
    CIImageNode& operator=(CIImageNode const&) = delete;

    QRectF const& extent() const { return mExtent; }
    // The pixels this node can have; all others are transparent.
    QRect const& pixelExtent() const { return mPixelExtent; }

    // Rows of scratch this node and its inputs take from the render arena while rendering
    // one span (each row as wide as the span).
    virtual int scratchRows() const { return 0; }
    // Called once per draw before any row, with the pixels that will be asked for. A node
    // that samples its input elsewhere than at its own pixels makes those ready here.
    virtual void prepare(CIRenderState& state, QRect const& region) const;
    // Fills `view` when the node's pixels sit in memory (a source image).
    virtual bool pixelView(CIPixelView& view) const;
    // The recipe below and including this node, for logs and tests.
    virtual QString description() const = 0;

    // Pixels x .. x + count - 1 of row y. They are written to `out` (count pixels), or the
    // result points into memory that stays valid for the rest of the draw (never into the
    // render arena). Pixels outside the pixel extent are transparent (0).
    uint32_t const* row(CIRenderState& state, int y, int x, int count, uint32_t* out) const;

protected:
    // The same for a span that lies wholly inside the pixel extent.
    virtual uint32_t const* rowInside(CIRenderState& state, int y, int x, int count,
                                      uint32_t* out) const = 0;

private:
    QRectF mExtent;
    QRect mPixelExtent;
};
