// The frame operations: known values for the rounding of each form, the argument checks,
// and every vector form's SSE2 and AVX2 kernels against the scalar reference of the same
// arithmetic on random frames of odd sizes, padded and bottom-up rows.

#include "CoreX/XFrameOperations.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include "tests/CoreX/XFrameTestSupport.h"
#include "tests/support/TestLogCapture.h"

namespace {

using XFrameTest::AlignedRowBytes;
using XFrameTest::FlushFrame;
using XFrameTest::KernelSetScope;

constexpr XFrameKernelSet kAllSets[] = {XFrameKernelSet::Reference, XFrameKernelSet::SSE2,
                                        XFrameKernelSet::AVX2};

// Width 16 gives 64-byte rows: whole SSE2 and AVX2 steps, so known values test the SIMD
// kernels too and not only their tails.
constexpr int kWide = 16;

// A frame whose row y holds the value rows[y] in every byte.
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
    std::vector<int> Rows() {
        std::vector<int> values;
        for (int y = 0; y < frame->Height; ++y) {
            uint8_t const first = frame.Pixel(0, y)[0];
            int value = first;
            for (int i = 0; i < 4 * frame->Width; ++i) {
                if (frame.Pixel(0, y)[i] != first) {
                    value = -1;
                }
            }
            values.push_back(value);
        }
        return values;
    }
    FlushFrame frame;
};

// An unaligned frame: its first row starts 4 bytes past a 16-byte boundary, so the vector
// forms refuse it and the portable entries run their own loops.
RowFrame Unaligned(std::vector<uint8_t> const& rows) {
    return RowFrame(rows, AlignedRowBytes(kWide), 4);
}

// --- Known values of each form --------------------------------------------------------------

// One operation on frames of rows (a, b, and a destination that starts as a copy of a), with
// the destination rows it gives in every kernel set and, where the portable entry has its
// own truncating loop, on unaligned frames.
struct RowCase {
    char const* name;
    std::vector<uint8_t> a, b;
    std::function<bool(XFrameBuffer& a, XFrameBuffer& b, XFrameBuffer& dst)> call;
    std::vector<int> vector;
    std::vector<int> portable;  // empty: no portable loop
};

