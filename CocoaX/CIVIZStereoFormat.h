#pragma once
// The stereo formats the mux can produce: anaglyphs for coloured glasses, and the layouts
// that 3D TVs, VR headsets and phone viewers take. The numbers are stored in the user's
// defaults and must not change.

#include <QSize>
#include <QString>

enum class CIVIZStereoFormat : int {
    kRedCyanDubois = 0,  // the default
    kRedCyanHalfColour = 1,
    kRedCyanColour = 2,
    kRedCyanGrey = 3,
    kGreenMagentaDubois = 4,
    kAmberBlueDubois = 5,
    kSideBySide = 6,          // both eyes at full size, left eye left: twice as wide
    kSideBySideHalf = 7,      // both eyes squeezed to half width in one picture's size
    kSideBySideCrossed = 8,   // full size, right eye left, for cross-eyed viewing
    kTopBottom = 9,           // both eyes at full size, left eye on top: twice as tall
    kTopBottomHalf = 10,      // both eyes squeezed to half height
    kRowInterleaved = 11,     // even rows left eye, odd rows right eye
    kColumnInterleaved = 12,  // even columns left eye, odd columns right eye
    kCheckerboard = 13,       // left eye where x + y is even
};
inline constexpr int kCIVIZStereoFormatCount = 14;

// A stored or typed-in number as a format; anything that is not one is the default.
CIVIZStereoFormat CIVIZStereoFormatFromNumber(double number);
// Whether the format mixes the eyes' colours (one pass of a colour matrix per eye).
bool CIVIZStereoFormatIsAnaglyph(CIVIZStereoFormat format);
// The size of the stereo picture made from two eyes of `eye` size.
QSize CIVIZStereoFormatPictureSize(CIVIZStereoFormat format, QSize eye);
// The format's name for menus, in English (the caller translates).
char const* CIVIZStereoFormatName(CIVIZStereoFormat format);
