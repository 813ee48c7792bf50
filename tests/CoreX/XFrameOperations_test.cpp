// The frame operations: one known value for the rounding of each form, the argument checks,
// and every vector form's SSE2 and AVX2 kernels against the scalar reference of the same
// arithmetic on random frames of odd sizes, padded and bottom-up rows.

#include "CoreX/XFrameOperations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/support/TestLogCapture.h"

namespace {

// Row bytes rounded up to the vector alignment.
int32_t AlignedRowBytes(int width) { return (width * 4 + 15) / 16 * 16; }

// A frame in a block of its own, so AddressSanitizer reports any read or write past it. `offset`
// bytes of the block come before the frame (a non-multiple of 16 makes the first row unaligned); a
// negative rowBytes stores the frame bottom-up. Either way the block ends exactly where the frame's
// last stored byte ends.
class FlushFrame {
public:
    FlushFrame(int width, int height, int32_t rowBytes, size_t offset = 0,
               XFrame_Pel_Format type = kXFrame_Pel_8RGB) {
        int32_t const stride = rowBytes < 0 ? -rowBytes : rowBytes;
        mSize = offset + size_t(height - 1) * size_t(stride) + size_t(width) * 4;
        void* block = nullptr;
        if (posix_memalign(&block, 16, mSize) != 0) {
            std::abort();
        }
        mBlock.reset(static_cast<uint8_t*>(block));
        mFrame.Width = width;
        mFrame.Height = height;
        mFrame.PixelType = type;
        mFrame.BytesPerPixel = 4;
        mFrame.RowBytes = rowBytes;
        mFrame.Pixels = mBlock.get() + offset + (rowBytes < 0 ? size_t(height - 1) * stride : 0);
    }

    XFrameBuffer& operator*() { return mFrame; }
    XFrameBuffer* operator->() { return &mFrame; }

