// Frame descriptors (types and fields) and the aligned frame memory layout.

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

TEST(XFrameBuffer, FrameTypeAndFieldsFromExactStandardSizes) {
    // A size in the middle and at the end of the table; a swapped size; the all-zero end row
    // is no match.
    std::tuple<int, int, int> const types[] = {
        {720, 576, 9}, {1920, 1152, 16}, {480, 640, 0}, {0, 0, 0}};
    for (auto [width, height, type] : types) {
        EXPECT_EQ(XFrameBuffer::FrameTypeOf(width, height), type) << width << "x" << height;
    }
    // Known fields (0x0001 one, 0x0002 two) decide by bit 0x0002; without them an interlaced
    // type (640 x 480), or an even height of at least 480 (800 x 600), has two.
    std::tuple<int, int, uint32_t, bool> const fields[] = {
        {640, 480, 0, true},      {800, 600, 0, true},      {320, 240, 0, false},
        {640, 481, 0, false},     {352, 240, 0x0002, true}, {640, 480, 0x0001, false},
        {640, 480, 0x0100, false}};
    XFrameBuffer frame;
    for (auto [width, height, flags, two] : fields) {
        frame.Width = width;
        frame.Height = height;
        frame.Fields = flags;
        EXPECT_EQ(frame.HasTwoFields(), two) << width << "x" << height << " fields " << flags;
    }
}

TEST(XFrameBufferMemory, LayoutHasGuardRowSpareRowsAndAlignedRows) {
    // Width, height: stride, block size, frame start.
    std::tuple<int, int, int32_t, size_t, ptrdiff_t> const layouts[] = {
        {0, 0, 64, 256, 80}, {640, 480, 2624, 484u * 2624, 2640}, {5, 3, 84, 7u * 84, 100}};
    for (auto [width, height, stride, size, start] : layouts) {
        XFrameBufferMemory memory(width, height);
        ASSERT_FALSE(memory.IsEmpty());
        EXPECT_EQ(std::tuple(memory.StrideBytes(), memory.MallocSize(),
                             memory.FramePixels() - memory.BaseMalloc()),
                  std::tuple(stride, size, start));
        // The whole frame and its last row's spare bytes are inside the block.
        std::fill(memory.FramePixels(), memory.FramePixels() + height * stride, uint8_t(7));
    }
}

TEST(XFrameBufferMemory, RefusedSizesAreLoggedAndLeaveItEmpty) {
    TestLogCapture log;
    XFrameBufferMemory memory(64, 64);
    ASSERT_FALSE(memory.IsEmpty());
    EXPECT_FALSE(memory.SetFrameDimensions(500'000'000, 1'000'000'000));
    EXPECT_TRUE(memory.IsEmpty() && memory.FramePixels() == nullptr && memory.StrideBytes() == 0);
    std::string const text = log.Lines();
    size_t const first = text.find("code : m_base_malloc in CoreX/XFrameBufferMemory.cpp");
    size_t const second = text.find(
        "code : Construct(frame_malloc_size, frame_start_offset, frame_stride_bytes) in "
        "CoreX/XFrameBufferMemory.cpp");
    EXPECT_NE(second, std::string::npos) << text;
    EXPECT_LT(first, second) << "the allocation's line comes first";

    ASSERT_TRUE(memory.SetFrameDimensions(16, 16));
    EXPECT_FALSE(memory.SetFrameDimensions(-16, 10));
    EXPECT_TRUE(memory.IsEmpty());
    EXPECT_TRUE(log.Contains("code : fOk = (width >= 0 && height >= 0) in")) << log.Lines();
}

TEST(XFrameBufferMemory, MovesOwnership) {
    XFrameBufferMemory owner(16, 16);
    uint8_t* pixels = owner.FramePixels();
    XFrameBufferMemory moved(std::move(owner));
    EXPECT_TRUE(owner.IsEmpty());
    EXPECT_EQ(moved.FramePixels(), pixels);
}

}  // namespace
