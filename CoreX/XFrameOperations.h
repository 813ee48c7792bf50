#pragma once
// Exact whole-frame operations on XFrameBuffer descriptors: copy, blacken, de-interlace,
// resize, difference, blend, field swap and D1-to-VCD down-conversion. Every operation works
// on the bytes of a row alike (alpha included); only the blacken family knows what black is.
//
// Vector forms keep the "_Altivec" names of the 16-byte vector unit they were designed for;
// here they run on SSE2 or AVX2 (chosen once by CPU feature) and keep that contract: the
// first row of every frame and every frame's row bytes must be 16-byte aligned, or the
// vector form returns false and changes nothing. Vector averages round up ((a + b + 1) >> 1).
// The portable entries try the vector form first and fall back to their own byte loop,
// whose averages truncate ((a + b) >> 1). Row tails narrower than a vector are finished by
// the scalar form of the same arithmetic, so no operation reads or writes past a row.
//
// Unless an operation says otherwise, the destination must not overlap the source. The
// functions run on the caller's thread, allocate nothing and throw nothing.

#include <cstdint>

#include "CoreX/XFrameBuffer.h"

// De-interlacing method flags.
using XFrameFilters = uint32_t;
enum : XFrameFilters {
    kXFrameFilter_Reserved = 0x07,    // any of these makes XFrame_Deinterlace refuse
    kXFrameFilter_BlendTypeA = 0x08,  // three-row vertical filter
    kXFrameFilter_BlendTypeB = 0x10,  // average each pair of rows
    kXFrameFilter_TopFieldOnly = 0x20,
    kXFrameFilter_BottomFieldOnly = 0x40,
};

// Margins in pixels (left, right) and rows (top, bottom).
struct XFrameEdges {
    int16_t Left = 0;
    int16_t Top = 0;
    int16_t Right = 0;
    int16_t Bottom = 0;
};

// --- Portable entries --------------------------------------------------------------------

// Requires the same geometry; logs "Source==Destination" otherwise. Overlap-safe per row.
bool XFrame_CopyBufferMemory(XFrameBuffer const& src, XFrameBuffer& dst);

// Fills with the type's black: bytes 255, 0, 128, 128 a pixel for "RYUV" and "VYUV", zero
// bytes otherwise. The frame is taken as packed (rows Width x BytesPerPixel bytes apart).
bool XFrame_Blacken(XFrameBuffer& frame);
using XFrameBlackenScanLine = void (*)(uint8_t* row, int32_t rowLengthBytes);
bool XFrame_BlackenWith(XFrameBuffer& frame, XFrameBlackenScanLine scanLine);
void XFrameBlacken_r408_ScanLine(uint8_t* row, int32_t rowLengthBytes);
void XFrameBlacken_ARGB_ScanLine(uint8_t* row, int32_t rowLengthBytes);

// Zeroes rows field, field + 2, ... whatever the type; true without change when field is
// not below Height.
bool XFrame_BlackenField(XFrameBuffer& frame, int field);
// Fills the margins with the type's black: whole rows at top and bottom, pixels at the
// sides of the rows between. Margins are clamped to the frame; negative ones count as 0.
bool XFrame_BlackenEdges(XFrameBuffer& frame, XFrameEdges const& edges);

// Same geometry and even Height required, no reserved flag. Precedence: blend (0x08 picks
// type A, else 0x10 type B), then top field only (0x20), then bottom field only (0x40).
bool XFrame_Deinterlace(XFrameBuffer const& src, XFrameBuffer& dst, XFrameFilters const& filters);
bool XFrame_BlendFields(XFrameBuffer const& src, XFrameBuffer& dst, XFrameFilters const& filters);
// Rebuilds the frame from field 0 (top) or 1 (bottom); may run in place.
bool XFrame_OneFieldOnly(XFrameBuffer const& src, XFrameBuffer& dst, int field);
// Adaptive de-interlacing exists only as a vector form; this entry always returns false.
bool XFrame_DeInterlaceAdaptive(XFrameBuffer const& src, XFrameBuffer& dst,
                                XFrameFilters const& filters);

// Nearest source pixel by stepping in double precision; copies 4 bytes a pixel, so a
// destination that is not 32-bit is refused (logged, false).
bool XFrame_ResizeNearestPixel(XFrameBuffer const& src, XFrameBuffer& dst);
// The vector bilinear resize; with whole false, top field into top and bottom into bottom.
bool XFrame_ResizeBilinear(XFrameBuffer const& src, XFrameBuffer& dst);
bool XFrame_ResizeBilinear(XFrameBuffer const& src, XFrameBuffer& dst, bool whole);
bool XFrame_ResizeBilinearWithFields(XFrameBuffer const& src, XFrameBuffer& dst);