    void Randomize(std::mt19937& random) {
        std::generate(mBlock.get(), mBlock.get() + mSize, [&] { return uint8_t(random()); });
    }
    void Fill(uint8_t value) { std::fill(mBlock.get(), mBlock.get() + mSize, value); }
    // Every byte of the block, row padding included.
    std::vector<uint8_t> Bytes() const { return {mBlock.get(), mBlock.get() + mSize}; }
    uint8_t* Pixel(int x, int y) { return mFrame.Pixels + intptr_t(y) * mFrame.RowBytes + 4 * x; }
    // Sets all four bytes of every pixel of row y.
    void SetRow(int y, uint8_t value) { std::memset(Pixel(0, y), value, 4 * mFrame.Width); }

private:
    std::unique_ptr<uint8_t, decltype(&std::free)> mBlock{nullptr, &std::free};
    size_t mSize = 0;
    XFrameBuffer mFrame;
};

// Selects a kernel set for one scope.
class KernelSetScope {
public:
    explicit KernelSetScope(XFrameKernelSet set)
        : mSaved(XFrame_CurrentKernelSet()), mInUse(XFrame_UseKernelSet(set)) {}
    ~KernelSetScope() { XFrame_UseKernelSet(mSaved); }
    bool Got(XFrameKernelSet set) const { return mInUse == set; }

private:
    XFrameKernelSet mSaved;
    XFrameKernelSet mInUse;
};

using F = XFrameBuffer;
using Rows = std::vector<int>;

constexpr XFrameKernelSet kAllSets[] = {XFrameKernelSet::Reference, XFrameKernelSet::SSE2,
                                        XFrameKernelSet::AVX2};

// Width 16 gives 64-byte rows: whole SSE2 and AVX2 steps, so known values test the SIMD
// kernels too and not only their tails.
constexpr int kWide = 16;

// A frame whose row y holds the value rows[y] in every byte. An offset of 4 starts it past a
// 16-byte boundary, so the vector forms refuse it and the portable entries run their own loops.
struct RowFrame {
    RowFrame(std::vector<uint8_t> const& rows, int32_t rowBytes = AlignedRowBytes(kWide),
             size_t offset = 0)
        : frame(kWide, int(rows.size()), rowBytes, offset) {
        frame.Fill(0xEE);
        for (size_t y = 0; y < rows.size(); ++y) {
            frame.SetRow(int(y), rows[y]);
        }
    }
    // The row values, or -1 for a row whose bytes are not all alike.
    Rows Values() {
        Rows values;
        for (int y = 0; y < frame->Height; ++y) {
            uint8_t const* row = frame.Pixel(0, y);
            bool const alike =
                std::all_of(row, row + 4 * kWide, [&](uint8_t b) { return b == *row; });
            values.push_back(alike ? *row : -1);
        }
        return values;
    }
    FlushFrame frame;
};

// --- Known values of each form --------------------------------------------------------------

// One operation on frames of rows (a, b, and a destination that starts as a copy of a), with
// the destination rows it gives in every kernel set and, where the portable entry has its
// own truncating loop, on unaligned frames.
struct Frames {
    F& a;
    F& b;
    F& d;
    double& motion;
};
struct RowCase {
    char const* name;
    std::vector<uint8_t> a, b;
    std::function<bool(Frames)> call;
    Rows vector;
    Rows portable;  // empty: no portable loop
};

TEST(XFrameKnownValues, EachFormRoundsItsOwnWay) {
    auto const deinterlace = [](XFrameFilters filters) {
        return [filters](Frames f) { return XFrame_Deinterlace(f.a, f.d, filters); };
    };
    auto const bottomInPlace = [](Frames f) { return XFrame_OneFieldOnly(f.d, f.d, 1); };
    auto const swap = [](Frames f) { return XFrame_SwapFields_Altivec(f.d); };
    auto const adaptive = [](Frames f) {
        return XFrame_DeInterlaceAdaptive_Altivec(f.d, f.d, f.motion);
    };
    auto const diff = [](Frames f) { return XFrame_DifferenceDelta_Altivec(f.a, f.b, f.d); };
    // Weights in single precision, truncated toward zero and saturated; NaN gives zero.
    auto const blend = [](Frames f) { return XFrame_BlendFrames_Altivec(f.a, 0.5, f.b, 1, f.d); };
    auto const blendNaN = [](Frames f) {
        return XFrame_BlendFrames_Altivec(f.a, NAN, f.b, 1, f.d);
    };
    // The de-interlace flags: 0x08 wins (type A); blending wins over one field (0x30: type
    // B); top over bottom. The vector forms round up, the portable loops truncate. Type A
    // averages the outer rows, then with the middle one (row 0 sees itself above); one field
    // is rebuilt from its rows (the bottom one starts with row 1) and repeats its last row.
    RowCase const cases[] = {
        {"TypeA", {1, 2, 4, 7}, {}, deinterlace(0x18), {2, 3, 5, 7}, {1, 2, 4, 6}},
        {"TypeB", {1, 2, 4, 7}, {}, deinterlace(0x30), {2, 2, 6, 6}, {1, 1, 5, 5}},
        {"TopField", {1, 2, 4, 7}, {}, deinterlace(0x60), {1, 3, 4, 4}, {1, 2, 4, 4}},
        {"BottomField", {1, 2, 4, 7}, {}, deinterlace(0x40), {2, 5, 7, 7}, {2, 4, 7, 7}},
        {"BottomFieldInPlace", {10, 20, 30, 41}, {}, bottomInPlace, {20, 31, 41, 41}, {}},
        // Adaptive, in place: still rows are kept; combed fields disagree by 200, so the bottom
        // one is rebuilt from the top.
        {"AdaptiveStill", {10, 20, 30, 40}, {}, adaptive, {10, 20, 30, 40}, {}},
        {"AdaptiveCombed", {0, 200, 0, 200}, {}, adaptive, {0, 0, 0, 0}, {}},
        {"SwapFieldsOddHeight", {1, 2, 3, 4, 5}, {}, swap, {2, 1, 4, 3, 5}, {}},
        {"Difference", {3, 250, 7, 0}, {250, 3, 7, 255}, diff, {247, 247, 0, 255}, {}},
        {"Blend", {3, 200, 100, 10}, {4, 200, 20, 250}, blend, {5, 255, 70, 255}, {}},
        {"BlendNaN", {3, 200, 100, 10}, {4, 200, 20, 250}, blendNaN, {0, 0, 0, 0}, {}},
    };
    for (RowCase const& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> const b = c.b.empty() ? c.a : c.b;
        double motion;
        for (XFrameKernelSet set : kAllSets) {
            KernelSetScope scope(set);
            RowFrame a(c.a), other(b), dst(c.a);
            ASSERT_TRUE(c.call({*a.frame, *other.frame, *dst.frame, motion}));
            EXPECT_EQ(dst.Values(), c.vector) << XFrame_KernelSetName(set);
        }
        if (!c.portable.empty()) {
            int32_t const rowBytes = AlignedRowBytes(kWide);
            RowFrame a(c.a, rowBytes, 4), other(b, rowBytes, 4), dst(c.a, rowBytes, 4);
            ASSERT_TRUE(c.call({*a.frame, *other.frame, *dst.frame, motion}));
            EXPECT_EQ(dst.Values(), c.portable) << "portable";
        }
    }
}

// --- The de-interlace entry ----------------------------------------------------------------

TEST(XFrameDeinterlace, RefusesNoMethodReservedFlagsOddHeightsAndMismatchedFrames) {
    // No method, or a reserved flag whatever else is set.
    for (XFrameFilters filters : {0x00, 0x01, 0x09, 0x12, 0x24}) {
        RowFrame src({1, 2, 4, 7}), dst({0, 0, 0, 0});
        EXPECT_FALSE(XFrame_Deinterlace(*src.frame, *dst.frame, filters)) << filters;
        EXPECT_EQ(dst.Values(), (Rows{0, 0, 0, 0})) << filters;
    }
    RowFrame odd({1, 2, 3}), oddOut({0, 0, 0});
    EXPECT_FALSE(XFrame_Deinterlace(*odd.frame, *oddOut.frame, 0x08));
    EXPECT_FALSE(XFrame_OneFieldOnly(*odd.frame, *oddOut.frame, 0));
    EXPECT_EQ(oddOut.Values(), (Rows{0, 0, 0}));

    RowFrame src({1, 2, 3, 4}), padded({0, 0, 0, 0}, AlignedRowBytes(kWide) + 16);
    EXPECT_FALSE(XFrame_Deinterlace(*src.frame, *padded.frame, 0x10)) << "row bytes differ";
    RowFrame yuv({0, 0, 0, 0});
    yuv.frame->PixelType = kXFrame_Pel_RYUV;
    EXPECT_FALSE(XFrame_Deinterlace(*src.frame, *yuv.frame, 0x10)) << "pixel types differ";
}

// --- Copy and blacken ---------------------------------------------------------------------

TEST(XFrameCopyBufferMemory, CopiesRowsOnlyEvenOverlappingAndRefusesOtherRowBytes) {
    TestLogCapture log;
    // Rows of 80 bytes hold 64 bytes of pixels and 16 of padding.
    RowFrame src({1, 2, 3}, 80), other({0, 0, 0}, 96), same({0, 0, 0}, 80);
    src.frame.Pixel(kWide, 0)[0] = 0x55;
    EXPECT_FALSE(XFrame_CopyBufferMemory(*src.frame, *other.frame));
    EXPECT_EQ(other.Values(), (Rows{0, 0, 0}));
    EXPECT_TRUE(
        log.Contains("VERIFY FAILED:  code : Source==Destination in CoreX/XFrameOperations.cpp:"));
    ASSERT_TRUE(XFrame_CopyBufferMemory(*src.frame, *same.frame));
    EXPECT_EQ(same.Values(), (Rows{1, 2, 3}));
    EXPECT_EQ(same.frame.Pixel(kWide, 0)[0], 0xEE) << "row padding is not copied";

    // The destination one row below the source in the same memory.
    RowFrame both({10, 11, 12, 13});
    XFrameBuffer upper = *both.frame;
    upper.Height = 3;
    XFrameBuffer lower = upper;
    lower.Pixels += upper.RowBytes;
    ASSERT_TRUE(XFrame_CopyBufferMemory(upper, lower));
    EXPECT_EQ(both.Values(), (Rows{10, 10, 11, 12}));
}

TEST(XFrameBlacken, FillsWithTheTypesBlackRowsFieldsAndMargins) {
    // RowBytes 32 for 5 pixels: the whole-frame fill still takes rows as 20 bytes apart.
    FlushFrame yuv(5, 3, 32, 0, kXFrame_Pel_VYUV);
    yuv.Fill(0x55);
    ASSERT_TRUE(XFrame_Blacken(*yuv));
    std::vector<uint8_t> const bytes = yuv.Bytes();
    static constexpr uint8_t kBlack[4] = {255, 0, 128, 128};
    for (size_t i = 0; i < bytes.size(); ++i) {
        ASSERT_EQ(bytes[i], i < 60 ? kBlack[i % 4] : 0x55) << i;
    }

    RowFrame field({9, 9, 9, 9, 9});
    field.frame->PixelType = kXFrame_Pel_RYUV;
    ASSERT_TRUE(XFrame_BlackenField(*field.frame, 1));
    EXPECT_EQ(field.Values(), (Rows{9, 0, 9, 0, 9})) << "zeroes, whatever the type";
    EXPECT_TRUE(XFrame_BlackenField(*field.frame, 5)) << "a field at the height succeeds";
    EXPECT_EQ(field.Values(), (Rows{9, 0, 9, 0, 9})) << "and changes nothing";

    FlushFrame frame(6, 5, 32, 0, kXFrame_Pel_RYUV);
    frame.Fill(0x44);
    ASSERT_TRUE(XFrame_BlackenEdges(*frame, XFrameEdges{1, 1, 2, 1}));  // left, top, right, bottom
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < (y < 4 ? 7 : 6); ++x) {  // x 6: row padding, the last row has none
            bool const margin = x < 6 && (y < 1 || y >= 4 || x < 1 || x >= 4);
            uint8_t const* p = frame.Pixel(x, y);
            EXPECT_TRUE(margin ? std::memcmp(p, kBlack, 4) == 0 : p[0] == 0x44) << x << "," << y;
        }
    }
    // Oversized and negative margins are clamped to the frame; ARGB black is transparent.
    FlushFrame argb(5, 3, 20);
    argb.Fill(0x44);
    ASSERT_TRUE(XFrame_BlackenEdges(*argb, XFrameEdges{500, -3}));
    EXPECT_EQ(argb.Bytes(), std::vector<uint8_t>(60, 0));
}

