// The frame container: owned aligned frames, aliases of other memory, field aliases, the
// QImage view and copies.

#include "CoreX/XFrameWorld.h"

#include <cstring>
#include <vector>

#include <QColor>

#include <gtest/gtest.h>

#include "tests/CoreX/XFrameTestSupport.h"

namespace {

using XFrameTest::LogCapture;

bool IsAligned16(void const* p) { return reinterpret_cast<uintptr_t>(p) % 16 == 0; }

TEST(XFrameWorld, OwnedFramesAreVectorAligned) {
    XFrameWorld world;
    ASSERT_TRUE(world.Construct(QRect(0, 0, 640, 480), kXFrame_Pel_VYUV));
    EXPECT_TRUE(world.OwnsPixels());
    EXPECT_EQ(world.Width, 640);
    EXPECT_EQ(world.Height, 480);
    EXPECT_EQ(world.PixelType, kXFrame_Pel_VYUV);
    EXPECT_EQ(world.BytesPerPixel, 4);
    EXPECT_EQ(world.RowBytes, 640 * 4 + 64);
    EXPECT_TRUE(IsAligned16(world.Pixels));
    EXPECT_EQ(XFrame_VectorAlignmentMessage(&world, &world, world), nullptr);
    EXPECT_EQ(world.Bounds(), QRect(0, 0, 640, 480));

    // Rebuilding at another size keeps the type.
    ASSERT_TRUE(world.SetNewWidthHeight(320, 240));
    EXPECT_EQ(world.Width, 320);
    EXPECT_EQ(world.PixelType, kXFrame_Pel_VYUV);
    EXPECT_EQ(world.RowBytes, 320 * 4 + 64);

    world.Destruct();
    EXPECT_TRUE(world.IsEmpty());
    EXPECT_FALSE(world.OwnsPixels());
    EXPECT_EQ(world.PixelType, kXFrame_Pel_None);
}

TEST(XFrameWorld, EmptyBoundsAreRefusedAndLogged) {
    LogCapture log;
    XFrameWorld world;
    EXPECT_FALSE(world.Construct(0, 480, kXFrame_Pel_8RGB));
    EXPECT_TRUE(world.IsEmpty());
    EXPECT_NE(log.Text().find("VERIFY FAILED"), std::string::npos);
}

TEST(XFrameWorld, PtrAliasWrapsMemoryAndMapsThePixelFormat) {
    std::vector<uint8_t> memory(4 * 3 * 16);
    XFrameWorld world;
    ASSERT_TRUE(
        world.ConstructPtrAlias(QRect(0, 0, 3, 4), memory.data(), 48, XFrameFourCC("r408")));
    EXPECT_FALSE(world.OwnsPixels());
    EXPECT_EQ(world.Pixels, memory.data());
    EXPECT_EQ(world.RowBytes, 48);
    EXPECT_EQ(world.PixelType, kXFrame_Pel_RYUV);
    EXPECT_EQ(world.Fields, 0u);

    ASSERT_TRUE(
        world.ConstructPtrAlias(QRect(0, 0, 3, 4), memory.data(), 48, XFrameFourCC("yuvs")));
    EXPECT_EQ(world.PixelType, kXFrame_Pel_8RGB) << "other formats are 32-bit ARGB";

    LogCapture log;
    EXPECT_FALSE(world.ConstructPtrAlias(QRect(0, 0, 3, 4), nullptr, 48, 32));
    EXPECT_TRUE(world.IsEmpty());
    EXPECT_NE(log.Text().find("code : pixels in CoreX/XFrameWorld.cpp"), std::string::npos);
}

TEST(XFrameWorld, FrameBufferAliasNeedsAnEmptyWorld) {
    XFrameWorld owner;
    ASSERT_TRUE(owner.Construct(8, 4, kXFrame_Pel_VYUV));
    owner.Fields = kXFrameFields_TopFirst;

    XFrameWorld alias;
    ASSERT_TRUE(alias.ConstructFrameBufferAlias(owner));
    EXPECT_EQ(alias.Pixels, owner.Pixels);
    EXPECT_EQ(alias.RowBytes, owner.RowBytes);
    EXPECT_EQ(alias.PixelType, kXFrame_Pel_VYUV);
    EXPECT_EQ(alias.Fields, kXFrameFields_TopFirst);
    EXPECT_FALSE(alias.OwnsPixels());

    LogCapture log;
    XFrameWorld other;
    ASSERT_TRUE(other.Construct(2, 2, kXFrame_Pel_8RGB));
    EXPECT_FALSE(alias.ConstructFrameBufferAlias(other));
    EXPECT_EQ(alias.Pixels, owner.Pixels) << "a refused alias leaves the world as it was";
    EXPECT_NE(log.Text().find("code : IsEmpty() in CoreX/XFrameWorld.cpp"), std::string::npos);
}

TEST(XFrameWorld, FieldAliasIsEveryOtherRowOfTheFrame) {
    XFrameWorld frame;
    ASSERT_TRUE(frame.Construct(4, 5, kXFrame_Pel_8RGB));
    for (int y = 0; y < 5; ++y) {
        std::fill(frame.Pixels + y * frame.RowBytes, frame.Pixels + y * frame.RowBytes + 16,
                  uint8_t(y));
    }
    XFrameWorld bottom;
    ASSERT_TRUE(bottom.ConstructFieldAlias(frame, 1));
    EXPECT_EQ(bottom.Height, 2);
    EXPECT_EQ(bottom.RowBytes, 2 * frame.RowBytes);
    EXPECT_EQ(bottom.Fields, kXFrameFields_One);
    EXPECT_EQ(bottom.Pixels[0], 1);
    EXPECT_EQ(bottom.Pixels[bottom.RowBytes], 3);

    XFrameWorld top;
    ASSERT_TRUE(top.ConstructFieldAlias(frame, 0));
    EXPECT_EQ(top.Height, 2);
    EXPECT_EQ(top.Pixels[top.RowBytes], 2);
    // Writing through the alias writes the frame's rows.
    top.Pixels[top.RowBytes + 5] = 99;
    EXPECT_EQ(frame.Pixels[2 * frame.RowBytes + 5], 99);
}

TEST(XFrameWorld, FieldAliasRefusesOtherFieldOrders) {
    XFrameWorld frame;
    ASSERT_TRUE(frame.Construct(4, 4, kXFrame_Pel_8RGB));
    LogCapture log;
    XFrameWorld field;
    EXPECT_FALSE(field.ConstructFieldAlias(frame, 2));
    EXPECT_FALSE(field.ConstructFieldAlias(frame, -1));
    EXPECT_TRUE(field.IsEmpty());
    std::string const expected =
        "VERIFY FAILED:  code : (field_order==1) || (field_order==0) in CoreX/XFrameWorld.cpp:";
    std::string const text = log.Text();
    size_t const first = text.find(expected);
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_NE(text.find(expected, first + 1), std::string::npos) << "one line per refusal";
}

TEST(XFrameWorld, ImageViewSharesThePixelsOfArgbFramesOnly) {
    XFrameWorld world;
    ASSERT_TRUE(world.Construct(5, 3, kXFrame_Pel_8RGB));
    QImage image = world.Image();
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.format(), QImage::Format_ARGB32_Premultiplied);
    EXPECT_EQ(image.size(), QSize(5, 3));
    EXPECT_EQ(image.bytesPerLine(), world.RowBytes);
    EXPECT_EQ(image.constBits(), world.Pixels) << "a view, not a copy";
    image.setPixel(2, 1, 0xFF102030u);
    uint8_t const* pixel = world.Pixels + world.RowBytes + 8;
    EXPECT_EQ(pixel[0], 0x30);  // B, G, R, A in memory
    EXPECT_EQ(pixel[1], 0x20);
    EXPECT_EQ(pixel[2], 0x10);
    EXPECT_EQ(pixel[3], 0xFF);

