// The main of the benchmarks that need widgets: a QApplication on the offscreen platform
// (unless the caller chose another), kept alive while windows open and close.

#include <cstdlib>

#include <QApplication>

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
