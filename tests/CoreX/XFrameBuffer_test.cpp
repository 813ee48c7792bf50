// Frame descriptors (types, fields, crops, debug print) and the aligned frame memory layout.

#include "CoreX/XFrameBuffer.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "CoreX/XFrameBufferMemory.h"
#include "tests/CoreX/XFrameTestSupport.h"

#if defined(__SANITIZE_ADDRESS__)
// The failed-allocation test asks for an impossible block; AddressSanitizer must answer with
// a null pointer, as the C library does, instead of stopping the program.
extern "C" char const* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

using XFrameTest::LogCapture;

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

TEST(XFrameBuffer, EmptyDescriptorIsAllZeroWithTypeZeroZeroZeroZero) {
    XFrameBuffer frame;
    EXPECT_EQ(frame.PixelType, XFrameFourCC("0000"));
    EXPECT_EQ(frame.PixelType, 0x30303030u);
    EXPECT_EQ(frame.Pixels, nullptr);
    EXPECT_EQ(frame.Width | frame.Height | frame.RowBytes | frame.BytesPerPixel, 0);
    EXPECT_EQ(frame.Fields, 0u);
}

TEST(XFrameBuffer, FrameTypeMatchesExactStandardSizesOnly) {
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(720, 486), 6);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(720, 576), 9);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(640, 360), 0);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(352, 240), 1);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(640, 486), 3);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(768, 486), 7);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(352, 576), 8);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(800, 600), 11);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(1280, 720), 14);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(1920, 1088), 15);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(1920, 1152), 16);
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(480, 640), 0) << "width and height are not interchangeable";
    EXPECT_EQ(XFrameBuffer::FrameTypeOf(0, 0), 0) << "the all-zero end row is not a match";
    EXPECT_EQ(Descriptor(704, 576).FrameTypeOf(), 9);
}

