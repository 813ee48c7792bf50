// One master-clock tick with two test-pattern cameras, whole and stage by stage: both eyes
// grab and decode (the test pattern renders and encodes a new MJPEG frame for each, which a
// real camera does in its own hardware) and run their adjustment stacks, the monitor
// composes the anaglyph and draws it at 640 x 480, and the kept monitor image is drawn into
// a 640 x 480 broadcast buffer. The whole tick runs with neutral stacks and with both eyes'
// stacks active, in one run; "allocs" counts heap allocations per tick.

#include <atomic>
#include <cstdlib>
#include <new>

#include <QApplication>

#include <benchmark/benchmark.h>

#include "bench/support/StereoRig.h"

std::atomic<long> gAllocations{0};

namespace {

void BM_TickWhole(benchmark::State& state) {
    StereoRig rig(state.range(0) != 0);
    long const before = gAllocations.load();
    for (auto _ : state) {
        rig.Grab();
        rig.Compose();
        rig.Broadcast();
    }
    benchmark::DoNotOptimize(rig.broadcastBuffer.data());
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(gAllocations - before),
                                                  benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_TickWhole)->ArgName("activeStacks")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_TickStage_GrabBothEyes(benchmark::State& state) {
    StereoRig rig;
    for (auto _ : state) {
        rig.Grab();
    }
}
BENCHMARK(BM_TickStage_GrabBothEyes)->Unit(benchmark::kMillisecond);

void BM_TickStage_EyeImages(benchmark::State& state) {
    StereoRig rig;
    for (auto _ : state) {
        benchmark::DoNotOptimize(rig.monitor.leftEyeImage());
        benchmark::DoNotOptimize(rig.monitor.rightEyeImage());
    }
}
BENCHMARK(BM_TickStage_EyeImages)->Unit(benchmark::kMicrosecond);

void BM_TickStage_MuxAndDrawMonitor(benchmark::State& state) {
    StereoRig rig;
    for (auto _ : state) {
        rig.Compose();
    }
}
BENCHMARK(BM_TickStage_MuxAndDrawMonitor)->Unit(benchmark::kMillisecond);

void BM_TickStage_DrawIntoBroadcastBuffer(benchmark::State& state) {
    StereoRig rig;
    rig.Compose();
    for (auto _ : state) {
        rig.Broadcast();
    }
}
BENCHMARK(BM_TickStage_DrawIntoBroadcastBuffer)->Unit(benchmark::kMillisecond);

}  // namespace

void* operator new(std::size_t size) {
    ++gAllocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
