#include "CocoaX/CIVIZStereoFormat.h"

#include <cmath>

CIVIZStereoFormat CIVIZStereoFormatFromNumber(double number) {
    if (!(number >= 0.0 && number < kCIVIZStereoFormatCount) || number != std::floor(number)) {
        return CIVIZStereoFormat::kRedCyanDubois;
    }
    return static_cast<CIVIZStereoFormat>(static_cast<int>(number));
}

bool CIVIZStereoFormatIsAnaglyph(CIVIZStereoFormat format) {
    return static_cast<int>(format) <= static_cast<int>(CIVIZStereoFormat::kAmberBlueDubois);
}

QSize CIVIZStereoFormatPictureSize(CIVIZStereoFormat format, QSize eye) {
    switch (format) {
        case CIVIZStereoFormat::kSideBySide:
        case CIVIZStereoFormat::kSideBySideCrossed:
            return {2 * eye.width(), eye.height()};
        case CIVIZStereoFormat::kTopBottom:
            return {eye.width(), 2 * eye.height()};
        default:
            return eye;
    }
}

char const* CIVIZStereoFormatName(CIVIZStereoFormat format) {
    switch (format) {
        case CIVIZStereoFormat::kRedCyanDubois:
            return "Red-cyan anaglyph (Dubois)";
        case CIVIZStereoFormat::kRedCyanHalfColour:
            return "Red-cyan anaglyph, half colour";
        case CIVIZStereoFormat::kRedCyanColour:
            return "Red-cyan anaglyph, colour";
        case CIVIZStereoFormat::kRedCyanGrey:
            return "Red-cyan anaglyph, grey";
        case CIVIZStereoFormat::kGreenMagentaDubois:
            return "Green-magenta anaglyph (Dubois)";
        case CIVIZStereoFormat::kAmberBlueDubois:
            return "Amber-blue anaglyph (Dubois)";
        case CIVIZStereoFormat::kSideBySide:
            return "Side by side";
        case CIVIZStereoFormat::kSideBySideHalf:
            return "Side by side, half width";
        case CIVIZStereoFormat::kSideBySideCrossed:
            return "Side by side, crossed";
        case CIVIZStereoFormat::kTopBottom:
            return "Top-bottom";
        case CIVIZStereoFormat::kTopBottomHalf:
            return "Top-bottom, half height";
        case CIVIZStereoFormat::kRowInterleaved:
            return "Row-interleaved";
        case CIVIZStereoFormat::kColumnInterleaved:
            return "Column-interleaved";
        case CIVIZStereoFormat::kCheckerboard:
            return "Checkerboard";
    }
    return "";
}