// --- Resizing ------------------------------------------------------------------------------

TEST(XFrameResizeNearestPixel, SteppedPositionsAreTruncatedAndGreyDestinationsRefused) {
    // Pixel (x, y) of the source holds 10y + x + 1 in every byte.
    FlushFrame src(3, 2, 16);
    for (int i = 0; i < 6; ++i) {
        std::memset(src.Pixel(i % 3, i / 3), 10 * (i / 3) + i % 3 + 1, 4);
    }
    // x ratio 0.6: 0, 0.6, 1.2, 1.8, 2.4; y ratio 2/3: 0, 0.67, 1.33.
    // Rows of six pixels' bytes: the sixth is padding, left as it was.
    FlushFrame dst(5, 3, 24);
    dst.Fill(0xEE);
    ASSERT_TRUE(XFrame_ResizeNearestPixel(*src, *dst));
    std::vector<uint8_t> expected;
    for (int value : {1, 1, 2, 2, 3, 0xEE, 1, 1, 2, 2, 3, 0xEE, 11, 11, 12, 12, 13}) {
        expected.insert(expected.end(), 4, uint8_t(value));
    }
    EXPECT_EQ(dst.Bytes(), expected);

    // Four bytes a pixel into a grey destination would write past each row.
    TestLogCapture log;
    std::vector<uint8_t> grey(5 * 3, 7);
    XFrameBuffer greyFrame = *dst;
    greyFrame.Pixels = grey.data();
    greyFrame.BytesPerPixel = 1;
    greyFrame.RowBytes = 5;
    EXPECT_FALSE(XFrame_ResizeNearestPixel(*src, greyFrame));
    EXPECT_EQ(grey, std::vector<uint8_t>(5 * 3, 7));
    EXPECT_TRUE(log.Contains(" code : fDestination32Bit in CoreX/XFrameOperations.cpp"));
}