TEST(XFrameKnownValues, EachFormRoundsItsOwnWay) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    RowCase const cases[] = {
        // Type B: the vector form rounds up, the portable loop truncates.
        {"TypeB",
         {1, 2, 10, 13},
         {},
         [](auto& a, auto&, auto& d) { return XFrame_BlendFields(a, d, kXFrameFilter_BlendTypeB); },
         {2, 2, 12, 12},
         {1, 1, 11, 11}},
        // Type A: outer rows averaged, then with the middle one; row 0 sees itself above.
        {"TypeA",
         {1, 2, 4, 7},
         {},
         [](auto& a, auto&, auto& d) { return XFrame_BlendFields(a, d, kXFrameFilter_BlendTypeA); },
         {2, 3, 5, 7},
         {1, 2, 4, 6}},
        // The bottom field starts with row 1 and repeats its last row.
        {"BottomField",
         {10, 20, 30, 41},
         {},
         [](auto& a, auto&, auto& d) { return XFrame_OneFieldOnly(a, d, 1); },
         {20, 31, 41, 41},
         {20, 30, 41, 41}},
        {"BottomFieldInPlace",
         {10, 20, 30, 41},
         {},
         [](auto&, auto&, auto& d) { return XFrame_OneFieldOnly(d, d, 1); },
         {20, 31, 41, 41},
         {}},
        {"SwapFieldsOddHeight",
         {1, 2, 3, 4, 5},
         {},
         [](auto&, auto&, auto& d) { return XFrame_SwapFields_Altivec(d); },
         {2, 1, 4, 3, 5},
         {}},
        {"Difference",
         {3, 250, 7, 0},
         {250, 3, 7, 255},
         [](auto& a, auto& b, auto& d) { return XFrame_DifferenceDelta_Altivec(a, b, d); },
         {247, 247, 0, 255},
         {}},
        {"DifferenceWithDest",
         {10, 20, 30, 40},
         {250, 3, 7, 255},
         [](auto&, auto& b, auto& d) { return XFrame_DifferenceDelta_Altivec(b, d); },
         {240, 17, 23, 215},
         {}},
        // Weights in single precision, truncated toward zero and saturated.
        {"BlendHalves",
         {3, 200, 100, 10},
         {4, 200, 20, 250},
         [](auto& a, auto& b, auto& d) { return XFrame_BlendFrames_Altivec(a, 0.5, b, 0.5, d); },
         {3, 200, 60, 130},
         {}},
        {"BlendSaturatesHigh",
         {3, 200, 100, 10},
         {4, 200, 20, 250},
         [](auto& a, auto& b, auto& d) { return XFrame_BlendFrames_Altivec(a, 1, b, 1, d); },
         {7, 255, 120, 255},
         {}},
        {"BlendNaN",
         {3, 200, 100, 10},
         {4, 200, 20, 250},
         [nan](auto& a, auto& b, auto& d) { return XFrame_BlendFrames_Altivec(a, nan, b, 1, d); },
         {0, 0, 0, 0},
         {}},
    };
    for (RowCase const& c : cases) {
        std::vector<uint8_t> const b = c.b.empty() ? c.a : c.b;
        for (XFrameKernelSet set : kAllSets) {
            KernelSetScope scope(set);
            RowFrame a(c.a), other(b), dst(c.a);
            ASSERT_TRUE(c.call(*a.frame, *other.frame, *dst.frame)) << c.name;
            EXPECT_EQ(dst.Rows(), c.vector) << c.name << " " << XFrame_KernelSetName(set);
        }
        if (!c.portable.empty()) {
            RowFrame a = Unaligned(c.a), other = Unaligned(b), dst = Unaligned(c.a);
            ASSERT_TRUE(c.call(*a.frame, *other.frame, *dst.frame)) << c.name;
            EXPECT_EQ(dst.Rows(), c.portable) << c.name << " portable";
        }
    }
    // The portable loop on its own truncates on aligned frames too.
    RowFrame aligned({1, 2, 4, 7});
    RowFrame out({0, 0, 0, 0});
    ASSERT_TRUE(XFrame_BlendFields_TypeA_Portable(*aligned.frame, *out.frame));
    EXPECT_EQ(out.Rows(), (std::vector<int>{1, 2, 4, 6}));
}

// --- The de-interlace entry ----------------------------------------------------------------

TEST(XFrameDeinterlace, FlagsChooseTheMethodInOrderOfPrecedence) {
    // 0x08 wins (type A); blending wins over one field (0x30: type B); top over bottom. No
    // method, or a reserved flag whatever else is set, is refused and changes nothing.
    std::pair<XFrameFilters, std::vector<int>> const cases[] = {
        {0x18, {2, 3, 5, 7}}, {0x30, {2, 2, 6, 6}}, {0x60, {1, 3, 4, 4}},
        {0x40, {2, 5, 7, 7}}, {0x00, {0, 0, 0, 0}}, {0x01, {0, 0, 0, 0}},
        {0x09, {0, 0, 0, 0}}, {0x12, {0, 0, 0, 0}}, {0x24, {0, 0, 0, 0}}};
    for (auto const& [filters, rows] : cases) {
        RowFrame src({1, 2, 4, 7});
        RowFrame dst({0, 0, 0, 0});
        EXPECT_EQ(XFrame_Deinterlace(*src.frame, *dst.frame, filters), rows[0] != 0) << filters;
        EXPECT_EQ(dst.Rows(), rows) << filters;
    }
}

