// The filter registry, inputs and attribute dictionaries of the built-in filters.

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
    Picture const source = RandomPicture(5, 5, 40, false);
    CIImage const image = source.image();
    filter->setValue(image, "inputImage");
    EXPECT_EQ(filter->valueForKey("outputImage").value<CIImage>(), image);
    filter->setValue(QVariant(), "inputImage");
    EXPECT_TRUE(filter->outputImage().isEmpty()) << "an invalid value unsets the input";
}

TEST(CIFilterAttributes, EveryInputsIdentityLeavesThePictureAlone) {
    // The adjustment stack neutralises each stage by setting each input to its identity.
    Picture const source = RandomPicture(23, 11, 41, false);
    for (char const* builtIn : {"CIWhitePointAdjust", "CIExposureAdjust", "CIColorControls",
                                "CICrop", "CIAffineTransform"}) {
        EXPECT_TRUE(CIFilter::filterNames().contains(builtIn)) << builtIn;
    }
    for (QString const& name : CIFilter::filterNames()) {
        auto filter = CIFilter::filterWithName(name);
        filter->setDefaults();
        QVariantMap const attributes = filter->attributes();
        for (QString const& key : filter->inputKeys()) {
            QVariantMap const input = attributes.value(key).toMap();
            ASSERT_TRUE(input.contains(kCIAttributeClass))
                << name.toStdString() << " " << key.toStdString();
            if (input.contains(kCIAttributeIdentity)) {
                filter->setValue(input.value(kCIAttributeIdentity), key);
                if (input.contains(kCIAttributeSliderMin)) {
                    double const identity = input.value(kCIAttributeIdentity).toDouble();
                    EXPECT_LE(input.value(kCIAttributeSliderMin).toDouble(), identity);
                    EXPECT_GE(input.value(kCIAttributeSliderMax).toDouble(), identity);
                }
            }
        }
        filter->setValue(source.image(), "inputImage");
        EXPECT_EQ(Render(filter->outputImage()).pixels, source.pixels) << name.toStdString();
    }
}
