#pragma once
// Makes the filters the program can create by name known to the registry: the built-in ones
// ("CIWhitePointAdjust", "CIExposureAdjust", "CIColorControls", "CICrop",
// "CIAffineTransform"). There are no loadable filter plug-ins on this platform; a program's
// own filters register themselves (CIFilter::registerFilterName).

class CIPlugIn {
public:
    // Registers the built-in filters, once; later calls do nothing.
    static void loadAllPlugIns();
};
