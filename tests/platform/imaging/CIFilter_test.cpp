// The filter registry and the built-in filters' inputs.

#include "platform/imaging/CIFilter.h"

#include <gtest/gtest.h>

#include "tests/platform/imaging/ImagingTestSupport.h"
#include "tests/support/TestLogCapture.h"

using namespace ImagingTest;

TEST(CIFilterRegistry, UnknownNamesAndKeysAreLoggedAndIgnored) {
    TestLogCapture log;
    EXPECT_EQ(CIFilter::filterWithName("CINoSuchFilter"), nullptr);
    EXPECT_TRUE(log.Contains("registered")) << log.Lines();
    auto filter = CIFilter::filterWithName("CIExposureAdjust");
    filter->setValue(2.0, "inputExposure");
    EXPECT_FALSE(filter->valueForKey("inputExposure").isValid());
    EXPECT_TRUE(log.Contains("isInput")) << log.Lines();
}

TEST(CIFilterInputs, OutputNeedsAnImageAndUnsetNumbersReadAsTheirDefaults) {
    auto filter = CIFilter::filterWithName("CIColorControls");
    EXPECT_FALSE(filter->valueForKey("outputImage").isValid());
    EXPECT_TRUE(filter->outputImage().isEmpty());

    // Nothing set but the image: saturation 1, brightness 0, contrast 1 leave it alone.
    CIImage const image = RandomPicture(5, 5, 40, false).image();
    filter->setValue(image, "inputImage");
    EXPECT_EQ(filter->valueForKey("outputImage").value<CIImage>(), image);
    filter->setValue(QVariant(), "inputImage");
    EXPECT_TRUE(filter->outputImage().isEmpty()) << "an invalid value unsets the input";
}