// The vector forms below run in the best kernel set; the conformance run further down holds
// every other set to the same bytes.

TEST(XFrameResizeBilinear, InterpolatesPixelCentresTruncatesAndKeepsFieldsApart) {
    FlushFrame src(2, 1, 16);
    std::memset(src.Pixel(0, 0), 0, 4);
    std::memset(src.Pixel(1, 0), 255, 4);
    FlushFrame dst(5, 2, 32);
    ASSERT_TRUE(XFrame_ResizeBilinear(*src, *dst));
    // Centres at -0.3 (clamped), 0.1, 0.5, 0.9 and 1.3 (clamped) source columns.
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(dst.Pixel(i % 5, i / 5)[0], (std::array{0, 25, 127, 229, 255}[i % 5])) << i;
    }

    // Top field 0, bottom field 200: resizing as fields never mixes them.
    RowFrame combed({0, 200, 0, 200});
    FlushFrame fields(kWide * 2, 8, AlignedRowBytes(kWide * 2));
    ASSERT_TRUE(XFrame_ResizeBilinear(*combed.frame, *fields, false));
    for (int y = 0; y < 8; ++y) {
        EXPECT_EQ(fields.Pixel(7, y)[1], y % 2 == 0 ? 0 : 200) << y;
    }
    ASSERT_TRUE(XFrame_ResizeBilinear(*combed.frame, *fields, true));
    // Row 1's centre lies a quarter of the way from source row 0 to row 1.
    EXPECT_EQ(fields.Pixel(7, 1)[1], 50) << "as one picture the rows blend";
    XFrameBuffer yuv = *fields;
    yuv.PixelType = kXFrame_Pel_RYUV;
    EXPECT_FALSE(XFrame_ResizeBilinear(*combed.frame, yuv)) << "pixel types differ";
}

