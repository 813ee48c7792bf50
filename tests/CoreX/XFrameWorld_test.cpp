// The frame container: owned aligned frames, aliases of other memory, field aliases, the
// QImage view and copies.

#include "CoreX/XFrameWorld.h"

#include <cstring>
#include <numeric>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TestLogCapture.h"

namespace {

TEST(XFrameWorld, OwnedFramesAreVectorAlignedAndEmptyBoundsRefused) {
    XFrameWorld world;
    ASSERT_TRUE(world.Construct(QRect(0, 0, 640, 480), kXFrame_Pel_VYUV));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(world.Pixels) % 16, 0u);
    ASSERT_TRUE(world.SetNewWidthHeight(320, 240));
    // Rebuilding keeps the type.
    EXPECT_EQ(std::tuple(world.PixelType, world.RowBytes),
              std::tuple(kXFrame_Pel_VYUV, 320 * 4 + 64));

    TestLogCapture log;
    EXPECT_FALSE(world.Construct(0, 480, kXFrame_Pel_8RGB));
    EXPECT_TRUE(world.IsEmpty() && !world.OwnsPixels());
    EXPECT_TRUE(log.Contains("(bool XFrameWorld::ConstructVecFrame(")) << log.Lines();
}

TEST(XFrameWorld, AliasesWrapOtherMemoryAndMapThePixelFormat) {
    std::vector<uint8_t> memory(4 * 3 * 16);
    XFrameWorld world;
    ASSERT_TRUE(
        world.ConstructPtrAlias(QRect(0, 0, 3, 4), memory.data(), 48, XFrameFourCC("r408")));
    EXPECT_TRUE(!world.OwnsPixels() && world.Pixels == memory.data());
    EXPECT_EQ(world.PixelType, kXFrame_Pel_RYUV);
    ASSERT_TRUE(
        world.ConstructPtrAlias(QRect(0, 0, 3, 4), memory.data(), 48, XFrameFourCC("yuvs")));
    EXPECT_EQ(world.PixelType, kXFrame_Pel_8RGB) << "other formats are 32-bit ARGB";

    world.Fields = kXFrameFields_TopFirst;
    XFrameWorld alias;
    ASSERT_TRUE(alias.ConstructFrameBufferAlias(world));
    EXPECT_TRUE(alias.Pixels == memory.data() && alias.Fields == kXFrameFields_TopFirst);

    TestLogCapture log;
    EXPECT_FALSE(alias.ConstructFrameBufferAlias(world)) << "the world must be empty";
    EXPECT_EQ(alias.Pixels, memory.data()) << "a refused alias leaves the world as it was";
    EXPECT_FALSE(world.ConstructPtrAlias(QRect(0, 0, 3, 4), nullptr, 48, 32));
    EXPECT_TRUE(world.IsEmpty());
    EXPECT_TRUE(log.Contains("code : IsEmpty() in CoreX/XFrameWorld.cpp"));
    EXPECT_TRUE(log.Contains("code : pixels in CoreX/XFrameWorld.cpp"));
}

TEST(XFrameWorld, FieldAliasIsEveryOtherRowOfAFrameOrOfItsOwnPixels) {
    // The bottom field of another world, of the world itself, and of a descriptor copied from
    // it: AddressSanitizer reports a read of the pixels if an alias let its own go first.
    for (int source = 0; source < 3; ++source) {
        XFrameWorld frame;
        ASSERT_TRUE(frame.Construct(4, 5, kXFrame_Pel_8RGB));
        for (int y = 0; y < 5; ++y) {
            std::memset(frame.Pixels + y * frame.RowBytes, 10 + y, 16);
        }
        XFrameBuffer const copy = frame;
        XFrameWorld other;
        XFrameWorld& alias = source == 0 ? other : frame;
        ASSERT_TRUE(alias.ConstructFieldAlias(source == 2 ? copy : frame, 1)) << source;
        // The last of five rows is in neither field.
        EXPECT_EQ(std::tuple(frame.OwnsPixels(), alias.Height, alias.Fields, alias.Pixels[0],
                             alias.Pixels[alias.RowBytes + 15]),
                  std::tuple(true, 2, kXFrameFields_One, 11, 13))
            << source;
    }
    XFrameWorld frame;
    ASSERT_TRUE(frame.Construct(4, 5, kXFrame_Pel_8RGB));
    XFrameWorld top;
    ASSERT_TRUE(top.ConstructFieldAlias(frame, 0));
    top.Pixels[top.RowBytes + 5] = 99;
    EXPECT_EQ(frame.Pixels[2 * frame.RowBytes + 5], 99) << "the alias writes the frame's rows";

    TestLogCapture log;
    EXPECT_FALSE(top.ConstructFieldAlias(frame, 2));
    EXPECT_FALSE(top.ConstructFieldAlias(frame, -1));
    EXPECT_EQ(log.Count("VERIFY FAILED:  code : (field_order==1) || (field_order==0) in "
                        "CoreX/XFrameWorld.cpp:"),
              2u);
}

TEST(XFrameWorld, ImageViewSharesThePixelsOfArgbFramesOnly) {
    XFrameWorld world;
    ASSERT_TRUE(world.Construct(5, 3, kXFrame_Pel_8RGB));
    QImage image = world.Image();
    EXPECT_TRUE(image.constBits() == world.Pixels && image.bytesPerLine() == world.RowBytes)
        << "a view, not a copy";
    image.setPixel(2, 1, 0xFF102030u);
    uint8_t const bgra[4] = {0x30, 0x20, 0x10, 0xFF};
    EXPECT_EQ(std::memcmp(world.Pixels + world.RowBytes + 8, bgra, 4), 0);

    XFrameWorld yuv;
    ASSERT_TRUE(yuv.Construct(5, 3, kXFrame_Pel_RYUV));
    EXPECT_TRUE(yuv.Image().isNull());
}

TEST(XFrameWorld, CopiesAreDeepAndCopyBitsScales) {
    std::vector<uint8_t> memory(6 * 24);
    std::iota(memory.begin(), memory.end(), uint8_t(0));
    XFrameWorld source;
    ASSERT_TRUE(source.ConstructPtrAlias(QRect(0, 0, 4, 6), memory.data() + 4, 24, 32));
    source.Fields = kXFrameFields_Two;
    XFrameWorld copy(source);
    ASSERT_TRUE(copy.OwnsPixels() && copy.Fields == kXFrameFields_Two);
    for (int y = 0; y < 6; ++y) {
        ASSERT_EQ(std::memcmp(copy.Pixels + y * copy.RowBytes, memory.data() + 4 + y * 24, 16), 0)
            << y;
    }

    XFrameWorld half;
    ASSERT_TRUE(half.Construct(2, 3, kXFrame_Pel_8RGB));
    ASSERT_TRUE(half.CopyBits(source)) << "another size: the nearest pixels";
    EXPECT_EQ(std::memcmp(half.Pixels + half.RowBytes + 4, memory.data() + 4 + 2 * 24 + 8, 4), 0);
    EXPECT_FALSE(half.CopyBits(XFrameWorld()));
}

}  // namespace
