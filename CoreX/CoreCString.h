#pragma once
// An owned, zero-terminated string with a recorded 16-bit capacity, bounded copies and the
// hexadecimal and four-character-code text used in debug output.

#include <string>

class CorePString;

class CoreCString {
public:
    CoreCString() { Alloc("", 0); }
    CoreCString(char const* text, unsigned short minSize = 0) { Alloc(text, minSize); }  // NOLINT
    CoreCString(unsigned char const* pstring, unsigned short minSize = 0);
    CoreCString(CoreCString const& other, unsigned short minSize = 0) {
        Alloc(other.mBuffer, minSize);
    }
    CoreCString(CorePString const& other, unsigned short minSize = 0);
    CoreCString(std::string const& text, unsigned short minSize = 0) {
        Alloc(text.c_str(), minSize);
    }
    // The four-character code as "0x72343038 'r408'".
    CoreCString(unsigned long code, unsigned short minSize);
    virtual ~CoreCString() { Delete(); }

    CoreCString& operator=(char const* text);
    CoreCString& operator=(unsigned char const* pstring);
    CoreCString& operator=(CoreCString const& other);
    CoreCString& operator=(CorePString const& other);
    CoreCString& operator=(std::string const& text) { return *this = text.c_str(); }

    CoreCString& operator+=(char const* text);
    CoreCString& operator+=(unsigned char const* pstring);
    CoreCString& operator+=(CoreCString const& other) { return *this += other.c_str(); }

    bool operator==(char const* text) const;
    bool operator==(unsigned char const* pstring) const;

    // Makes room for max(strlen(text) + 1, minSize) bytes, reusing the buffer when it is
    // large enough, then copies the text. Always leaves a buffer.
    void Alloc(char const* text, unsigned short minSize);
    void Alloc(unsigned short size) { Alloc(nullptr, size); }

    // Copies max(strlen(text), n) characters, cut to the capacity. Throws CoreException
    // when there is no buffer.
    void safe_strncpy(char const* text, unsigned short n);
    void safe_strcpy(char const* text);

    char const* c_str() const;
    char const* Get_const_cstring() const { return c_str(); }
    unsigned short capacity() const { return mCapacity; }
    bool HasBuffer() const { return mBuffer != nullptr; }

    void AssignTo(char* dest) const;
    void AssignTo(unsigned char* pdest, unsigned int size) const;

    void trim_leading_whitespace();
    void trim_trailing_whitespace();
    void trim_trailing_and_leading_whitespace();
    double AsDouble() const;

    void Delete();  // frees the buffer
    void Empty();   // empties the text, keeping the buffer

    bool ConstructFourCharCode(unsigned long code);

    // Formats into a 2,050-byte scratch block and takes the result as the text.
    void printf(char const* format, ...) __attribute__((format(printf, 2, 3)));
    static void sprintf(char* dest, unsigned long size, char const* format, ...)
        __attribute__((format(printf, 3, 4)));

    // Two upper-case hex digits and an optional separator (control and 8-bit separators
    // become a blank), in one static buffer that every call overwrites.
    static char const* HexDigitPairFromByte(unsigned char const* byte, char separator);
    void EncodeHexString(void const* data, unsigned int length, unsigned int maxBytes,
                         char separator);
    void HexData(void const* data, unsigned int length, unsigned int maxBytes) {
        EncodeHexString(data, length, maxBytes, 0);
    }
    CoreCString AsHexString() const;
    // Reads pairs of hex digits, skipping every other character; returns the byte count.
    // Both directions stop at what the 16-bit capacity can hold.
    unsigned int DecodeHexString(char const* text);

protected:
    char* Buffer() const;  // throws CoreException when there is none

private:
    char* mBuffer = nullptr;
    unsigned short mCapacity = 0;
};

// A CoreCString whose constructors all name their size, with its own bounded truncate and
// strcat.
class CoreCStringSized : public CoreCString {
public:
    explicit CoreCStringSized(unsigned short size)
        : CoreCString(static_cast<char const*>(nullptr), size) {}
    CoreCStringSized(char const* text, unsigned short size) : CoreCString(text, size) {}
    CoreCStringSized(unsigned char const* pstring, unsigned short size)
        : CoreCString(pstring, size) {}
    CoreCStringSized(unsigned long code, unsigned short size) : CoreCString(code, size) {}

    // Replaces the text, cut to the capacity without reallocating.
    void truncate(char const* text) { safe_strcpy(text); }
    // Appends as much of `text` as fits in the capacity, never reallocating.
    void strcat(char const* text);
};
