// Capacity, copy and hex rules of the counted and length-prefixed strings.

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CoreX/CoreCString.h"
#include "CoreX/CoreException.h"
#include "CoreX/CorePString.h"
#include "tests/support/TestLogCapture.h"

namespace {

TEST(CoreCStringTest, CapacityGrowsOnlyWhenNeededAndOwnTextIsKept) {
    CoreCString s("abc", 10);
    s = "12345678";  // fits: the buffer is reused
    EXPECT_EQ(s.capacity(), 10);
    s = "abcdefghijklmnopqrst";
    EXPECT_EQ(s.capacity(), 21);
    s += "uv";
    EXPECT_STREQ(s.c_str(), "abcdefghijklmnopqrstuv");
    s = s.c_str() + 2;  // assignment from its own text
    EXPECT_STREQ(s.c_str(), "cdefghijklmnopqrstuv");
    s.Alloc(s.c_str(), 0);  // the buffer is reused
    EXPECT_STREQ(s.c_str(), "cdefghijklmnopqrstuv");
    s.Alloc(s.c_str(), 100);  // the buffer is replaced: the text must not be read after
    EXPECT_STREQ(s.c_str(), "cdefghijklmnopqrstuv");
    EXPECT_EQ(s.capacity(), 100);
    s.Alloc(s.c_str() + 1, 0);
    EXPECT_STREQ(s.c_str(), "defghijklmnopqrstuv");
}

TEST(CoreCStringTest, BoundedCopiesUseTheLargerCountAndTheCapacityAndSizedOnesNeverGrow) {
    CoreCString big(static_cast<char const*>(nullptr), 100);
    big.safe_strncpy("sixsix", 2);
    EXPECT_STREQ(big.c_str(), "sixsix") << "a short n never shortens the copy";
    big.safe_strncpy("ab", 5);
    EXPECT_EQ(std::memcmp(big.c_str(), "ab\0\0\0\0", 6), 0) << "pads with zero bytes";
    CoreCString small(static_cast<char const*>(nullptr), 4);
    small.safe_strcpy("abcdef");
    EXPECT_STREQ(small.c_str(), "abc");
    EXPECT_EQ(small.capacity(), 4);
    small.safe_strcpy(nullptr);
    EXPECT_STREQ(small.c_str(), "");

    // The sized string never grows.
    CoreCStringSized sized("ab", 5);
    sized.strcat("cdef");
    EXPECT_STREQ(sized.c_str(), "abcd");
    EXPECT_EQ(sized.capacity(), 5);
    sized.truncate("123456");
    EXPECT_STREQ(sized.c_str(), "1234");
}

TEST(CoreCStringTest, MissingBufferThrowsNilExceptionButAllocRecovers) {
    CoreCString s("text");
    s.Delete();
    try {
        s.Empty();
        FAIL() << "Empty() without a buffer must throw";
    } catch (CoreException const& e) {
        EXPECT_STREQ(e.message, "Nil exception pointer");
    }
    EXPECT_THROW(s.safe_strcpy("x"), CoreException);
    s.Alloc("back", 0);
    EXPECT_STREQ(s.c_str(), "back");
}

TEST(CoreCStringTest, HexTextsStayInsideTheSixteenBitCapacity) {
    std::vector<unsigned char> const bytes(20000, 0xAB);
    CoreCString hex;
    hex.EncodeHexString(bytes.data(), static_cast<unsigned int>(bytes.size()), 0, ':');
    std::size_t const length = std::strlen(hex.c_str());
    EXPECT_LT(length, hex.capacity());
    EXPECT_GT(length, 40000u);
    EXPECT_EQ(length % 3, 0u) << "whole pairs with their separators";

    std::string const digits(140000, 'f');
    CoreCString decoded;
    unsigned int const count = decoded.DecodeHexString(digits.c_str());
    EXPECT_LT(count, decoded.capacity());
    EXPECT_GT(count, 60000u);
    EXPECT_EQ(static_cast<unsigned char>(decoded.c_str()[count - 1]), 0xFF);
}

TEST(CoreCStringTest, HexEncodingCarriesEverySeparatorAndDecodingSkipsNoise) {
    unsigned char const bytes[] = {0x0A, 0xFF, 0x10};
    CoreCString hex;
    hex.EncodeHexString(bytes, 2, 0, ':');
    EXPECT_STREQ(hex.c_str(), "0A:FF:");
    hex.EncodeHexString(bytes, 3, 0, 0);
    EXPECT_STREQ(hex.c_str(), "0AFF10");
    hex.EncodeHexString(bytes, 3, 1, 0);
    EXPECT_STREQ(hex.c_str(), "0A") << "maxBytes limits the bytes";
    EXPECT_STREQ(CoreCString::HexDigitPairFromByte(bytes, 5), "0A ") << "control separator";
    EXPECT_STREQ(CoreCString::HexDigitPairFromByte(bytes, static_cast<char>(0xC3)), "0A ");

    CoreCString decoded;
    EXPECT_EQ(decoded.DecodeHexString("0a ff 1"), 2u);
    EXPECT_EQ(std::memcmp(decoded.c_str(), "\x0A\xFF", 3), 0) << "two bytes and a zero";
    EXPECT_STREQ(CoreCString(0x72343038UL, 0).c_str(), "0x72343038 'r408'");
}

TEST(CorePStringTest, LengthByteAndZeroTerminator) {
    CorePString p("camera");
    unsigned char const other[] = {3, 'a', 'b', 'c'};
    p.strcat(other);
    EXPECT_STREQ(p.c_str(), "cameraabc");
    EXPECT_TRUE(p == "cameraabc");
    EXPECT_FALSE(p == "Cameraabc");
    unsigned char out[4];
    p.strcpy(out, sizeof(out));
    EXPECT_EQ(std::memcmp(out, "\3cam", 4), 0) << "length byte 3, then the text";
}

TEST(CorePStringTest, LongTextIsCutFullStringIgnoresCharactersAndOverlongAppendWraps) {
    CorePString p(std::string(300, 'x').c_str());
    EXPECT_EQ(std::strlen(p.c_str()), 255u) << "a long text is cut";
    p.strcatc('y');
    EXPECT_EQ(p.strlen(), 255u);
    EXPECT_EQ(p.c_str()[254], 'x');
    TestLogCapture log;
    CorePString longText(std::string(200, 'a').c_str());
    unsigned char tail[101] = {100};
    std::memset(tail + 1, 'b', 100);
    longText.strcat(tail);
    EXPECT_EQ(longText.strlen(), (200u + 100u) & 0xFFu) << "the length byte wraps";
    EXPECT_TRUE(
        log.Contains("VERIFY FAILED:  code : pstring_len+rhs_len in CoreX/CorePString.cpp:"));
}

}  // namespace
