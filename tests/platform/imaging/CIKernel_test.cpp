// Kernel text, binding to routines, and applying kernels to samplers.

#include "platform/imaging/CIKernel.h"

#include <gtest/gtest.h>

#include "platform/imaging/CISampler.h"
#include "platform/imaging/CIVector.h"
#include "tests/platform/imaging/ImagingTestSupport.h"
#include "tests/support/TestLogCapture.h"

using namespace ImagingTest;

namespace {

// out = a + b per byte, saturating, then each colour byte plus numbers[0] (for testing).
void AddRoutine(CIKernelRow const& row) {
    for (int i = 0; i < row.count; ++i) {
        uint32_t result = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            int sum = int((row.samplers[0][i] >> shift) & 0xFF) +
                      int((row.samplers[1][i] >> shift) & 0xFF);
            if (shift < 24) {
                sum += int(row.numbers[0]);
            }
            result |= uint32_t(std::min(sum, 255)) << shift;
        }
        row.out[i] = result;
    }
}

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

TEST_F(CIKernelTest, DeclarationsBindToTheirRoutines) {
    auto const kernels = CIKernel::kernelsWithString(
        "// two kernels\n"
        "kernel vec4 testAdd(sampler a, sampler b, float lift); /* the second: */\n"
        "  kernel   vec4 testPosition(vec4 v) ;\n");
    ASSERT_EQ(kernels.size(), 2u);
    EXPECT_EQ(kernels[0]->name(), "testAdd");
    EXPECT_EQ(kernels[0]->routine(), &AddRoutine);
    EXPECT_EQ(kernels[0]->argumentTypes(),
              (std::vector{CIKernel::ArgumentType::kSampler, CIKernel::ArgumentType::kSampler,
                           CIKernel::ArgumentType::kFloat}));
    EXPECT_EQ(kernels[1]->argumentTypes(), std::vector{CIKernel::ArgumentType::kVec4});
}

TEST_F(CIKernelTest, BadTextCompilesToNothingAndIsLogged) {
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
}

TEST_F(CIKernelTest, SamplersLineUpAndAreTransparentOutsideTheirExtent) {
    auto const kernel =
        CIKernel::kernelsWithString("kernel vec4 testAdd(sampler a, sampler b, float lift);")[0];
    Picture const a = RandomPicture(10, 6, 50, false);
    Picture const b = RandomPicture(4, 5, 51, false);
    CIImage const moved = b.image().imageByApplyingTransform(QTransform::fromTranslate(8, 3));
    CIImage const sum = kernel->apply({SamplerOf(a.image()), SamplerOf(moved), 0.0});
    EXPECT_EQ(sum.extent(), QRectF(0, 0, 12, 8));  // the union of both by default
    Picture const out = Render(sum, -1, -1, 14, 10);
    for (int y = -1; y < 9; ++y) {
        for (int x = -1; x < 13; ++x) {
            uint32_t const pa = x >= 0 && x < 10 && y >= 0 && y < 6 ? a.at(x, y) : 0;
            uint32_t const pb = x >= 8 && x < 12 && y >= 3 && y < 8 ? b.at(x - 8, y - 3) : 0;
            Picture expected(1, 1);
            uint32_t const in[2] = {pa, pb};
            uint32_t const* rows[2] = {&in[0], &in[1]};
            float const lift = 0;
            bool const covered = x >= 0 && x < 12 && y >= 0 && y < 8;
            AddRoutine(CIKernelRow{y, x, 1, expected.pixels.data(), rows, &lift});
            ASSERT_EQ(out.at(x + 1, y + 1), covered ? expected.at(0, 0) : 0u) << x << "," << y;
        }
    }
}

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

TEST_F(CIKernelTest, ArgumentsThatDoNotMatchGiveNoImage) {
    auto const kernel =
        CIKernel::kernelsWithString("kernel vec4 testAdd(sampler a, sampler b, float lift);")[0];
    Picture const a(2, 2, Pixel(255, 1, 1, 1));
    TestLogCapture log;
    EXPECT_TRUE(kernel->apply({SamplerOf(a.image()), SamplerOf(a.image())}).isEmpty());
    EXPECT_NE(log.Lines().find("argumentCountMatches"), std::string::npos);
    EXPECT_TRUE(kernel->apply({SamplerOf(a.image()), 1.0, SamplerOf(a.image())}).isEmpty());
    EXPECT_TRUE(kernel->apply({SamplerOf(a.image()), SamplerOf(a.image()), "text"}).isEmpty());
    EXPECT_NE(log.Lines().find("argumentMatches"), std::string::npos);
    EXPECT_FALSE(kernel->apply({SamplerOf(a.image()), SamplerOf(a.image()), 2}).isEmpty());
}