TEST(XFrameDeinterlace, RefusesOddHeightsAndMismatchedFrames) {
    RowFrame odd({1, 2, 3});
    RowFrame oddOut({0, 0, 0});
    EXPECT_FALSE(XFrame_Deinterlace(*odd.frame, *oddOut.frame, 0x08));
    EXPECT_FALSE(XFrame_BlendFields(*odd.frame, *oddOut.frame, 0x10));
    EXPECT_FALSE(XFrame_OneFieldOnly(*odd.frame, *oddOut.frame, 0));
    EXPECT_EQ(oddOut.Rows(), (std::vector<int>{0, 0, 0}));

    RowFrame src({1, 2, 3, 4});
    RowFrame padded({0, 0, 0, 0}, AlignedRowBytes(kWide) + 16);
    EXPECT_FALSE(XFrame_Deinterlace(*src.frame, *padded.frame, 0x10)) << "row bytes differ";
    RowFrame yuv({0, 0, 0, 0});
    yuv.frame->PixelType = kXFrame_Pel_RYUV;
    EXPECT_FALSE(XFrame_Deinterlace(*src.frame, *yuv.frame, 0x10)) << "pixel types differ";
    EXPECT_FALSE(XFrame_DeInterlaceAdaptive(*src.frame, *yuv.frame, 0x10));
}

// --- Alignment ----------------------------------------------------------------------------

TEST(XFrameVectorForms, AlignmentMessagesNameTheFirstMisalignedRow) {
    FlushFrame aligned = FlushFrame::Aligned(5, 4);
    FlushFrame shifted(5, 4, AlignedRowBytes(5), 8);
    FlushFrame oddRows(5, 4, AlignedRowBytes(5) + 4);
    EXPECT_EQ(XFrame_VectorAlignmentMessage(&*aligned, &*aligned, *aligned), nullptr);
    EXPECT_STREQ(XFrame_VectorAlignmentMessage(&*aligned, &*shifted, *aligned),
                 "srcrow1 is not aligned on a 16-byte boundary\n");
    EXPECT_STREQ(XFrame_VectorAlignmentMessage(&*oddRows, nullptr, *aligned),
                 "rowbytes is not aligned on a 16-byte boundary\n");
}

// --- Copy and blacken ---------------------------------------------------------------------

TEST(XFrameCopyBufferMemory, CopiesRowsOnlyEvenOverlappingAndRefusesOtherRowBytes) {
    TestLogCapture log;
    FlushFrame src(5, 3, 32);
    FlushFrame dst(5, 3, 48);
    std::mt19937 random(3);
    src.Randomize(random);
    dst.Fill(0xAB);
    EXPECT_FALSE(XFrame_CopyBufferMemory(*src, *dst));
    EXPECT_EQ(dst.Bytes(), std::vector<uint8_t>(dst.Bytes().size(), 0xAB));
    EXPECT_NE(log.Lines().find("VERIFY FAILED:  code : Source==Destination in "
                               "CoreX/XFrameOperations.cpp:"),
              std::string::npos);

    FlushFrame same(5, 3, 32);
    same.Fill(0xAB);
    ASSERT_TRUE(XFrame_CopyBufferMemory(*src, *same));
    EXPECT_EQ(std::memcmp(same.Pixel(0, 2), src.Pixel(0, 2), 20), 0);
    EXPECT_EQ(same.Pixel(0, 0)[20], 0xAB) << "row padding is not copied";

    // The destination one row below the source in the same memory.
    FlushFrame both(5, 4, 32);
    for (int y = 0; y < 4; ++y) {
        both.SetRow(y, uint8_t(10 + y));
    }
    XFrameBuffer upper = *both;
    upper.Height = 3;
    XFrameBuffer lower = upper;
    lower.Pixels += 32;
    ASSERT_TRUE(XFrame_CopyBufferMemory(upper, lower));
    for (int y = 0; y < 4; ++y) {
        EXPECT_EQ(both.Pixel(4, y)[3], y == 0 ? 10 : 10 + y - 1) << y;
    }
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
    FlushFrame argb(5, 3, 20);
    argb.Fill(0x55);
    ASSERT_TRUE(XFrame_Blacken(*argb));
    EXPECT_EQ(argb.Bytes(), std::vector<uint8_t>(60, 0)) << "transparent black";
    XFrameBuffer none;
    EXPECT_FALSE(XFrame_Blacken(none));

    RowFrame field({9, 9, 9, 9, 9});
    field.frame->PixelType = kXFrame_Pel_RYUV;
    ASSERT_TRUE(XFrame_BlackenField(*field.frame, 1));
    EXPECT_EQ(field.Rows(), (std::vector<int>{9, 0, 9, 0, 9})) << "zeroes, whatever the type";
    EXPECT_TRUE(XFrame_BlackenField(*field.frame, 5)) << "a field at the height succeeds";
    EXPECT_EQ(field.Rows(), (std::vector<int>{9, 0, 9, 0, 9})) << "and changes nothing";

    FlushFrame frame(6, 5, 32, 0, kXFrame_Pel_RYUV);
    frame.Fill(0x44);
    XFrameEdges edges;
    edges.Left = 1;
    edges.Top = 1;
    edges.Right = 2;
    edges.Bottom = 1;
    ASSERT_TRUE(XFrame_BlackenEdges(*frame, edges));
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < (y < 4 ? 7 : 6); ++x) {  // x 6: row padding, the last row has none
            bool const margin = x < 6 && (y < 1 || y >= 4 || x < 1 || x >= 4);
            uint8_t const* p = frame.Pixel(x, y);
            EXPECT_TRUE(margin ? std::memcmp(p, kBlack, 4) == 0 : p[0] == 0x44) << x << "," << y;
        }
    }
    // Oversized and negative margins are clamped to the frame.
    argb.Fill(0x44);
    edges = XFrameEdges{};
    edges.Left = 500;
    edges.Top = -3;
    ASSERT_TRUE(XFrame_BlackenEdges(*argb, edges));
    EXPECT_EQ(argb.Bytes(), std::vector<uint8_t>(60, 0));
}