// The portable byte loops on their own (truncating averages), without trying the vector
// form first. The entries above use them as their fallback.
bool XFrame_BlendFields_TypeA_Portable(XFrameBuffer const& src, XFrameBuffer& dst);
bool XFrame_BlendFields_TypeB_Portable(XFrameBuffer const& src, XFrameBuffer& dst);
bool XFrame_OneFieldOnly_Portable(XFrameBuffer const& src, XFrameBuffer& dst, int field);

// --- Vector forms (16-byte aligned first rows and row bytes) ------------------------------

// Same checks as XFrame_BlendFields. Type A: avg(avg(row r - 1, row r + 1), row r) with the
// rows beyond the edges clamped; type B: both rows of a pair get their average.
bool XFrame_BlendFields_TypeA_Altivec(XFrameBuffer const& src, XFrameBuffer& dst);
bool XFrame_BlendFields_TypeB_Altivec(XFrameBuffer const& src, XFrameBuffer& dst);
bool XFrame_OneFieldOnly_Altivec(XFrameBuffer const& src, XFrameBuffer& dst, int field);

// Keeps the top field. Each bottom-field byte is compared with the rounded average of the
// rows above and below it; a pixel where any byte differs by more than
// kXFrameAdaptiveMotionThreshold is taken as moving and replaced by that average, the
// others keep their own row. `motion` = the mean absolute difference per bottom-field byte
// (0 to 255). Same geometry and even Height required.
constexpr int kXFrameAdaptiveMotionThreshold = 24;
bool XFrame_DeInterlaceAdaptive_Altivec(XFrameBuffer const& src, XFrameBuffer& dst, double& motion);

// Bilinear interpolation on pixel centres, single precision per channel, truncated toward
// zero and saturated to bytes. 4-byte pixels and the same pixel type required.
bool XFrame_ResizeBilinear_Altivec(XFrameBuffer const& src, XFrameBuffer& dst);

// |a - b| per byte; the second form takes dst's own contents as b.
bool XFrame_DifferenceDelta_Altivec(XFrameBuffer const& a, XFrameBuffer& dst);
bool XFrame_DifferenceDelta_Altivec(XFrameBuffer const& a, XFrameBuffer const& b,
                                    XFrameBuffer& dst);
// dst = a x wa + b x wb per byte in single precision, truncated and saturated (NaN gives 0).
// dst may be a or b.
bool XFrame_BlendFrames_Altivec(XFrameBuffer const& a, double wa, XFrameBuffer const& b, double wb,
                                XFrameBuffer& dst);
// Exchanges rows 2k and 2k + 1 in place; with an odd height the last row stays.
bool XFrame_SwapFields_Altivec(XFrameBuffer& frame);
// Quarter-size picture from one field: dst is src.Width / 2 x src.Height / 2, each pixel the
// rounded average of two horizontally adjacent field pixels. bottomField false takes the
// top field (rows 0, 2, ...), true the bottom one.
bool XFrame_FullD1_2_VCD_Altivec(XFrameBuffer const& src, XFrameBuffer& dst, bool bottomField);

// Why a vector form refuses these frames: one of the alignment messages ("srcrow0 ...",
// "srcrow1 ...", "destrow0 ...", "rowbytes is not aligned on a 16-byte boundary\n"), or
// null when they are aligned. src1 may be null.
char const* XFrame_VectorAlignmentMessage(XFrameBuffer const* src0, XFrameBuffer const* src1,
                                          XFrameBuffer const& dst);

// --- Kernel selection ---------------------------------------------------------------------

// Which row kernels the vector forms run: the scalar reference of their arithmetic, SSE2 or
// AVX2. The best one the CPU has is chosen at the first call; tests and benchmarks may force
// another. Not meant to be changed while another thread runs frame operations.
enum class XFrameKernelSet { Reference, SSE2, AVX2 };
XFrameKernelSet XFrame_BestKernelSet();
XFrameKernelSet XFrame_CurrentKernelSet();
// Selects `set`, or the best one the CPU has if it lacks `set`. Returns the set now in use.
XFrameKernelSet XFrame_UseKernelSet(XFrameKernelSet set);
char const* XFrame_KernelSetName(XFrameKernelSet set);
