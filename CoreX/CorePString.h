#pragma once
// A length-prefixed string of at most 255 characters, as device and input names are kept.
// A zero byte always follows the last character, so c_str() is usable as a C string.

#include <cstddef>

class CorePString {
public:
    static constexpr unsigned kMaxLength = 255;

    CorePString() { Clear(); }
    CorePString(char const* text) { *this = text; }                 // NOLINT: implicit on purpose
    CorePString(unsigned char const* pstring) { *this = pstring; }  // NOLINT

    CorePString& operator=(char const* text);
    CorePString& operator=(unsigned char const* pstring);
    CorePString& operator=(CorePString const& other) = default;

    bool operator==(char const* text) const;
    bool operator==(unsigned char const* pstring) const;
    bool operator==(CorePString const& other) const { return *this == other.mStorage; }

    // Appends one character; nothing changes when the string is full.
    unsigned char const* strcatc(char c);
    // Appends a Pascal string. The length wraps at 256, which is logged.
    unsigned char const* strcat(unsigned char const* pstring);

    // Copy out: a Pascal string into `dest` of `size` bytes (cut to fit), or a C string.
    void strcpy(unsigned char* dest, unsigned short size) const;
    void AssignTo(unsigned char* dest, unsigned short size) const { strcpy(dest, size); }
    void AssignTo(char* dest) const;

    unsigned strlen() const { return mStorage[0]; }
    static constexpr std::size_t string_size() { return sizeof(mStorage); }
    unsigned char const* pstring() const { return mStorage; }
    char const* c_str() const { return reinterpret_cast<char const*>(mStorage + 1); }

    void Clear() {
        mStorage[0] = 0;
        mStorage[1] = 0;
    }

private:
    unsigned char mStorage[kMaxLength + 2];  // length, characters, zero byte
};