// --- Resizing ------------------------------------------------------------------------------

uint32_t PixelWord(FlushFrame& frame, int x, int y) {
    uint32_t word;
    std::memcpy(&word, frame.Pixel(x, y), 4);
    return word;
}

TEST(XFrameResizeNearestPixel, SteppedPositionsAreTruncated) {
    FlushFrame src(3, 2, 16);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) {
            uint32_t const word = 0x01010101u * uint32_t(10 * y + x + 1);
            std::memcpy(src.Pixel(x, y), &word, 4);
        }
    }
    FlushFrame dst(5, 3, 32);
    ASSERT_TRUE(XFrame_ResizeNearestPixel(*src, *dst));
    // x ratio 0.6: 0, 0.6, 1.2, 1.8, 2.4; y ratio 2/3: 0, 0.67, 1.33.
    int const columns[5] = {0, 0, 1, 1, 2};
    int const rows[3] = {0, 0, 1};
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(PixelWord(dst, x, y), 0x01010101u * uint32_t(10 * rows[y] + columns[x] + 1))
                << x << "," << y;
        }
    }
    FlushFrame narrow(2, 1, 16);
    ASSERT_TRUE(XFrame_ResizeNearestPixel(*src, *narrow));
    EXPECT_EQ(PixelWord(narrow, 0, 0), 0x01010101u * 1);
    EXPECT_EQ(PixelWord(narrow, 1, 0), 0x01010101u * 2) << "1.5 truncates to column 1";

    // Four bytes a pixel into a grey destination would write past each row.
    TestLogCapture log;
    std::vector<uint8_t> grey(5 * 3, 7);
    XFrameBuffer greyFrame = *dst;
    greyFrame.Pixels = grey.data();
    greyFrame.BytesPerPixel = 1;
    greyFrame.RowBytes = 5;
    EXPECT_FALSE(XFrame_ResizeNearestPixel(*src, greyFrame));
    EXPECT_EQ(grey, std::vector<uint8_t>(5 * 3, 7));
    EXPECT_NE(log.Lines().find(" code : fDestination32Bit in CoreX/XFrameOperations.cpp"),
              std::string::npos);
}

