#include "CoreX/CoreCString.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "CoreX/CoreException.h"
#include "CoreX/CorePString.h"

namespace {

constexpr char kNilException[] = "Nil exception pointer";
constexpr char kHexDigits[] = "0123456789ABCDEF";
// The hex texts are allocated as 4n + 9 and n + 9 bytes; n is bounded so that fits in the
// 16-bit capacity.
constexpr unsigned int kMaxHexEncodedBytes = (0xFFFFu - 9u) / 4u;
constexpr unsigned int kMaxHexDecodedBytes = 0xFFFFu - 9u;

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string FromPascal(unsigned char const* pstring) {
    return pstring != nullptr ? std::string(reinterpret_cast<char const*>(pstring + 1), pstring[0])
                              : std::string();
}

}  // namespace

CoreCString::CoreCString(unsigned char const* pstring, unsigned short minSize) {
    Alloc(FromPascal(pstring).c_str(), minSize);
}

CoreCString::CoreCString(CorePString const& other, unsigned short minSize) {
    Alloc(other.c_str(), minSize);
}

CoreCString::CoreCString(unsigned long code, unsigned short minSize) {
    Alloc(nullptr, minSize);
    ConstructFourCharCode(code);
}

char* CoreCString::Buffer() const {
    if (mBuffer == nullptr) {
        throw CoreException(kNilException);
    }
    return mBuffer;
}

void CoreCString::Alloc(char const* text, unsigned short minSize) {
    // Text inside our own buffer is copied out first: the buffer may be freed below, and its
    // first byte is overwritten before the copy.
    std::string ownText;
    std::less<char const*> const before;
    if (text != nullptr && mBuffer != nullptr && !before(text, mBuffer) &&
        before(text, mBuffer + mCapacity)) {
        ownText = text;
        text = ownText.c_str();
    }
    std::size_t const needed = text != nullptr ? std::strlen(text) + 1 : 1;
    // The capacity is 16 bits wide: a larger request is recorded modulo 65,536.
    unsigned short size = static_cast<unsigned short>(needed > minSize ? needed : minSize);
    if (size == 0) {
        size = 1;
    }
    if (mBuffer != nullptr && size > mCapacity) {
        delete[] mBuffer;
        mBuffer = nullptr;
    }
    if (mBuffer == nullptr) {
        mBuffer = new char[size];
        mCapacity = size;
    }
    mBuffer[0] = 0;
    if (text != nullptr) {
        safe_strcpy(text);
    }
}

void CoreCString::safe_strcpy(char const* text) {
    safe_strncpy(text, text != nullptr ? static_cast<unsigned short>(std::strlen(text)) : 0);
}

void CoreCString::safe_strncpy(char const* text, unsigned short n) {
    char* buffer = Buffer();
    if (text == nullptr) {
        buffer[0] = 0;
        return;
    }
    std::size_t const length = std::strlen(text);
    std::size_t count = length > n ? length : n;
    std::size_t const limit = mCapacity > 0 ? mCapacity - 1u : 0u;
    if (count > limit) {
        count = limit;
    }
    if (count == 0) {
        buffer[0] = 0;
        return;
    }
    // Like strncpy: characters beyond the text's end are zero bytes.
    std::size_t const copied = length < count ? length : count;
    std::memmove(buffer, text, copied);
    std::memset(buffer + copied, 0, count - copied);
    buffer[count] = 0;
}

CoreCString& CoreCString::operator=(char const* text) {
    if (text != mBuffer) {
        std::string const copy = text != nullptr ? text : "";  // text may point into us
        Alloc(copy.c_str(), 0);
    }
    return *this;
}

CoreCString& CoreCString::operator=(unsigned char const* pstring) {
    return *this = FromPascal(pstring).c_str();
}

CoreCString& CoreCString::operator=(CoreCString const& other) {
    if (this != &other) {
        *this = other.mBuffer != nullptr ? other.mBuffer : "";
    }
    return *this;
}

CoreCString& CoreCString::operator=(CorePString const& other) { return *this = other.c_str(); }

CoreCString& CoreCString::operator+=(char const* text) {
    if (text == nullptr) {
        return *this;
    }
    std::string joined = c_str();
    joined += text;
    Alloc(joined.c_str(), 0);
    return *this;
}

CoreCString& CoreCString::operator+=(unsigned char const* pstring) {
    return *this += FromPascal(pstring).c_str();
}

bool CoreCString::operator==(char const* text) const {
    return text != nullptr && std::strcmp(c_str(), text) == 0;
}

bool CoreCString::operator==(unsigned char const* pstring) const {
    return pstring != nullptr && FromPascal(pstring) == c_str();
}

char const* CoreCString::c_str() const { return Buffer(); }

void CoreCString::AssignTo(char* dest) const {
    if (dest != nullptr) {
        std::strcpy(dest, c_str());
    }
}

void CoreCString::AssignTo(unsigned char* pdest, unsigned int size) const {
    if (pdest == nullptr || size == 0) {
        return;
    }
    std::size_t length = std::strlen(c_str());
    if (length > 255) {
        length = 255;
    }
    if (length + 1 > size) {
        length = size - 1;
    }
    pdest[0] = static_cast<unsigned char>(length);
    std::memcpy(pdest + 1, c_str(), length);
}