TEST(XFrameFullD1_2_VCD, AveragesPixelPairsOfTheChosenField) {
    // 32 x 4 source: pixel x of row y has every byte 8y + (x % 4).
    FlushFrame src(32, 4, AlignedRowBytes(32));
    for (int x = 0; x < 32 * 4; ++x) {
        std::memset(src.Pixel(x % 32, x / 32), 8 * (x / 32) + x % 4, 4);
    }
    FlushFrame dst(16, 2, AlignedRowBytes(16));
    ASSERT_TRUE(XFrame_FullD1_2_VCD_Altivec(*src, *dst, false));
    // Pairs (0, 1) and (2, 3) of rows 0 and 2: averages 0.5 and 18.5 round up to 1 and 19.
    EXPECT_EQ(std::tuple(dst.Pixel(0, 0)[2], dst.Pixel(1, 1)[2]), std::tuple(1, 19));
    // The bottom field: rows 1 and 3.
    ASSERT_TRUE(XFrame_FullD1_2_VCD_Altivec(*src, *dst, true));
    EXPECT_EQ(std::tuple(dst.Pixel(0, 0)[0], dst.Pixel(1, 1)[0]), std::tuple(9, 27));
    FlushFrame wrong(15, 2, AlignedRowBytes(15));
    EXPECT_FALSE(XFrame_FullD1_2_VCD_Altivec(*src, *wrong, false));
}