TEST(XFrameResizeBilinear, InterpolatesPixelCentresAndTruncates) {
    for (XFrameKernelSet set : kAllSets) {
        KernelSetScope scope(set);
        FlushFrame src(2, 1, 16);
        std::memset(src.Pixel(0, 0), 0, 4);
        std::memset(src.Pixel(1, 0), 255, 4);
        src.Pixel(1, 0)[3] = 101;  // alpha: 101 x 0.25 = 25.25, 101 x 0.75 = 75.75
        FlushFrame dst(5, 2, 32);
        ASSERT_TRUE(XFrame_ResizeBilinear(*src, *dst));
        // Centres at -0.3 (clamped), 0.1, 0.5, 0.9 and 1.3 (clamped) source columns.
        uint8_t const expected[5] = {0, 25, 127, 229, 255};
        uint8_t const expectedAlpha[5] = {0, 10, 50, 90, 101};
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 5; ++x) {
                EXPECT_EQ(dst.Pixel(x, y)[0], expected[x]) << XFrame_KernelSetName(set) << x;
                EXPECT_EQ(dst.Pixel(x, y)[3], expectedAlpha[x]) << XFrame_KernelSetName(set) << x;
            }
        }
        // The same size is an exact copy.
        FlushFrame same(2, 1, 16);
        ASSERT_TRUE(XFrame_ResizeBilinear(*src, *same));
        EXPECT_EQ(std::memcmp(same.Pixel(0, 0), src.Pixel(0, 0), 8), 0);
    }
}

TEST(XFrameResizeBilinear, FieldsAreResizedApart) {
    // Top field 0, bottom field 200: resizing as fields never mixes them.
    RowFrame src({0, 200, 0, 200});
    FlushFrame dst(kWide * 2, 8, AlignedRowBytes(kWide * 2));
    ASSERT_TRUE(XFrame_ResizeBilinear(*src.frame, *dst, false));
    for (int y = 0; y < 8; ++y) {
        EXPECT_EQ(dst.Pixel(7, y)[1], y % 2 == 0 ? 0 : 200) << y;
    }
    ASSERT_TRUE(XFrame_ResizeBilinear(*src.frame, *dst, true));
    // Row 1's centre lies a quarter of the way from source row 0 to row 1.
    EXPECT_EQ(dst.Pixel(7, 1)[1], 50) << "as one picture the rows blend";

    FlushFrame shifted(kWide, 4, AlignedRowBytes(kWide), 4);
    EXPECT_FALSE(XFrame_ResizeBilinear(*shifted, *dst, false));
    XFrameBuffer yuv = *dst;
    yuv.PixelType = kXFrame_Pel_RYUV;
    EXPECT_FALSE(XFrame_ResizeBilinear(*src.frame, yuv)) << "pixel types differ";
}

TEST(XFrameFullD1_2_VCD, AveragesPixelPairsOfTheChosenField) {
    for (XFrameKernelSet set : kAllSets) {
        KernelSetScope scope(set);
        // 32 x 4 source: pixel x of row y has every byte 8y + (x % 4).
        FlushFrame src = FlushFrame::Aligned(32, 4);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 32; ++x) {
                std::memset(src.Pixel(x, y), 8 * y + x % 4, 4);
            }
        }
        FlushFrame dst = FlushFrame::Aligned(16, 2);
        ASSERT_TRUE(XFrame_FullD1_2_VCD_Altivec(*src, *dst, false));
        for (int x = 0; x < 16; ++x) {
            // Pairs (0, 1) and (2, 3): averages 0.5 and 2.5 round up to 1 and 3.
            EXPECT_EQ(dst.Pixel(x, 0)[2], x % 2 == 0 ? 1 : 3) << XFrame_KernelSetName(set);
            EXPECT_EQ(dst.Pixel(x, 1)[2], 16 + (x % 2 == 0 ? 1 : 3)) << XFrame_KernelSetName(set);
        }
        ASSERT_TRUE(XFrame_FullD1_2_VCD_Altivec(*src, *dst, true));
        EXPECT_EQ(dst.Pixel(0, 0)[0], 9) << "bottom field: rows 1 and 3";
        EXPECT_EQ(dst.Pixel(1, 1)[0], 27);

        FlushFrame wrong = FlushFrame::Aligned(15, 2);
        EXPECT_FALSE(XFrame_FullD1_2_VCD_Altivec(*src, *wrong, false));
    }
}

