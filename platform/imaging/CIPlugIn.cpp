#include "platform/imaging/CIPlugIn.h"

#include "platform/imaging/CIAffineTransformFilter.h"
#include "platform/imaging/CIColorControlsFilter.h"
#include "platform/imaging/CICropFilter.h"
#include "platform/imaging/CIExposureAdjustFilter.h"
#include "platform/imaging/CIWhitePointAdjustFilter.h"

namespace {

template <typename Filter>
void RegisterBuiltIn() {
    CIFilter::registerFilterName(
        Filter::kName, [](QString const&) { return std::make_unique<Filter>(); },
        Filter::classAttributes());
}

}  // namespace

void CIPlugIn::loadAllPlugIns() {
    // Set first: registering calls back here.
    static bool sLoaded = false;
    if (sLoaded) {
        return;
    }
    sLoaded = true;
    RegisterBuiltIn<CIWhitePointAdjustFilter>();
    RegisterBuiltIn<CIExposureAdjustFilter>();
    RegisterBuiltIn<CIColorControlsFilter>();
    RegisterBuiltIn<CICropFilter>();
    RegisterBuiltIn<CIAffineTransformFilter>();
}
