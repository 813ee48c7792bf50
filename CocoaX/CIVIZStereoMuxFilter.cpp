#include "CocoaX/CIVIZStereoMuxFilter.h"

#include "CocoaX/CIVIZStereoLayoutNode.h"
#include "CocoaX/CIVIZStereoMuxKernel.h"
#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CISampler.h"

namespace {

// The kernel's text; its one declaration names the native routine that does the arithmetic.
char const kStereoMuxKernelCode[] =
    "/* Anaglyph of the two eyes: each output channel a weighted sum of both eyes' channels,\n"
    "   by the matrices of stereoFormat (0: red-cyan by Dubois's least-squares fit). swapEyes\n"
    "   1.0 exchanges the eyes. */\n"
    "kernel vec4 stereoMux(sampler rightImage, sampler leftImage, float swapEyes,\n"
    "                      float stereoFormat);\n";

char const kStereoMuxRoutineName[] = "stereoMux";

}  // namespace

std::shared_ptr<CIKernel const> CIVIZStereoMuxFilter::_kernel;

CIVIZStereoMuxFilter::CIVIZStereoMuxFilter()
    : CIFilterBase(kCIVIZStereoMuxFilter_Name,
                   {kCIVIZStereoMuxFilter_InputImage, kCIVIZStereoMuxFilter_InputLeftImage,
                    kCIVIZStereoMuxFilter_InputSwapEyes, kCIVIZStereoMuxFilter_InputStereoFormat}) {
}

QVariantMap CIVIZStereoMuxFilter::classAttributes() {
    QVariantMap attributes = CIFilterBase::classAttributes();
    attributes.insert(kCIAttributeFilterName, kCIVIZStereoMuxFilter_Name);
    attributes.insert(kCIAttributeFilterDisplayName, kCIVIZStereoMuxFilter_DisplayName);
    attributes.insert(kCIAttributeDescription, kCIVIZStereoMuxFilter_Name);
    attributes.insert(kCIVIZStereoMuxFilter_InputLeftImage,
                      QVariantMap{{kCIAttributeClass, kCIClassImage}});
    // No maximum: only the slider's range is bounded.
    attributes.insert(kCIVIZStereoMuxFilter_InputSwapEyes,
                      QVariantMap{{kCIAttributeMin, 0.0},
                                  {kCIAttributeSliderMin, 0.0},
                                  {kCIAttributeSliderMax, 1.0},
                                  {kCIAttributeDefault, 0.0},
                                  {kCIAttributeIdentity, 0.0},
                                  {kCIAttributeClass, kCIClassNumber},
                                  {kCIAttributeType, kCIAttributeTypeScalar}});
    attributes.insert(kCIVIZStereoMuxFilter_InputStereoFormat,
                      QVariantMap{{kCIAttributeMin, 0.0},
                                  {kCIAttributeMax, kCIVIZStereoFormatCount - 1.0},
                                  {kCIAttributeDefault, 0.0},
                                  {kCIAttributeIdentity, 0.0},
                                  {kCIAttributeClass, kCIClassNumber},
                                  {kCIAttributeType, kCIAttributeTypeScalar}});
    return attributes;
}

QVariantMap CIVIZStereoMuxFilter::customAttributes() const { return classAttributes(); }

CIImage CIVIZStereoMuxFilter::outputImage() const {
    CIImage const right = imageForKey(kCIVIZStereoMuxFilter_InputImage);
    CIImage const left = imageForKey(kCIVIZStereoMuxFilter_InputLeftImage);
    if (!right && !left) {
        return CIImage();
    }
    if (!right || !left) {
        return left ? left : right;
    }
    double const swap = numberForKey(kCIVIZStereoMuxFilter_InputSwapEyes);
    double const formatNumber = numberForKey(kCIVIZStereoMuxFilter_InputStereoFormat);
    CIVIZStereoFormat const format = CIVIZStereoFormatFromNumber(formatNumber);
    VERIFY(static_cast<double>(format) == formatNumber);  // an unknown format shows the default
    if (!CIVIZStereoFormatIsAnaglyph(format)) {
        return CIImage(std::make_shared<CIVIZStereoLayoutNode>(left.node(), right.node(), format,
                                                               swap >= 0.5));
    }
    CISampler const rightSampler = CISampler::samplerWithImage(right);
    CISampler const leftSampler = CISampler::samplerWithImage(left);
    QRectF const definition = rightSampler.definition().united(leftSampler.definition());
    QRectF const extent = rightSampler.extent().united(leftSampler.extent());
    VERIFY(_kernel != nullptr);
    if (_kernel == nullptr) {
        return CIImage();
    }
    return _kernel->apply({QVariant::fromValue(rightSampler), QVariant::fromValue(leftSampler),
                           swap, static_cast<double>(format)},
                          {{kCIApplyOptionDefinition, definition}, {kCIApplyOptionExtent, extent}});
}

bool import_CIVIZStereoMuxFilter(bool registerFilter) {
    // The kernel is compiled once per run, on the first import, and kept.
    static bool sKernelBuilt = false;
    if (!sKernelBuilt) {
        sKernelBuilt = true;
        CIKernel::registerRoutine(kStereoMuxRoutineName, StereoMuxKernelRoutine);
        CIVIZStereoMuxFilter::_kernel = CIFilterBase::kernelFromKernelData(
            QByteArray(kStereoMuxKernelCode, sizeof(kStereoMuxKernelCode) - 1));
        VERIFY(CIVIZStereoMuxFilter::_kernel != nullptr);
    }
    if (registerFilter) {
        CIFilter::registerFilterName(
            kCIVIZStereoMuxFilter_Name,
            [](QString const&) { return std::make_unique<CIVIZStereoMuxFilter>(); },
            CIVIZStereoMuxFilter::classAttributes());
    }
    return import_CIFilterBase();
}