TEST(XFrameDeInterlaceAdaptive, KeepsStillPicturesAndRebuildsCombedOnes) {
    for (XFrameKernelSet set : kAllSets) {
        KernelSetScope scope(set);
        // A smooth vertical ramp: every row is close to the average of its neighbours.
        RowFrame still({10, 20, 30, 40, 50, 60});
        RowFrame out({0, 0, 0, 0, 0, 0});
        double motion = -1;
        ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*still.frame, *out.frame, motion));
        EXPECT_EQ(out.Rows(), (std::vector<int>{10, 20, 30, 40, 50, 60}));
        // Bottom rows differ from interp by 0, 0 and 10 (the last row's interp is row 4).
        EXPECT_DOUBLE_EQ(motion, 10.0 / 3.0) << XFrame_KernelSetName(set);

        // Combing: the fields disagree by 200, so the bottom field is rebuilt from the top.
        RowFrame combed({0, 200, 0, 200});
        RowFrame rebuilt({9, 9, 9, 9});
        ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*combed.frame, *rebuilt.frame, motion));
        EXPECT_EQ(rebuilt.Rows(), (std::vector<int>{0, 0, 0, 0})) << XFrame_KernelSetName(set);
        EXPECT_DOUBLE_EQ(motion, 200.0);
        ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*combed.frame, *combed.frame, motion));
        EXPECT_EQ(combed.Rows(), (std::vector<int>{0, 0, 0, 0})) << "in place";

        // One moving byte moves its whole pixel, and only that pixel.
        RowFrame partly({0, 0, 0, 0});
        partly.frame.Pixel(3, 1)[2] = 100;
        partly.frame.Pixel(3, 1)[0] = 5;
        ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*partly.frame, *rebuilt.frame, motion));
        EXPECT_EQ(rebuilt.frame.Pixel(3, 1)[2], 0);
        EXPECT_EQ(rebuilt.frame.Pixel(3, 1)[0], 0) << "the still byte of a moving pixel";
        EXPECT_EQ(rebuilt.frame.Pixel(4, 1)[0], 0);
        partly.frame.Pixel(3, 1)[2] = kXFrameAdaptiveMotionThreshold;  // at the threshold: still
        partly.frame.Pixel(5, 3)[0] = 1;
        ASSERT_TRUE(XFrame_DeInterlaceAdaptive_Altivec(*partly.frame, *rebuilt.frame, motion));
        EXPECT_EQ(rebuilt.frame.Pixel(3, 1)[2], kXFrameAdaptiveMotionThreshold);
        EXPECT_EQ(rebuilt.frame.Pixel(3, 1)[0], 5);
        EXPECT_EQ(rebuilt.frame.Pixel(5, 3)[0], 1);
    }
    // The portable entry never de-interlaces adaptively.
    RowFrame src({0, 200, 0, 200});
    RowFrame dst({7, 7, 7, 7});
    EXPECT_FALSE(XFrame_DeInterlaceAdaptive(*src.frame, *dst.frame, 0x08));
    EXPECT_EQ(dst.Rows(), (std::vector<int>{7, 7, 7, 7}));
}

// --- SIMD kernels against the scalar reference ---------------------------------------------

// kShifted starts every frame 4 bytes past a 16-byte boundary: the vector forms refuse it.
enum Layout { kTight, kPadded, kBottomUp, kShifted };

FlushFrame Frame(int width, int height, Layout layout) {
    int32_t const rowBytes = AlignedRowBytes(width) + (layout == kPadded ? 48 : 0);
    return FlushFrame(width, height, layout == kBottomUp ? -rowBytes : rowBytes,
                      layout == kShifted ? 4 : 0);
}

struct Outcome {
    bool ok = false;
    bool changed = false;
    std::vector<uint8_t> bytes;
    double motion = 0;
    bool operator==(Outcome const&) const = default;
};

// What a call left in its destination.
Outcome Result(bool ok, FlushFrame const& dst, std::vector<uint8_t> const& before,
               double motion = 0) {
    Outcome outcome{ok, false, dst.Bytes(), motion};
    outcome.changed = outcome.bytes != before;
    return outcome;
}

// Runs one vector form on random frames of the given size and returns what it wrote.
using Runner = std::function<Outcome(int width, int height, Layout layout, std::mt19937& random)>;