TEST(XFrameDeInterlaceAdaptive, MeasuresMotionAndMovesWholePixels) {
    // A smooth vertical ramp: bottom rows differ from interp by 0, 0 and 10 (the last row's
    // interp is row 4).
    RowFrame still({10, 20, 30, 40, 50, 60}), out({0, 0, 0, 0, 0, 0});
    double motion = -1;
    ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*still.frame, *out.frame, motion));
    EXPECT_EQ(out.Values(), (Rows{10, 20, 30, 40, 50, 60}));
    EXPECT_DOUBLE_EQ(motion, 10.0 / 3.0);

    // One moving byte moves its whole pixel; a difference at the threshold is still.
    RowFrame partly({0, 0, 0, 0});
    partly.frame.Pixel(3, 1)[2] = 100;
    partly.frame.Pixel(3, 1)[0] = 5;
    partly.frame.Pixel(5, 3)[2] = kXFrameAdaptiveMotionThreshold;
    RowFrame rebuilt({9, 9, 9, 9});
    ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*partly.frame, *rebuilt.frame, motion));
    EXPECT_EQ(rebuilt.frame.Pixel(3, 1)[0], 0) << "the still byte of a moving pixel";
    EXPECT_EQ(rebuilt.frame.Pixel(5, 3)[2], kXFrameAdaptiveMotionThreshold);

    // The portable entry never de-interlaces adaptively.
    RowFrame dst({7, 7, 7, 7});
    EXPECT_FALSE(XFrame_DeInterlaceAdaptive(*partly.frame, *dst.frame, 0x08));
    EXPECT_EQ(dst.Values(), (Rows{7, 7, 7, 7}));
}

// --- SIMD kernels against the scalar reference ---------------------------------------------

// kShifted starts every frame 4 bytes past a 16-byte boundary and kOddRows pads each row by 4
// bytes, so that only the first row is aligned: the vector forms refuse both.
enum Layout { kTight, kPadded, kBottomUp, kShifted, kOddRows };

FlushFrame Frame(int width, int height, Layout layout) {
    int32_t const rowBytes =
        AlignedRowBytes(width) + (layout == kPadded ? 48 : (layout == kOddRows ? 4 : 0));
    return FlushFrame(width, height, layout == kBottomUp ? -rowBytes : rowBytes,
                      layout == kShifted ? 4 : 0);
}

// One vector form on sources a and b and a destination, all random.
struct KernelCase {
    char const* name;
    std::function<bool(Frames)> call;
    std::array<int, 4> (*sizes)(int width, int height) = nullptr;  // none: all the test size
    bool combed = false;  // odd rows near the rows above, so both moving and still pixels occur
};

struct Outcome {
    bool ok = false;
    bool changed = false;
    std::vector<uint8_t> bytes;
    double motion = 0;
    bool operator==(Outcome const&) const = default;
};

Outcome RunKernel(KernelCase const& c, int width, int height, Layout layout, uint32_t seed,
                  XFrameKernelSet set) {
    KernelSetScope scope(set);
    auto const [sw, sh, dw, dh] =
        c.sizes ? c.sizes(width, height) : std::array<int, 4>{width, height, width, height};
    std::mt19937 random(seed);
    FlushFrame a = Frame(sw, sh, layout), b = Frame(sw, sh, layout), dst = Frame(dw, dh, layout);
    for (FlushFrame* frame : {&a, &b, &dst}) {
        frame->Randomize(random);
    }
    for (int y = 1; c.combed && y < sh; y += 2) {
        for (int i = 0; i < 4 * sw; ++i) {
            a.Pixel(0, y)[i] = uint8_t(a.Pixel(0, y - 1)[i] + int(random() % 64) - 32);
        }
    }
    std::vector<uint8_t> const before = dst.Bytes();
    Outcome outcome;
    outcome.ok = c.call({*a, *b, *dst, outcome.motion});
    outcome.bytes = dst.Bytes();
    outcome.changed = outcome.bytes != before;
    return outcome;
}

// Source and destination sizes for a test size.
std::array<int, 4> Upscaled(int w, int h) { return {w, h, 2 * w + 1, h + 3}; }
std::array<int, 4> Downscaled(int w, int h) { return {w, h, w / 3 + 1, h / 2 + 1}; }
std::array<int, 4> OddHeight(int w, int h) { return {w, h, w, h + 1}; }
std::array<int, 4> HalvedFromOddWidth(int w, int h) { return {2 * w + 1, h, w, h / 2}; }
std::array<int, 4> HalvedFromOddHeight(int w, int h) { return {2 * w, h + 1, w, h / 2}; }

