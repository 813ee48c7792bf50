// Frame descriptors (types, fields, crops, debug print) and the aligned frame memory layout.

#include "CoreX/XFrameBuffer.h"

#include <algorithm>
#include <tuple>

#include <gtest/gtest.h>

#include "CoreX/XFrameBufferMemory.h"
#include "tests/support/TestLogCapture.h"

#if defined(__SANITIZE_ADDRESS__)
// The failed-allocation test asks for an impossible block; AddressSanitizer must answer with
// a null pointer, as the C library does, instead of stopping the program.
extern "C" char const* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

XFrameBuffer Descriptor(int width, int height, uint32_t fields = 0) {
    XFrameBuffer frame;
    frame.Width = width;
    frame.Height = height;
    frame.Fields = fields;
    frame.BytesPerPixel = 4;
    frame.RowBytes = width * 4 + 64;
    frame.PixelType = kXFrame_Pel_8RGB;
    frame.Pixels = reinterpret_cast<XFramePixels>(0x10000);
    return frame;
}

TEST(XFrameBuffer, FrameTypeAndFieldsFromExactStandardSizes) {
    std::tuple<int, int, int> const types[] = {
        {720, 486, 6},    {720, 576, 9}, {640, 360, 0},  {352, 240, 1},   {640, 486, 3},
        {768, 486, 7},    {352, 576, 8}, {800, 600, 11}, {1280, 720, 14}, {1920, 1088, 15},
        {1920, 1152, 16}, {480, 640, 0}, {0, 0, 0}};  // the all-zero end row is no match
    for (auto [width, height, type] : types) {
        EXPECT_EQ(XFrameBuffer::FrameTypeOf(width, height), type) << width << "x" << height;
    }
    // Known fields decide by bit 0x0002; without them an interlaced type, or an even height
    // of at least 480, has two.
    std::tuple<int, int, uint32_t, bool> const fields[] = {
        {640, 480, 0, true},
        {800, 600, 0, true},
        {320, 240, 0, false},
        {1280, 720, 0, true},
        {640, 481, 0, false},
        {352, 240, kXFrameFields_Two, true},
        {352, 240, kXFrameFields_BottomFirst, true},
        {640, 480, kXFrameFields_One, false},
        {640, 480, 0x0100, false}};
    for (auto [width, height, flags, two] : fields) {
        EXPECT_EQ(Descriptor(width, height, flags).HasTwoFields(), two)
            << width << "x" << height << " fields " << flags;
    }
}

TEST(XFrameBuffer, FieldsOfAnOddHeightLeaveTheLastRowInNeither) {
    XFrameBuffer frame = Descriptor(8, 5, kXFrameFields_TopFirst);
    XFrameBuffer top;
    XFrameBuffer bottom;
    frame.GetFields(top, bottom);
    EXPECT_EQ(top.Height, 2);
    EXPECT_EQ(bottom.Height, 2);
    EXPECT_EQ(top.Fields, kXFrameFields_One);
    EXPECT_EQ(bottom.Fields, kXFrameFields_One);
    EXPECT_EQ(top.RowBytes, 2 * frame.RowBytes);
    EXPECT_EQ(top.Pixels, frame.Pixels);
    EXPECT_EQ(bottom.Pixels, frame.Pixels + frame.RowBytes);
    // The last row of each field: rows 2 and 3; row 4 is reached by neither.
    EXPECT_EQ(top.Pixels + (top.Height - 1) * top.RowBytes, frame.Pixels + 2 * frame.RowBytes);
    EXPECT_EQ(bottom.Pixels + (bottom.Height - 1) * bottom.RowBytes,
              frame.Pixels + 3 * frame.RowBytes);
    EXPECT_EQ(top.Width, frame.Width);
    EXPECT_EQ(top.PixelType, frame.PixelType);
}

TEST(XFrameBufferMemory, LayoutHasGuardRowSpareRowsAndAlignedRows) {
    // Width, height: stride, block size, frame start.
    std::tuple<int, int, int32_t, size_t, ptrdiff_t> const layouts[] = {
        {0, 0, 64, 256, 80}, {640, 480, 2624, 484u * 2624, 2640}, {5, 3, 84, 7u * 84, 100}};
    for (auto [width, height, stride, size, start] : layouts) {
        XFrameBufferMemory memory(width, height);
        ASSERT_FALSE(memory.IsEmpty());
        EXPECT_EQ(memory.StrideBytes(), stride) << width;
        EXPECT_EQ(memory.MallocSize(), size) << width;
        EXPECT_EQ(memory.FramePixels() - memory.BaseMalloc(), start) << width;
        // The whole frame and its last row's spare bytes are inside the block.
        std::fill(memory.FramePixels(), memory.FramePixels() + height * stride, uint8_t(7));
    }
    XFrameBufferMemory aligned(640, 480);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned.FramePixels()) % 16, 0u);
}

TEST(XFrameBufferMemory, FailedAllocationIsLoggedTwiceAndLeavesItEmpty) {
    TestLogCapture log;
    XFrameBufferMemory memory(64, 64);
    ASSERT_FALSE(memory.IsEmpty());
    EXPECT_FALSE(memory.SetFrameDimensions(500'000'000, 1'000'000'000));
    EXPECT_TRUE(memory.IsEmpty());
    EXPECT_EQ(memory.FramePixels(), nullptr);
    EXPECT_EQ(memory.StrideBytes(), 0);
    std::string const text = log.Lines();
    size_t const first = text.find("code : m_base_malloc in CoreX/XFrameBufferMemory.cpp");
    size_t const second = text.find(
        "code : Construct(frame_malloc_size, frame_start_offset, frame_stride_bytes) in "
        "CoreX/XFrameBufferMemory.cpp");
    EXPECT_NE(first, std::string::npos) << text;
    EXPECT_NE(second, std::string::npos) << text;
    EXPECT_LT(first, second) << "the allocation's line comes first";
}

TEST(XFrameBufferMemory, RefusesNegativeSizesAndMovesOwnership) {
    TestLogCapture log;
    XFrameBufferMemory memory;
    EXPECT_FALSE(memory.SetFrameDimensions(-16, 10));
    EXPECT_TRUE(memory.IsEmpty());
    EXPECT_NE(log.Lines().find("VERIFY FAILED"), std::string::npos);

    XFrameBufferMemory owner(16, 16);
    uint8_t* pixels = owner.FramePixels();
    XFrameBufferMemory moved(std::move(owner));
    EXPECT_TRUE(owner.IsEmpty());
    EXPECT_EQ(moved.FramePixels(), pixels);
    moved.Empty();
    EXPECT_TRUE(moved.IsEmpty());
    EXPECT_EQ(moved.MallocSize(), 0u);
}

}  // namespace
