#pragma once
// The vocabulary of the capture component: status codes, rectangles, descriptions of camera
// frames, device lists with their inputs, and the shape of the data procedure.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "CoreX/CoreMachDebugLog.h"  // noErr, paramErr

using OSType = std::uint32_t;

// A four-character code as media types are written: 'vide' reads a, b, c, d from the top.
constexpr OSType MediaFourCC(char a, char b, char c, char d) {
    return (OSType(std::uint8_t(a)) << 24) | (OSType(std::uint8_t(b)) << 16) |
           (OSType(std::uint8_t(c)) << 8) | OSType(std::uint8_t(d));
}
// A pixel-format code packed as V4L2 and libyuv pack theirs: a in the lowest byte.
constexpr OSType PixelFourCC(char a, char b, char c, char d) {
    return OSType(std::uint8_t(a)) | (OSType(std::uint8_t(b)) << 8) |
           (OSType(std::uint8_t(c)) << 16) | (OSType(std::uint8_t(d)) << 24);
}
// The code as four characters ("MJPG"), for log lines.
inline std::string PixelFourCCText(OSType code) {
    std::string text(4, ' ');
    for (int i = 0; i < 4; ++i) {
        char const c = static_cast<char>((code >> (8 * i)) & 0xFF);
        text[i] = (c >= 32 && c < 127) ? c : '?';
    }
    return text;
}

constexpr OSType VideoMediaType = MediaFourCC('v', 'i', 'd', 'e');

// Frame formats of cameras (the V4L2 codes).
constexpr OSType kCodecMJPEG = PixelFourCC('M', 'J', 'P', 'G');
constexpr OSType kCodecJPEG = PixelFourCC('J', 'P', 'E', 'G');
constexpr OSType kCodecYUYV = PixelFourCC('Y', 'U', 'Y', 'V');
constexpr OSType kCodecUYVY = PixelFourCC('U', 'Y', 'V', 'Y');
constexpr OSType kCodecNV12 = PixelFourCC('N', 'V', '1', '2');
constexpr OSType kCodecNV21 = PixelFourCC('N', 'V', '2', '1');
constexpr OSType kCodecYUV420 = PixelFourCC('Y', 'U', '1', '2');
constexpr OSType kCodecYVU420 = PixelFourCC('Y', 'V', '1', '2');
constexpr OSType kCodecRGB24 = PixelFourCC('R', 'G', 'B', '3');  // bytes R, G, B
constexpr OSType kCodecBGR24 = PixelFourCC('B', 'G', 'R', '3');  // bytes B, G, R
constexpr OSType kCodecGrey = PixelFourCC('G', 'R', 'E', 'Y');

// Status codes of the capture component (0 is success, -50 a bad argument or closed object).
enum : int {
    sgNoDeviceErr = -9400,     // no camera of that name, or none that can be opened now
    sgDeviceBusyErr = -9401,   // another program or grabber holds the camera
    sgDeviceLostErr = -9402,   // the camera vanished while open (unplugged)
    sgBandwidthErr = -9403,    // the USB bus has no room left for the stream
    sgFormatErr = -9404,       // the camera offers no frame format that can be decoded
    sgDecodeErr = -9405,       // a frame could not be decoded; it was dropped
    sgNotPreparedErr = -9406,  // the channel has no open camera yet
    sgDeviceErr = -9407,       // any other failure of the device
};

// Why a camera could not be opened or used, for people.
inline char const* SGStatusText(int err) {
    switch (err) {
        case sgNoDeviceErr:
            return "it is not plugged in";
        case sgDeviceBusyErr:
            return "another program or grabber is using it";
        case sgDeviceLostErr:
            return "it vanished";
        case sgBandwidthErr:
            return "its USB bus has no bandwidth left";
        case sgFormatErr:
            return "it sends no frame format that can be decoded";
        default:
            return "the device failed";
    }
}

// Flags and selectors of the sequence grabber.
enum : long {
    sgDeviceListIncludeInputs = 4,  // device lists carry each device's input names
    seqGrabDontMakeMovie = 32,      // frames go to the data procedure only, nothing to disk
    seqGrabRecord = 1,              // channel usage: recording
    seqGrabPreview = 2,
};
enum : short { seqGrabWriteAppend = 0 };

// A rectangle in pixels, edges as QuickDraw keeps them.
struct SGRect {
    std::int16_t top = 0;
    std::int16_t left = 0;
    std::int16_t bottom = 0;
    std::int16_t right = 0;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool IsEmpty() const { return right <= left || bottom <= top; }
    bool operator==(SGRect const&) const = default;
};

// How the frames of an open camera are laid out.
struct ImageDescription {
    OSType cType = 0;               // frame format (kCodecMJPEG, kCodecYUYV, ...)
    std::int16_t width = 0;         // pixels
    std::int16_t height = 0;        // rows
    std::int32_t bytesPerLine = 0;  // row length of raw frames (padding included); 0 for JPEG
    std::int32_t dataSize = 0;      // the largest frame, in bytes
};

// Memory that frames are decompressed into: 32-bit ARGB words, rows `rowBytes` apart.
struct SGPixMap {
    std::uint8_t* baseAddr = nullptr;
    std::int32_t rowBytes = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

// A name of at most 63 characters behind its length byte, as device lists keep names.
using Str63 = unsigned char[64];

inline void PStr63FromCString(char const* text, Str63 out) {
    std::size_t const length = text == nullptr ? 0 : std::min<std::size_t>(std::strlen(text), 63);
    out[0] = static_cast<unsigned char>(length);
    if (length != 0) {
        std::memcpy(out + 1, text, length);
    }
}
inline void PStr63Copy(Str63 out, Str63 const in) { std::memcpy(out, in, std::size_t{in[0]} + 1); }
// Equal length bytes and equal characters: exact and case-sensitive.
inline bool PStr63Equal(Str63 const a, Str63 const b) {
    return a[0] == b[0] && std::memcmp(a + 1, b + 1, a[0]) == 0;
}
inline std::string PStr63ToString(Str63 const name) {
    return std::string(reinterpret_cast<char const*>(name + 1), name[0]);
}
// The characters without a copy, for comparisons made on every tick.
inline std::string_view PStr63View(Str63 const name) {
    return std::string_view(reinterpret_cast<char const*>(name + 1), name[0]);
}

// A device list as the sequence grabber hands it out: devices in walk order, each with the
// list of its inputs (null when the list was fetched without inputs).
struct SGDeviceInputName {
    Str63 name = {};
    std::int32_t flags = 0;
};
struct SGDeviceInputListRecord {
    std::vector<SGDeviceInputName> entry;
    std::int16_t Count() const { return static_cast<std::int16_t>(entry.size()); }
};
struct SGDeviceName {
    Str63 name = {};
    std::int32_t flags = 0;
    std::shared_ptr<SGDeviceInputListRecord const> inputs;
};
struct SGDeviceListRecord {
    std::int16_t selectedIndex = 0;
    std::vector<SGDeviceName> entry;
    std::int16_t Count() const { return static_cast<std::int16_t>(entry.size()); }
};
using SGDeviceList = std::unique_ptr<SGDeviceListRecord>;

class SGChannel;

// Called with every frame a recording channel delivers, inside SGComponent::Idle. `time` is
// the frame's capture time in microseconds of the steady clock.
using SGDataProc = int (*)(SGChannel* channel, std::uint8_t const* data, long length, long* offset,
                           long chRefCon, std::int64_t time, short writeType, void* refCon);
