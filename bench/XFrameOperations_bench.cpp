// Whole-frame operations at 640 x 480 and 1920 x 1080: each vector form on AVX2 and SSE2
// against the portable byte loop where one exists, and against the scalar reference of the
// vector arithmetic ("Reference") for every operation.
//
//   build/bench/XFrameOperations_bench --benchmark_filter=BlendFields
//
// Frames are owned XFrameWorld frames, so every vector form accepts them.

#include <functional>
#include <random>
#include <string>

#include <benchmark/benchmark.h>

#include "CoreX/XFrameOperations.h"
#include "CoreX/XFrameWorld.h"

namespace {

struct Frames {
    Frames(int width, int height, int dstWidth, int dstHeight) {
        a.Construct(width, height, kXFrame_Pel_8RGB);
        b.Construct(width, height, kXFrame_Pel_8RGB);
        dst.Construct(dstWidth, dstHeight, kXFrame_Pel_8RGB);
        std::mt19937 random(1);
        for (XFrameWorld* frame : {&a, &b, &dst}) {
            for (int y = 0; y < frame->Height; ++y) {
                uint8_t* row = frame->Pixels + y * frame->RowBytes;
                for (int i = 0; i < frame->Width * 4; ++i) {
                    row[i] = uint8_t(random());
                }
            }
        }
    }
    XFrameWorld a;
    XFrameWorld b;
    XFrameWorld dst;
};

enum class Path { Portable, Reference, SSE2, AVX2 };

char const* PathName(Path path) {
    switch (path) {
        case Path::Portable:
            return "Portable";
        case Path::Reference:
            return "Reference";
        case Path::SSE2:
            return "SSE2";
        case Path::AVX2:
            return "AVX2";
    }
    return "?";
}

using Operation = std::function<bool(Frames&)>;

struct Size {
    int width;
    int height;
};

// dst size for a source size: the same, three quarters (resize), or half (D1 to VCD).
enum class DestSize { Same, ThreeQuarters, Half };

void Register(std::string const& name, DestSize destSize, Operation vectorForm,
              Operation portable) {
    for (Size size : {Size{640, 480}, Size{1920, 1080}}) {
        for (Path path : {Path::Portable, Path::Reference, Path::SSE2, Path::AVX2}) {
            if ((path == Path::Portable && !portable) || (path != Path::Portable && !vectorForm)) {
                continue;
            }
            std::string const label = name + "/" + std::to_string(size.width) + "x" +
                                      std::to_string(size.height) + "/" + PathName(path);
            Operation const operation = path == Path::Portable ? portable : vectorForm;
            benchmark::RegisterBenchmark(label.c_str(), [=](benchmark::State& state) {
                int dstWidth = size.width;
                int dstHeight = size.height;
                if (destSize == DestSize::ThreeQuarters) {
                    dstWidth = size.width * 3 / 4;
                    dstHeight = size.height * 3 / 4;
                } else if (destSize == DestSize::Half) {
                    dstWidth = size.width / 2;
                    dstHeight = size.height / 2;
                }
                Frames frames(size.width, size.height, dstWidth, dstHeight);
                XFrameKernelSet const saved = XFrame_CurrentKernelSet();
                XFrameKernelSet const wanted = path == Path::AVX2   ? XFrameKernelSet::AVX2
                                               : path == Path::SSE2 ? XFrameKernelSet::SSE2
                                                                    : XFrameKernelSet::Reference;
                if (XFrame_UseKernelSet(wanted) != wanted) {
                    XFrame_UseKernelSet(saved);
                    state.SkipWithError("this CPU lacks the instruction set");
                    return;
                }
                for (auto _ : state) {
                    if (!operation(frames)) {
                        state.SkipWithError("the operation refused its frames");
                        break;
                    }
                    benchmark::ClobberMemory();
                }
                XFrame_UseKernelSet(saved);
                state.SetBytesProcessed(int64_t(state.iterations()) * size.width * size.height * 4);
            })->Unit(benchmark::kMicrosecond);
        }
    }
}

void RegisterAll() {
    Register(
        "BlendFields_TypeA", DestSize::Same,
        [](Frames& f) { return XFrame_BlendFields_TypeA_Altivec(f.a, f.dst); },
        [](Frames& f) { return XFrame_BlendFields_TypeA_Portable(f.a, f.dst); });
    Register(
        "BlendFields_TypeB", DestSize::Same,
        [](Frames& f) { return XFrame_BlendFields_TypeB_Altivec(f.a, f.dst); },
        [](Frames& f) { return XFrame_BlendFields_TypeB_Portable(f.a, f.dst); });
    Register(
        "OneFieldOnly", DestSize::Same,
        [](Frames& f) { return XFrame_OneFieldOnly_Altivec(f.a, f.dst, 1); },
        [](Frames& f) { return XFrame_OneFieldOnly_Portable(f.a, f.dst, 1); });
    Register(
        "DeInterlaceAdaptive", DestSize::Same,
        [](Frames& f) {
            double motion = 0;
            return XFrame_DeInterlaceAdaptive_Altivec(f.a, f.dst, motion);
        },
        nullptr);
    Register(
        "ResizeBilinear", DestSize::ThreeQuarters,
        [](Frames& f) { return XFrame_ResizeBilinear_Altivec(f.a, f.dst); }, nullptr);
    Register(
        "DifferenceDelta", DestSize::Same,
        [](Frames& f) { return XFrame_DifferenceDelta_Altivec(f.a, f.b, f.dst); }, nullptr);
    Register(
        "BlendFrames", DestSize::Same,
        [](Frames& f) { return XFrame_BlendFrames_Altivec(f.a, 0.3, f.b, 0.7, f.dst); }, nullptr);
    Register(
        "SwapFields", DestSize::Same, [](Frames& f) { return XFrame_SwapFields_Altivec(f.a); },
        nullptr);
    Register(
        "FullD1_2_VCD", DestSize::Half,
        [](Frames& f) { return XFrame_FullD1_2_VCD_Altivec(f.a, f.dst, false); }, nullptr);
    // For scale: the nearest-pixel resize has only a portable form.
    Register("ResizeNearestPixel", DestSize::ThreeQuarters, nullptr,
             [](Frames& f) { return XFrame_ResizeNearestPixel(f.a, f.dst); });
}

}  // namespace

int main(int argc, char** argv) {
    RegisterAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
