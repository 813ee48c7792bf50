// The broadcast's share of a tick: the monitor picture drawn straight into the virtual
// camera's shared memory and published (lock, draw, unlock, hand-over), and the YUYV
// conversion each published frame gets for the loopback device. Allocations made during the
// measured loop are counted (operator new), with those of a frame's size or more apart.
//
// Runs in a temporary home: it installs the component there, never in the real one.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <QApplication>
#include <QCheckBox>

#include <benchmark/benchmark.h>

#include "CoCamX/NSUICamBroadcastControlFast.h"
#include "bench/support/AllocationCounter.h"
#include "component/LoopbackDevice.h"
#include "platform/imaging/CIContext.h"

namespace {

struct Counted {
    long allocations = BenchAllocations::Count();
    long frameSized = BenchAllocations::FrameSizedCount();
    void Report(benchmark::State& state) const {
        double const iterations = static_cast<double>(state.iterations());
        state.counters["allocs/tick"] = (BenchAllocations::Count() - allocations) / iterations;
        state.counters["frame-sized allocs/tick"] =
            (BenchAllocations::FrameSizedCount() - frameSized) / iterations;
    }
};

void BM_BroadcastTick(benchmark::State& state) {
    QCheckBox allow, enable;
    allow.setChecked(true);
    enable.setChecked(true);
    NSUICamBroadcastControlFast control;
    control.setAllowCameraButton(&allow);
    control.setRebroadcastButton(&enable);
    control.startBroadcasting();
    if (control.currentCIContext() == nullptr) {
        state.SkipWithError("the component did not load");
        return;
    }
    std::vector<std::uint32_t> pixels(640 * 480);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = 0xFF000000u | static_cast<std::uint32_t>(i * 2654435761u >> 8);
    }
    CIImage const image = CIImage::imageWithARGBData(pixels.data(), 640, 480, 640 * 4);
    Counted const counted;
    for (auto _ : state) {
        CIContext* context = control.currentCIContext();
        control.beginSwitchContexts();
        context->drawImage(image, QPointF(0, 0), image.extent());
        benchmark::DoNotOptimize(control.endSwitchContexts());
    }
    counted.Report(state);
    control.setBroadcastEnabled(false);
}
BENCHMARK(BM_BroadcastTick)->Unit(benchmark::kMicrosecond);

void BM_LoopbackYUYV(benchmark::State& state) {
    std::vector<std::uint32_t> argb(640 * 480, 0xFF336699);
    std::vector<std::uint8_t> yuyv(640 * 480 * 2);
    Counted const counted;
    for (auto _ : state) {
        LoopbackDevice::ConvertARGBToYUYV(reinterpret_cast<std::uint8_t*>(argb.data()), 640 * 4,
                                          yuyv.data(), 640, 480);
        benchmark::DoNotOptimize(yuyv.data());
    }
    counted.Report(state);
}
BENCHMARK(BM_LoopbackYUYV)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    std::string home = (std::filesystem::temp_directory_path() / "duoscope-bench-XXXXXX").string();
    if (mkdtemp(home.data()) == nullptr) {
        return 1;
    }
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/share").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    setenv("XDG_STATE_HOME", (home + "/state").c_str(), 1);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    std::filesystem::remove_all(home, ignored);
    return 0;
}
