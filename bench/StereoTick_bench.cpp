// One master-clock tick with two test-pattern cameras, whole and stage by stage: both eyes
// grab and decode (the test pattern renders and encodes a new MJPEG frame for each, which a
// real camera does in its own hardware) and run their adjustment stacks, the monitor
// composes the anaglyph and draws it at 640 x 480, and the kept monitor image is drawn into
// a 640 x 480 broadcast buffer. The whole tick runs with neutral stacks and with both eyes'
// stacks active, in one run; "allocs" counts heap allocations per tick. Then the ticks while
// a camera comes and goes, and the camera menus' rebuild.

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/support/AllocationCounter.h"
#include "bench/support/StereoRig.h"
#include "platform/capture/CaptureRegistry.h"
#include "platform/capture/TestPatternBackEnd.h"

namespace {

void BM_TickWhole(benchmark::State& state) {
    StereoRig rig(state.range(0) != 0);
    long const before = BenchAllocations::Count();
    for (auto _ : state) {
        rig.Grab();
        rig.Compose();
        rig.Broadcast();
    }
    benchmark::DoNotOptimize(rig.broadcastBuffer.data());
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(BenchAllocations::Count() - before),
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

// The main thread's own processor time, which a loaded machine's scheduler does not
// stretch: with other builds running, wall-clock ticks also count the time others ran.
double ThreadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// The tick of the window while a camera goes and comes back: each iteration unplugs the
// camera, ticks (both eyes lose theirs, the menus are rebuilt), plugs it in and ticks until
// both eyes stream again (the capture worker opens the cameras meanwhile, and the menus are
// rebuilt). The longest single tick is the figure that matters: it is the frame a user sees
// stall. Each tick is timed on the wall clock and in the main thread's processor time; the
// 99th percentile of the replug ticks is given too.
void BM_TickWhileACameraIsUnpluggedAndReplugged(benchmark::State& state) {
    StereoRig rig;
    for (QCamGrabCGImageView* eye : {&rig.left, &rig.right}) {
        eye->grabber()->SetAutoOpenCameraPluggedIn(true, 0.0f);  // re-open at the next tick
    }
    CaptureRegistry::Shared().DevicesChanged();
    struct Times {
        std::vector<double> wallMs, cpuMs;
    };
    auto const tick = [&rig](Times& times) {
        auto const start = std::chrono::steady_clock::now();
        double const startCpuMs = ThreadCpuMs();
        rig.Grab();
        if (CaptureRegistry::Shared().DevicesChanged()) {
            rig.left.cameraMenuRefresh();
            rig.right.cameraMenuRefresh();
        }
        times.cpuMs.push_back(ThreadCpuMs() - startCpuMs);
        times.wallMs.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
    };
    auto const streaming = [&rig] {
        return rig.left.grabber()->mVideoChannel != nullptr &&
               rig.right.grabber()->mVideoChannel != nullptr;
    };
    Times unplug, replug;
    for (auto _ : state) {
        TestPatternBackEnd::Unplug();
        tick(unplug);
        TestPatternBackEnd::Plug();
        for (int i = 0; i < 2000 && !streaming(); ++i) {
            tick(replug);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (!streaming()) {
            state.SkipWithError("the cameras did not come back");
            break;
        }
    }
    auto const longest = [](std::vector<double> const& ms) {
        return ms.empty() ? 0.0 : *std::max_element(ms.begin(), ms.end());
    };
    auto const p99 = [](std::vector<double> ms) {
        std::sort(ms.begin(), ms.end());
        return ms.empty() ? 0.0 : ms[ms.size() * 99 / 100];
    };
    state.counters["longest_unplug_tick_ms"] = longest(unplug.wallMs);
    state.counters["longest_replug_tick_ms"] = longest(replug.wallMs);
    state.counters["p99_replug_tick_ms"] = p99(replug.wallMs);
    state.counters["longest_unplug_tick_cpu_ms"] = longest(unplug.cpuMs);
    state.counters["longest_replug_tick_cpu_ms"] = longest(replug.cpuMs);
}
BENCHMARK(BM_TickWhileACameraIsUnpluggedAndReplugged)->Unit(benchmark::kMillisecond);

// Rebuilding both eyes' camera menus, as the window does when cameras come and go.
void BM_CameraMenuRebuild(benchmark::State& state) {
    StereoRig rig;
    double longestMs = 0.0;
    for (auto _ : state) {
        auto const start = std::chrono::steady_clock::now();
        rig.left.cameraMenuRefresh();
        rig.right.cameraMenuRefresh();
        longestMs = std::max(longestMs, std::chrono::duration<double, std::milli>(
                                            std::chrono::steady_clock::now() - start)
                                            .count());
    }
    state.counters["longest_ms"] = longestMs;
}
BENCHMARK(BM_CameraMenuRebuild)->Unit(benchmark::kMicrosecond);

}  // namespace