TEST(XFrameBuffer, HasTwoFieldsFromFlagsOrElseFromSize) {
    EXPECT_TRUE(Descriptor(640, 480).HasTwoFields());
    EXPECT_TRUE(Descriptor(800, 600).HasTwoFields()) << "not an interlaced type, but even and tall";
    EXPECT_FALSE(Descriptor(320, 240).HasTwoFields());
    EXPECT_TRUE(Descriptor(1280, 720).HasTwoFields());
    EXPECT_FALSE(Descriptor(640, 481).HasTwoFields());
    EXPECT_TRUE(Descriptor(352, 240, kXFrameFields_Two).HasTwoFields());
    EXPECT_TRUE(Descriptor(352, 240, kXFrameFields_BottomFirst).HasTwoFields());
    EXPECT_FALSE(Descriptor(640, 480, kXFrameFields_One).HasTwoFields())
        << "known fields override the size";
    EXPECT_FALSE(Descriptor(640, 480, 0x0100).HasTwoFields()) << "only bit 0x0002 counts";
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

TEST(XFrameBuffer, CroppedBufferMovesTheFirstPixelAndShrinks) {
    XFrameBuffer frame = Descriptor(100, 50);
    XFrameBuffer crop;
    frame.GetCroppedBuffer(crop, 3, 2, 5, 7);
    EXPECT_EQ(crop.Width, 92);
    EXPECT_EQ(crop.Height, 41);
    EXPECT_EQ(crop.Pixels, frame.Pixels + 3 * 4 + 2 * frame.RowBytes);
    EXPECT_EQ(crop.RowBytes, frame.RowBytes);
}

TEST(XFrameBuffer, CoreDebugPrintLogsTitleSizeAndFields) {
    LogCapture log;
    Descriptor(640, 480, kXFrameFields_TopFirst).CoreDebugPrint("Left eye");
    EXPECT_EQ(log.Text(),
              "-----------\nLeft eye XFrameBuffer Properties\n"
              "Width,Height = (640,480)\n"
              "Fields  = 0102\n");
}

TEST(XFrameBuffer, PixelFormatCodesMapBothWays) {
    EXPECT_EQ(QuickTimeFourCharCodeFromPelFormat(kXFrame_Pel_RYUV), XFrameFourCC("r408"));
    EXPECT_EQ(QuickTimeFourCharCodeFromPelFormat(kXFrame_Pel_VYUV), XFrameFourCC("v408"));
    EXPECT_EQ(QuickTimeFourCharCodeFromPelFormat(kXFrame_Pel_8RGB), 32u);
    EXPECT_EQ(QuickTimeFourCharCodeFromPelFormat(kXFrame_Pel_None), 32u);
    EXPECT_EQ(PelFormatFromQuickTimeFourCharCode(XFrameFourCC("r408")), kXFrame_Pel_RYUV);
    EXPECT_EQ(PelFormatFromQuickTimeFourCharCode(XFrameFourCC("v408")), kXFrame_Pel_VYUV);
    EXPECT_EQ(PelFormatFromQuickTimeFourCharCode(XFrameFourCC("2vuy")), kXFrame_Pel_8RGB);
}

TEST(XFrameBufferMemory, ZeroSizeFrameHasFourRowsOf64BytesAndStartsAt80) {
    XFrameBufferMemory memory(0, 0);
    ASSERT_FALSE(memory.IsEmpty());
    EXPECT_EQ(memory.MallocSize(), 256u);
    EXPECT_EQ(memory.StrideBytes(), 64);
    EXPECT_EQ(memory.FramePixels() - memory.BaseMalloc(), 80);
}

TEST(XFrameBufferMemory, LayoutHasGuardRowSpareRowsAndAlignedRows) {
    XFrameBufferMemory memory(640, 480);
    ASSERT_FALSE(memory.IsEmpty());
    EXPECT_EQ(memory.StrideBytes(), 640 * 4 + 64);
    EXPECT_EQ(memory.MallocSize(), size_t(484) * (640 * 4 + 64));
    EXPECT_EQ(memory.FramePixels() - memory.BaseMalloc(), 640 * 4 + 80);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory.BaseMalloc()) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory.FramePixels()) % 16, 0u);
    EXPECT_EQ(memory.StrideBytes() % 16, 0);
    // The whole frame and its last row's spare bytes are inside the block: write them all.
    uint8_t* end = memory.FramePixels() + 480 * memory.StrideBytes();
    EXPECT_LE(end, memory.BaseMalloc() + memory.MallocSize());
    std::fill(memory.FramePixels(), end, uint8_t(7));

    // A width that is not a multiple of 4 keeps the layout, and with it unaligned rows.
    ASSERT_TRUE(memory.SetFrameDimensions(5, 3));
    EXPECT_EQ(memory.StrideBytes(), 84);
    EXPECT_EQ(memory.MallocSize(), 7u * 84);
    EXPECT_EQ(memory.FramePixels() - memory.BaseMalloc(), 100);
    EXPECT_EQ(memory.Width(), 5);
    EXPECT_EQ(memory.Height(), 3);
}

TEST(XFrameBufferMemory, FailedAllocationIsLoggedTwiceAndLeavesItEmpty) {
    LogCapture log;
    XFrameBufferMemory memory(64, 64);
    ASSERT_FALSE(memory.IsEmpty());
    EXPECT_FALSE(memory.SetFrameDimensions(500'000'000, 1'000'000'000));
    EXPECT_TRUE(memory.IsEmpty());
    EXPECT_EQ(memory.FramePixels(), nullptr);
    EXPECT_EQ(memory.StrideBytes(), 0);
    std::string const text = log.Text();
    size_t const first = text.find("code : m_base_malloc in CoreX/XFrameBufferMemory.cpp");
    size_t const second = text.find(
        "code : Construct(frame_malloc_size, frame_start_offset, frame_stride_bytes) in "
        "CoreX/XFrameBufferMemory.cpp");
    EXPECT_NE(first, std::string::npos) << text;
    EXPECT_NE(second, std::string::npos) << text;
    EXPECT_LT(first, second) << "the allocation's line comes first";
}

TEST(XFrameBufferMemory, RefusesNegativeSizesAndMovesOwnership) {
    LogCapture log;
    XFrameBufferMemory memory;
    EXPECT_FALSE(memory.SetFrameDimensions(-16, 10));
    EXPECT_TRUE(memory.IsEmpty());
    EXPECT_NE(log.Text().find("VERIFY FAILED"), std::string::npos);

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
