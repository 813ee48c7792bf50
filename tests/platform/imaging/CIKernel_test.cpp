// Kernel text and arguments that cannot be compiled or applied.

#include "platform/imaging/CIKernel.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "platform/imaging/CISampler.h"
#include "tests/platform/imaging/ImagingTestSupport.h"
#include "tests/support/TestLogCapture.h"

using namespace ImagingTest;

namespace {

// Takes two samplers and a number; what it writes does not matter here.
void AddRoutine(CIKernelRow const& row) { std::fill_n(row.out, row.count, 0u); }

class CIKernelTest : public ::testing::Test {
protected:
    void SetUp() override { CIKernel::registerRoutine("testAdd", AddRoutine); }
};

QVariant SamplerOf(CIImage const& image) {
    return QVariant::fromValue(CISampler::samplerWithImage(image));
}

}  // namespace

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