    XFrameWorld yuv;
    ASSERT_TRUE(yuv.Construct(5, 3, kXFrame_Pel_RYUV));
    EXPECT_TRUE(yuv.Image().isNull());
}

TEST(XFrameWorld, CopyIsADeepAlignedCopy) {
    // 4 pixels wide: the owned layout's rows are 16-byte aligned for widths that are
    // multiples of 4.
    std::vector<uint8_t> memory(6 * 24);
    for (size_t i = 0; i < memory.size(); ++i) {
        memory[i] = uint8_t(i * 7);
    }
    XFrameWorld alias;
    ASSERT_TRUE(alias.ConstructPtrAlias(QRect(0, 0, 4, 6), memory.data() + 4, 24, 32));
    XFrameWorld source;
    ASSERT_TRUE(source.ConstructFrameBufferAlias(alias));
    source.Fields = kXFrameFields_Two;

    XFrameWorld copy(source);
    ASSERT_TRUE(copy.OwnsPixels());
    EXPECT_NE(copy.Pixels, source.Pixels);
    EXPECT_TRUE(IsAligned16(copy.Pixels));
    EXPECT_EQ(copy.Fields, kXFrameFields_Two);
    for (int y = 0; y < 6; ++y) {
        for (int i = 0; i < 16; ++i) {
            ASSERT_EQ(copy.Pixels[y * copy.RowBytes + i], memory[4 + y * 24 + i]) << y << "," << i;
        }
    }
}

TEST(XFrameWorld, CopyBitsScalesByNearestPixel) {
    XFrameWorld small;
    ASSERT_TRUE(small.Construct(2, 1, kXFrame_Pel_8RGB));
    uint32_t const colours[2] = {0x11111111u, 0x22222222u};
    std::memcpy(small.Pixels, colours, 8);
    XFrameWorld wide;
    ASSERT_TRUE(wide.Construct(4, 2, kXFrame_Pel_8RGB));
    ASSERT_TRUE(wide.CopyBits(small));
    for (int y = 0; y < 2; ++y) {
        uint32_t row[4];
        std::memcpy(row, wide.Pixels + y * wide.RowBytes, 16);
        EXPECT_EQ(row[0], colours[0]);
        EXPECT_EQ(row[1], colours[0]);
        EXPECT_EQ(row[2], colours[1]);
        EXPECT_EQ(row[3], colours[1]);
    }
    XFrameWorld empty;
    EXPECT_FALSE(wide.CopyBits(empty));
}

TEST(XFrameWorld, FieldInformationSetsFields) {
    XFrameWorld world;
    world.SetFieldsFromFieldInfo(1, 0);
    EXPECT_EQ(world.Fields, kXFrameFields_One);
    for (int ordering : {1, 9}) {
        world.SetFieldsFromFieldInfo(2, ordering);
        EXPECT_EQ(world.Fields, kXFrameFields_TopFirst) << ordering;
    }
    for (int ordering : {6, 14}) {
        world.SetFieldsFromFieldInfo(2, ordering);
        EXPECT_EQ(world.Fields, kXFrameFields_BottomFirst) << ordering;
    }
    world.SetFieldsFromFieldInfo(2, 0);
    EXPECT_EQ(world.Fields, kXFrameFields_Two);
    world.SetFieldsFromFieldInfo(0, 0);
    EXPECT_EQ(world.Fields, 0u);
}

}  // namespace