Outcome WithSourceAndDest(int width, int height, int dstWidth, int dstHeight, Layout layout,
                          std::mt19937& random,
                          std::function<bool(XFrameBuffer&, XFrameBuffer&, double&)> call) {
    FlushFrame src = Frame(width, height, layout);
    FlushFrame dst = Frame(dstWidth, dstHeight, layout);
    src.Randomize(random);
    dst.Randomize(random);
    std::vector<uint8_t> const before = dst.Bytes();
    double motion = 0;
    bool const ok = call(*src, *dst, motion);
    return Result(ok, dst, before, motion);
}

Runner SameSize(std::function<bool(XFrameBuffer&, XFrameBuffer&, double&)> call) {
    return [call](int width, int height, Layout layout, std::mt19937& random) {
        return WithSourceAndDest(width, height, width, height, layout, random, call);
    };
}

Runner ThreeFrames(std::function<bool(XFrameBuffer&, XFrameBuffer&, XFrameBuffer&)> call) {
    return [call](int width, int height, Layout layout, std::mt19937& random) {
        FlushFrame a = Frame(width, height, layout);
        FlushFrame b = Frame(width, height, layout);
        FlushFrame dst = Frame(width, height, layout);
        a.Randomize(random);
        b.Randomize(random);
        dst.Randomize(random);
        std::vector<uint8_t> const before = dst.Bytes();
        bool const ok = call(*a, *b, *dst);
        return Result(ok, dst, before);
    };
}

struct KernelCase {
    char const* name;
    Runner run;
};

std::vector<KernelCase> KernelCases() {
    return {
        {"BlendFields_TypeA", SameSize([](auto& s, auto& d, double&) {
             return XFrame_BlendFields_TypeA_Altivec(s, d);
         })},
        {"BlendFields_TypeB", SameSize([](auto& s, auto& d, double&) {
             return XFrame_BlendFields_TypeB_Altivec(s, d);
         })},
        {"OneFieldOnly_Top",
         SameSize([](auto& s, auto& d, double&) { return XFrame_OneFieldOnly_Altivec(s, d, 0); })},
        {"OneFieldOnly_Bottom",
         SameSize([](auto& s, auto& d, double&) { return XFrame_OneFieldOnly_Altivec(s, d, 1); })},
        {"DeInterlaceAdaptive", SameSize([](auto& s, auto& d, double& motion) {
             return XFrame_DeInterlaceAdaptive_Altivec(s, d, motion);
         })},
        {"DeInterlaceAdaptive_Combed",
         [](int width, int height, Layout layout, std::mt19937& random) {
             // Random fields with small differences, so both moving and still pixels occur.
             FlushFrame src = Frame(width, height, layout);
             FlushFrame dst = Frame(width, height, layout);
             src.Randomize(random);
             dst.Randomize(random);
             for (int y = 1; y < height; y += 2) {
                 for (int i = 0; i < 4 * width; ++i) {
                     int const around = src.Pixel(0, y - 1)[i];
                     src.Pixel(0, y)[i] = uint8_t(around + int(random() % 64) - 32);
                 }
             }
             std::vector<uint8_t> const before = dst.Bytes();
             double motion = 0;
             bool const ok = XFrame_DeInterlaceAdaptive_Altivec(*src, *dst, motion);
             return Result(ok, dst, before, motion);
         }},
        {"ResizeBilinear_Up",
         [](int width, int height, Layout layout, std::mt19937& random) {
             return WithSourceAndDest(
                 width, height, 2 * width + 1, height + 3, layout, random,
                 [](auto& s, auto& d, double&) { return XFrame_ResizeBilinear_Altivec(s, d); });
         }},
        {"ResizeBilinear_Down",
         [](int width, int height, Layout layout, std::mt19937& random) {
             return WithSourceAndDest(
                 width, height, width / 3 + 1, height / 2 + 1, layout, random,
                 [](auto& s, auto& d, double&) { return XFrame_ResizeBilinear_Altivec(s, d); });
         }},
        {"DifferenceDelta", ThreeFrames([](auto& a, auto& b, auto& d) {
             return XFrame_DifferenceDelta_Altivec(a, b, d);
         })},
        {"DifferenceDelta_InDest",
         SameSize([](auto& s, auto& d, double&) { return XFrame_DifferenceDelta_Altivec(s, d); })},
        {"BlendFrames", ThreeFrames([](auto& a, auto& b, auto& d) {
             return XFrame_BlendFrames_Altivec(a, 0.37, b, 0.71, d);
         })},
        {"BlendFrames_Saturating", ThreeFrames([](auto& a, auto& b, auto& d) {
             return XFrame_BlendFrames_Altivec(a, 1.9, b, -0.45, d);
         })},
        {"SwapFields",
         [](int width, int height, Layout layout, std::mt19937& random) {
             FlushFrame frame = Frame(width, height + 1, layout);  // odd heights too
             frame.Randomize(random);
             std::vector<uint8_t> const before = frame.Bytes();
             bool const ok = XFrame_SwapFields_Altivec(*frame);
             return Result(ok, frame, before);
         }},
        {"FullD1_2_VCD_Top",
         [](int width, int height, Layout layout, std::mt19937& random) {
             return WithSourceAndDest(2 * width + 1, height, width, height / 2, layout, random,
                                      [](auto& s, auto& d, double&) {
                                          return XFrame_FullD1_2_VCD_Altivec(s, d, false);
                                      });
         }},
        {"FullD1_2_VCD_Bottom",
         [](int width, int height, Layout layout, std::mt19937& random) {
             return WithSourceAndDest(
                 2 * width, height + 1, width, height / 2, layout, random,
                 [](auto& s, auto& d, double&) { return XFrame_FullD1_2_VCD_Altivec(s, d, true); });
         }},
    };
}

