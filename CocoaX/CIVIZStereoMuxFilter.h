#pragma once
// The stereo mux: combines the right-eye image ("inputImage") and the left-eye image
// ("inputLeftImage") into one stereo picture in the format "inputStereoFormat" chooses
// (CIVIZStereoFormat.h; the default, 0, a red-cyan anaglyph). "inputSwapEyes" 1.0 exchanges
// the eyes in every format: anaglyphs blend their matrices by it (CIVIZStereoMuxKernel.h),
// layouts exchange the eyes from 0.5 up. Registered by name as "CIVIZStereoMuxFilter".

#include "CocoaX/CIFilterBase.h"

inline constexpr char kCIVIZStereoMuxFilter_Name[] = "CIVIZStereoMuxFilter";
inline constexpr char kCIVIZStereoMuxFilter_DisplayName[] = "CIVIZStereoMuxFilter";
inline constexpr char kCIVIZStereoMuxFilter_InputImage[] = "inputImage";  // right eye
inline constexpr char kCIVIZStereoMuxFilter_InputLeftImage[] = "inputLeftImage";
inline constexpr char kCIVIZStereoMuxFilter_InputSwapEyes[] = "inputSwapEyes";
inline constexpr char kCIVIZStereoMuxFilter_InputStereoFormat[] = "inputStereoFormat";
inline constexpr char kCIVIZStereoMuxFilter_OutputImage[] = "outputImage";

class CIVIZStereoMuxFilter : public CIFilterBase {
public:
    CIVIZStereoMuxFilter();

    // The base entries plus the filter's names, description and inputs.
    static QVariantMap classAttributes();
    QVariantMap customAttributes() const override;

    // Both eyes: an anaglyph over the union of their extents, or a layout whose size follows
    // the format (CIVIZStereoFormatPictureSize). One eye: that image itself. None, or no
    // kernel: the empty image.
    CIImage outputImage() const override;

    // The kernel, compiled by the first import and kept for the program's life; null
    // before that or when compiling failed.
    static std::shared_ptr<CIKernel const> const& kernel() { return _kernel; }

private:
    friend bool import_CIVIZStereoMuxFilter(bool registerFilter);
    static std::shared_ptr<CIKernel const> _kernel;
};

// Compiles the kernel (first call only); registers the filter name when `registerFilter`;
// returns import_CIFilterBase().
bool import_CIVIZStereoMuxFilter(bool registerFilter);
