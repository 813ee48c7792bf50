// The master clock's delivered rate and its worst gap between two ticks, with a real
// document window (offscreen unless a display is chosen).

#include <algorithm>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <benchmark/benchmark.h>

#include "app/DSCDocument.h"

namespace {

void BM_MasterClockRate(benchmark::State& state) {
    for (auto _ : state) {
        DSCDocument document;
        document.makeWindowControllers();
        document.showWindows();
        int ticks = 0;
        qint64 worstGapNs = 0;
        QElapsedTimer sinceTick;
        sinceTick.start();
        QObject::connect(document.camTimer(), &QTimer::timeout, [&] {
            ++ticks;
            worstGapNs = std::max(worstGapNs, sinceTick.nsecsElapsed());
            sinceTick.restart();
        });
        QElapsedTimer elapsed;
        elapsed.start();
        QEventLoop loop;
        QTimer::singleShot(3000, &loop, &QEventLoop::quit);
        loop.exec();
        double const seconds = elapsed.nsecsElapsed() / 1e9;
        state.SetIterationTime(seconds);
        state.counters["ticks_per_s"] = ticks / seconds;
        state.counters["worst_gap_ms"] = worstGapNs / 1e6;
    }
}
BENCHMARK(BM_MasterClockRate)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