void CoreCString::trim_leading_whitespace() {
    char* buffer = Buffer();
    char* start = buffer;
    while (*start != 0 && std::isspace(static_cast<unsigned char>(*start))) {
        ++start;
    }
    std::memmove(buffer, start, std::strlen(start) + 1);
}

void CoreCString::trim_trailing_whitespace() {
    char* buffer = Buffer();
    std::size_t length = std::strlen(buffer);
    while (length > 0 && std::isspace(static_cast<unsigned char>(buffer[length - 1]))) {
        buffer[--length] = 0;
    }
}

void CoreCString::trim_trailing_and_leading_whitespace() {
    trim_trailing_whitespace();
    trim_leading_whitespace();
}

double CoreCString::AsDouble() const { return std::strtod(c_str(), nullptr); }

void CoreCString::Delete() {
    delete[] mBuffer;
    mBuffer = nullptr;
    mCapacity = 0;
}

void CoreCString::Empty() { Buffer()[0] = 0; }

bool CoreCString::ConstructFourCharCode(unsigned long code) {
    Delete();
    printf("0x%08lx '%c%c%c%c'", code, static_cast<char>((code >> 24) & 0xFF),
           static_cast<char>((code >> 16) & 0xFF), static_cast<char>((code >> 8) & 0xFF),
           static_cast<char>(code & 0xFF));
    return mBuffer != nullptr;
}

void CoreCString::printf(char const* format, ...) {
    constexpr std::size_t kScratchBytes = 2050;
    std::unique_ptr<char, decltype(&std::free)> scratch(
        static_cast<char*>(std::malloc(kScratchBytes)), &std::free);
    if (!scratch) {
        throw CoreException("CoreCString::printf out of memory");
    }
    va_list args;
    va_start(args, format);
    std::vsnprintf(scratch.get(), kScratchBytes, format, args);
    va_end(args);
    Alloc(scratch.get(), 0);
}

void CoreCString::sprintf(char* dest, unsigned long size, char const* format, ...) {
    if (dest == nullptr || size == 0) {
        return;
    }
    va_list args;
    va_start(args, format);
    std::vsnprintf(dest, size, format, args);
    va_end(args);
}

char const* CoreCString::HexDigitPairFromByte(unsigned char const* byte, char separator) {
    static char sPair[4];
    sPair[0] = kHexDigits[*byte >> 4];
    sPair[1] = kHexDigits[*byte & 0x0F];
    if (separator != 0) {
        sPair[2] = static_cast<signed char>(separator) >= 32 ? separator : ' ';
        sPair[3] = 0;
    } else {
        sPair[2] = 0;
    }
    return sPair;
}

void CoreCString::EncodeHexString(void const* data, unsigned int length, unsigned int maxBytes,
                                  char separator) {
    unsigned int n = maxBytes != 0 && maxBytes < length ? maxBytes : length;
    // No more than the 16-bit capacity holds: a longer text would be written past the end.
    if (n > kMaxHexEncodedBytes) {
        n = kMaxHexEncodedBytes;
    }
    Alloc(static_cast<unsigned short>(4 * n + 9));
    char* out = Buffer();
    std::size_t used = 0;
    auto const* bytes = static_cast<unsigned char const*>(data);
    for (unsigned int i = 0; i < n && bytes != nullptr; ++i) {
        char const* pair = HexDigitPairFromByte(bytes + i, separator);
        std::size_t const pairLength = std::strlen(pair);
        std::memcpy(out + used, pair, pairLength);
        used += pairLength;
    }
    out[used] = 0;
}

CoreCString CoreCString::AsHexString() const {
    CoreCString hex;
    hex.HexData(c_str(), static_cast<unsigned int>(std::strlen(c_str())), 0);
    return hex;
}

unsigned int CoreCString::DecodeHexString(char const* text) {
    unsigned int digits = 0;
    for (char const* p = text; p != nullptr && *p != 0; ++p) {
        digits += HexValue(*p) >= 0 ? 1 : 0;
    }
    unsigned int bytes = digits / 2;
    if (bytes > kMaxHexDecodedBytes) {
        bytes = kMaxHexDecodedBytes;  // what the 16-bit capacity holds
    }
    Alloc(static_cast<unsigned short>(bytes + 9));
    auto* out = reinterpret_cast<unsigned char*>(Buffer());
    unsigned int stored = 0;
    int high = -1;
    for (char const* p = text; p != nullptr && *p != 0 && stored < bytes; ++p) {
        int const value = HexValue(*p);
        if (value < 0) {
            continue;
        }
        if (high < 0) {
            high = value;
        } else {
            out[stored++] = static_cast<unsigned char>(high << 4 | value);
            out[stored] = 0;
            high = -1;
        }
    }
    return stored;
}

void CoreCStringSized::strcat(char const* text) {
    if (text == nullptr) {
        return;
    }
    char* buffer = Buffer();
    std::size_t const used = std::strlen(buffer);
    std::size_t const room = capacity() > used + 1 ? capacity() - used - 1 : 0;
    std::size_t length = std::strlen(text);
    if (length > room) {
        length = room;
    }
    std::memmove(buffer + used, text, length);
    buffer[used + length] = 0;
}
