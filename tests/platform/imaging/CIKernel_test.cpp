// Kernel text, binding to routines, and applying kernels.

#include "platform/imaging/CIKernel.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "platform/imaging/CISampler.h"
#include "platform/imaging/CIVector.h"
#include "tests/platform/imaging/ImagingTestSupport.h"
#include "tests/support/TestLogCapture.h"

using namespace ImagingTest;

namespace {

// Takes two samplers and a number; what it writes does not matter here.
void AddRoutine(CIKernelRow const& row) { std::fill_n(row.out, row.count, 0u); }

// Writes each pixel's own x and y, to check where spans are.
void PositionRoutine(CIKernelRow const& row) {
    for (int i = 0; i < row.count; ++i) {
        row.out[i] = Pixel(255, row.x + i, row.y, int(row.numbers[0] + row.numbers[3]));
    }
}

class CIKernelTest : public ::testing::Test {
protected:
    void SetUp() override {
        CIKernel::registerRoutine("testAdd", AddRoutine);
        CIKernel::registerRoutine("testPosition", PositionRoutine);
    }
};

QVariant SamplerOf(CIImage const& image) {
    return QVariant::fromValue(CISampler::samplerWithImage(image));
}

}  // namespace

TEST_F(CIKernelTest, ExtentAndDefinitionBoundTheOutput) {
    auto const kernel = CIKernel::kernelsWithString("kernel vec4 testPosition(vec4 v);")[0];
    CIImage const image = kernel->apply({QVariant::fromValue(CIVector::vectorWithX(1, 2, 3, 4))},
                                        {{kCIApplyOptionExtent, QRectF(2, 1, 10, 10)},
                                         {kCIApplyOptionDefinition, QRectF(0, 0, 5, 4)}});
    EXPECT_EQ(image.extent(), QRectF(2, 1, 3, 3));
    Picture const out = Render(image, 0, 0, 6, 5);
    EXPECT_EQ(out.at(2, 1), Pixel(255, 2, 1, 5)) << "spans carry their own position";
    EXPECT_EQ(out.at(4, 3), Pixel(255, 4, 3, 5));
    EXPECT_EQ(out.at(5, 3), 0u);
    EXPECT_EQ(out.at(1, 1), 0u);
}

TEST_F(CIKernelTest, BadTextAndArgumentsThatDoNotMatchGiveNothingAndAreLogged) {
    TestLogCapture log;
    EXPECT_TRUE(CIKernel::kernelsWithString("kernel vec4 testNobody(sampler a);").empty());
    EXPECT_NE(log.Lines().find("routine != nullptr"), std::string::npos) << log.Lines();
    EXPECT_TRUE(
        CIKernel::kernelsWithString("kernel vec4 testAdd(image a, sampler b, float c);").empty());
    EXPECT_NE(log.Lines().find("typeKnown"), std::string::npos);
    EXPECT_TRUE(CIKernel::kernelsWithString("kernel vec4 testAdd(sampler a, sampler b, float c); "
                                            "return a;")
                    .empty());
    EXPECT_NE(log.Lines().find("onlyDeclarations"), std::string::npos);
    EXPECT_TRUE(CIKernel::kernelsWithString("/* kernel vec4 testAdd(sampler a); */").empty());

    auto const kernel =
        CIKernel::kernelsWithString("kernel vec4 testAdd(sampler a, sampler b, float lift);")[0];
    QVariant const a = SamplerOf(Picture(2, 2, Pixel(255, 1, 1, 1)).image());
    EXPECT_TRUE(kernel->apply({a, a}).isEmpty());
    EXPECT_NE(log.Lines().find("argumentCountMatches"), std::string::npos);
    EXPECT_TRUE(kernel->apply({a, 1.0, a}).isEmpty());
    EXPECT_TRUE(kernel->apply({a, a, "text"}).isEmpty());
    EXPECT_NE(log.Lines().find("argumentMatches"), std::string::npos);
    EXPECT_FALSE(kernel->apply({a, a, 2}).isEmpty());
}
