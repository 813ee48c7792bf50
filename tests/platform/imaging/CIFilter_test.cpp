// The filter registry, inputs and attribute dictionaries of the built-in filters.

#include "platform/imaging/CIFilter.h"

#include <gtest/gtest.h>

#include "tests/platform/imaging/ImagingTestSupport.h"
#include "tests/support/TestLogCapture.h"

using namespace ImagingTest;

namespace {

// A filter of the test's own, registered by name: inverts the picture's position.
class OffsetFilter final : public CIFilter {
public:
    OffsetFilter() : CIFilter("TestOffset", {"inputImage", "inputOffset"}) {}
    CIImage outputImage() const override {
        double const offset = numberForKey("inputOffset");
        return imageForKey("inputImage")
            .imageByApplyingTransform(QTransform::fromTranslate(offset, 0));
    }
};

QVariantMap OffsetAttributes(double defaultOffset) {
    return {{kCIAttributeFilterName, "TestOffset"},
            {"inputOffset", QVariantMap{{kCIAttributeDefault, defaultOffset}}}};
}

}  // namespace

TEST(CIFilterRegistry, UnknownNamesAreLogged) {
    TestLogCapture log;
    EXPECT_EQ(CIFilter::filterWithName("CINoSuchFilter"), nullptr);
    EXPECT_TRUE(log.Contains("registered")) << log.Lines();
}

TEST(CIFilterRegistry, ProgramFiltersRegisterAndReplaceByName) {
    CIFilter::registerFilterName(
        "TestOffset", [](QString const&) { return std::make_unique<OffsetFilter>(); },
        OffsetAttributes(3.0));
    auto filter = CIFilter::filterWithName("TestOffset");
    ASSERT_NE(filter, nullptr);
    filter->setDefaults();
    EXPECT_EQ(filter->valueForKey("inputOffset").toDouble(), 3.0);

    CIFilter::registerFilterName(
        "TestOffset", [](QString const&) { return std::make_unique<OffsetFilter>(); },
        OffsetAttributes(7.0));
    auto replaced = CIFilter::filterWithName("TestOffset");
    replaced->setDefaults();
    EXPECT_EQ(replaced->valueForKey("inputOffset").toDouble(), 7.0);
    EXPECT_TRUE(CIFilter::filterNames().contains("TestOffset"));
}

TEST(CIFilterInputs, UnknownKeysAreLoggedAndIgnored) {
    auto filter = CIFilter::filterWithName("CIExposureAdjust");
    TestLogCapture log;
    filter->setValue(2.0, "inputExposure");
    EXPECT_FALSE(filter->valueForKey("inputExposure").isValid());
    EXPECT_NE(log.Lines().find("isInput"), std::string::npos) << log.Lines();
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
        if (name.startsWith("Test")) {
            continue;
        }
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

TEST(CIFilterAttributes, CropTakesARectangleVector) {
    Picture const source = RandomPicture(640, 480, 42, true);
    auto crop = CIFilter::filterWithName("CICrop");
    crop->setDefaults();
    crop->setValue(source.image().imageByApplyingTransform(QTransform::fromTranslate(-10, 5)),
                   "inputImage");
    crop->setValue(CIVector::vectorWithX(0, 0, 640, 480), "inputRectangle");
    CIImage const output = crop->outputImage();
    EXPECT_EQ(output.extent(), QRectF(0, 5, 630, 475));
    Picture const out = Render(output, 0, 0, 640, 480);
    EXPECT_EQ(out.at(0, 5), source.at(10, 0));
    EXPECT_EQ(out.at(629, 479), source.at(639, 474));
    EXPECT_EQ(out.at(630, 479), 0u);
}
