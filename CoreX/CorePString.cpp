#include "CoreX/CorePString.h"

#include <cstring>

#include "CoreX/CoreMachDebugLog.h"

CorePString& CorePString::operator=(char const* text) {
    std::size_t length = text != nullptr ? std::strlen(text) : 0;
    if (length > kMaxLength) {
        length = kMaxLength;
    }
    std::memmove(mStorage + 1, text != nullptr ? text : "", length);
    mStorage[0] = static_cast<unsigned char>(length);
    mStorage[length + 1] = 0;
    return *this;
}

CorePString& CorePString::operator=(unsigned char const* pstring) {
    if (pstring == nullptr) {
        Clear();
        return *this;
    }
    unsigned const length = pstring[0];
    std::memmove(mStorage + 1, pstring + 1, length);
    mStorage[0] = static_cast<unsigned char>(length);
    mStorage[length + 1] = 0;
    return *this;
}

bool CorePString::operator==(char const* text) const {
    if (text == nullptr) {
        return false;
    }
    std::size_t const length = std::strlen(text);
    return length == mStorage[0] && std::memcmp(mStorage + 1, text, length) == 0;
}

bool CorePString::operator==(unsigned char const* pstring) const {
    return pstring != nullptr && pstring[0] == mStorage[0] &&
           std::memcmp(mStorage + 1, pstring + 1, mStorage[0]) == 0;
}

unsigned char const* CorePString::strcatc(char c) {
    unsigned const length = mStorage[0];
    if (length < kMaxLength) {
        mStorage[length + 1] = static_cast<unsigned char>(c);
        mStorage[length + 2] = 0;
        mStorage[0] = static_cast<unsigned char>(length + 1);
    }
    return mStorage;
}

unsigned char const* CorePString::strcat(unsigned char const* pstring) {
    if (pstring == nullptr) {
        return mStorage;
    }
    unsigned const pstring_len = mStorage[0];
    unsigned const rhs_len = pstring[0];
    VERIFY_TEXT(pstring_len + rhs_len <= kMaxLength, "pstring_len+rhs_len");
    // The appended characters are kept inside the storage; the length byte wraps.
    unsigned const room = kMaxLength - pstring_len;
    unsigned const copied = rhs_len < room ? rhs_len : room;
    std::memmove(mStorage + 1 + pstring_len, pstring + 1, copied);
    mStorage[0] = static_cast<unsigned char>(pstring_len + rhs_len);
    mStorage[mStorage[0] + 1] = 0;
    return mStorage;
}

void CorePString::strcpy(unsigned char* dest, unsigned short size) const {
    if (dest == nullptr || size == 0) {
        return;
    }
    unsigned length = mStorage[0];
    if (length + 1u > size) {
        length = size - 1u;
    }
    dest[0] = static_cast<unsigned char>(length);
    std::memmove(dest + 1, mStorage + 1, length);
}

void CorePString::AssignTo(char* dest) const {
    if (dest != nullptr) {
        std::memmove(dest, mStorage + 1, mStorage[0]);
        dest[mStorage[0]] = 0;
    }
}