std::vector<KernelCase> KernelCases() {
    auto const bilinear = [](Frames f) { return XFrame_ResizeBilinear_Altivec(f.a, f.d); };
    auto const adaptive = [](Frames f) {
        return XFrame_DeInterlaceAdaptive_Altivec(f.a, f.d, f.motion);
    };
    return {
        {"BlendFields_TypeA", [](Frames f) { return XFrame_BlendFields_TypeA_Altivec(f.a, f.d); }},
        {"BlendFields_TypeB", [](Frames f) { return XFrame_BlendFields_TypeB_Altivec(f.a, f.d); }},
        {"OneFieldOnly_Top", [](Frames f) { return XFrame_OneFieldOnly_Altivec(f.a, f.d, 0); }},
        {"OneFieldOnly_Bottom", [](Frames f) { return XFrame_OneFieldOnly_Altivec(f.a, f.d, 1); }},
        {"DeInterlaceAdaptive", adaptive},
        {"DeInterlaceAdaptive_Combed", adaptive, {}, true},
        {"ResizeBilinear_Up", bilinear, Upscaled},
        {"ResizeBilinear_Down", bilinear, Downscaled},
        {"DifferenceDelta", [](Frames f) { return XFrame_DifferenceDelta_Altivec(f.a, f.b, f.d); }},
        {"DifferenceDelta_InDest",
         [](Frames f) { return XFrame_DifferenceDelta_Altivec(f.a, f.d); }},
        {"BlendFrames",
         [](Frames f) { return XFrame_BlendFrames_Altivec(f.a, 0.37, f.b, 0.71, f.d); }},
        {"BlendFrames_Saturating",
         [](Frames f) { return XFrame_BlendFrames_Altivec(f.a, 1.9, f.b, -0.45, f.d); }},
        {"SwapFields", [](Frames f) { return XFrame_SwapFields_Altivec(f.d); }, OddHeight},
        {"FullD1_2_VCD_Top", [](Frames f) { return XFrame_FullD1_2_VCD_Altivec(f.a, f.d, false); },
         HalvedFromOddWidth},
        {"FullD1_2_VCD_Bottom",
         [](Frames f) { return XFrame_FullD1_2_VCD_Altivec(f.a, f.d, true); }, HalvedFromOddHeight},
    };
}

TEST(XFrameKernelConformance, SimdKernelsMatchTheScalarReferenceByteForByte) {
    // Widths around the 16- and 32-byte steps (4 and 8 pixels), width 1, and rows of several
    // whole steps with tails; heights are even, as the de-interlacers need.
    std::pair<int, int> const sizes[] = {{1, 2},  {2, 2},   {3, 4},  {4, 2},   {5, 6},
                                         {7, 2},  {8, 4},   {9, 8},  {15, 2},  {16, 6},
                                         {17, 4}, {33, 10}, {63, 2}, {65, 12}, {150, 8}};
    int compared = 0;
    for (KernelCase const& c : KernelCases()) {
        for (auto [width, height] : sizes) {
            for (Layout layout : {kTight, kPadded, kBottomUp, kShifted, kOddRows}) {
                SCOPED_TRACE(testing::Message()
                             << c.name << " " << width << "x" << height << " layout " << layout);
                uint32_t const seed = uint32_t(width * 1000 + height * 10 + layout);
                Outcome const reference =
                    RunKernel(c, width, height, layout, seed, XFrameKernelSet::Reference);
                if (layout >= kShifted) {
                    EXPECT_FALSE(reference.ok || reference.changed)
                        << "misaligned frames are refused untouched";
                    continue;
                }
                ASSERT_TRUE(reference.ok);
                for (XFrameKernelSet set : {XFrameKernelSet::SSE2, XFrameKernelSet::AVX2}) {
                    if (!KernelSetScope(set).Got(set)) {
                        continue;  // this CPU lacks the set; the best one it has is tested
                    }
                    Outcome const outcome = RunKernel(c, width, height, layout, seed, set);
                    ASSERT_TRUE(outcome == reference) << XFrame_KernelSetName(set);
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 0) << "no SIMD kernel set on this CPU";
}

}  // namespace