void PrintTo(KernelCase const& kernelCase, std::ostream* out) { *out << kernelCase.name; }

class XFrameKernelConformance : public ::testing::TestWithParam<KernelCase> {};

TEST_P(XFrameKernelConformance, SimdKernelsMatchTheScalarReferenceByteForByte) {
    // Widths around the 16- and 32-byte steps (4 and 8 pixels), width 1, and random sizes;
    // heights are even, as the de-interlacers need.
    std::vector<std::pair<int, int>> sizes = {{1, 2},  {2, 2},   {3, 4},  {4, 2},  {5, 6},
                                              {7, 2},  {8, 4},   {9, 8},  {15, 2}, {16, 6},
                                              {17, 4}, {33, 10}, {63, 2}, {65, 12}};
    std::mt19937 sizeRandom(2024);
    for (int i = 0; i < 6; ++i) {
        sizes.push_back({1 + int(sizeRandom() % 200), 2 * (1 + int(sizeRandom() % 12))});
    }
    KernelCase const& kernelCase = GetParam();
    int compared = 0;
    for (auto [width, height] : sizes) {
        for (Layout layout : {kTight, kPadded, kBottomUp, kShifted}) {
            uint32_t const seed = uint32_t(width * 1000 + height * 10 + layout);
            Outcome reference;
            {
                KernelSetScope scope(XFrameKernelSet::Reference);
                std::mt19937 random(seed);
                reference = kernelCase.run(width, height, layout, random);
            }
            if (layout == kShifted) {
                EXPECT_FALSE(reference.ok || reference.changed)
                    << "misaligned frames are refused untouched " << width << "x" << height;
                continue;
            }
            ASSERT_TRUE(reference.ok) << width << "x" << height << " layout " << layout;
            for (XFrameKernelSet set : {XFrameKernelSet::SSE2, XFrameKernelSet::AVX2}) {
                KernelSetScope scope(set);
                if (!scope.Got(set)) {
                    continue;  // this CPU lacks the set; the best one it has is tested
                }
                std::mt19937 random(seed);
                Outcome const outcome = kernelCase.run(width, height, layout, random);
                ASSERT_TRUE(outcome == reference)
                    << XFrame_KernelSetName(set) << " " << width << "x" << height << " layout "
                    << layout << " motion " << outcome.motion << " vs " << reference.motion;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 0) << "no SIMD kernel set on this CPU";
}

INSTANTIATE_TEST_SUITE_P(AllVectorForms, XFrameKernelConformance,
                         ::testing::ValuesIn(KernelCases()),
                         [](::testing::TestParamInfo<KernelCase> const& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
