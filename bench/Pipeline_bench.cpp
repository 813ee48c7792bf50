// The whole pipeline on recorded frames against the decoding alone, measured side by side in
// one run. Two MJPEG files (one JPEG after another, 640 x 480, made here by the test-pattern
// camera's encoder and kept for scripts that time other programs on the same frames) are
// replayed through both grabbers: each tick decodes both eyes, runs their adjustment stacks,
// composes the anaglyph, paints the monitor at 1920 x 1080 through the path the view chose
// (OpenGL where a context can be made, e.g. under Xvfb with the xcb platform: the view is then
// shown as a 1920 x 1080 window and repainted; the painter into a 1920 x 1080 image
// otherwise) and draws the broadcast picture. Two bare TurboJPEG decodes of the same frames are
// timed in alternating rounds; the report gives both per tick, their ratio, and the heap
// allocations per tick (handing the recorded frames to the cameras not counted).
//
//   build/bench/Pipeline_bench [frames folder]     (default /tmp/duoscope-pipeline)
//   DUOSCOPE_TRACE_ALLOCATIONS=1 build/bench/Pipeline_bench   also prints where one tick allocates
//   QT_QPA_PLATFORM=xcb xvfb-run -s '-screen 0 1920x1080x24' build/bench/Pipeline_bench
//                                          the OpenGL path, on Mesa's software rasteriser
// The paint is reported twice: the CPU time of the GUI thread alone (upload and draw calls on
// the OpenGL path) and of the whole process (a software rasteriser's threads included).

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <turbojpeg.h>

#include <QApplication>

#include "bench/support/AllocationCounter.h"
#include "bench/support/StereoRig.h"
#include "platform/capture/TestPatternSource.h"


namespace {

using Frame = std::vector<std::uint8_t>;
constexpr int kFrames = 60;  // two seconds at 30 frames a second
constexpr int kWidth = 640;
constexpr int kHeight = 480;

// Encodes the test pattern's view of each eye and writes it as one MJPEG file per eye.
bool WriteRecordings(std::filesystem::path const& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    for (int input = 0; input < TestPatternBackEnd::kInputCount; ++input) {
        TestPatternSource source(input, kWidth, kHeight);
        if (source.Construct() != 0) {
            return false;
        }
        std::ofstream file(folder / (input == 0 ? "left.mjpeg" : "right.mjpeg"), std::ios::binary);
        for (int i = 0; i < kFrames; ++i) {
            std::size_t size = 0;
            if (source.EncodeFrame(i / 30.0, size) != 0) {
                return false;
            }
            file.write(reinterpret_cast<char const*>(source.JPEGData()),
                       static_cast<std::streamsize>(size));
        }
        if (!file) {
            return false;
        }
    }
    return true;
}

// The JPEGs of an MJPEG file: each runs from its start marker to its end marker (which the
// entropy-coded data never contains, 0xFF being stuffed there).
std::vector<Frame> ReadRecording(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    Frame const bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<Frame> frames;
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == 0xD8) {
            start = i;
        } else if (bytes[i] == 0xFF && bytes[i + 1] == 0xD9) {
            frames.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                                bytes.begin() + static_cast<std::ptrdiff_t>(i + 2));
        }
    }
    return frames;
}

double ProcessSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double ThreadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double WallSeconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct Times {
    double cpu = 0;
    double wall = 0;
};

// Both eyes through the program: grab (decode and adjust), compose, paint, broadcast.
struct Pipeline {
    StereoRig rig;
    std::vector<Frame> const& left;
    std::vector<Frame> const& right;
    Frame carrier[2];
    long allocations = 0;
    int ticks = 0;
    bool trace = false;  // print where this tick's allocations are made
    // CPU seconds of each stage, summed over the ticks: both eyes grabbed (decode and
    // adjustments), the mux composed, the monitor painted, the broadcast picture drawn.
    static constexpr char const* kStages[4] = {"grab", "mux", "paint", "broadcast"};
    double stageSeconds[4] = {};
    double paintThreadSeconds = 0;  // the paint's CPU time on this thread alone
    long paintAllocations = 0;      // of `allocations`, those of the paint (Qt's own)
    bool openGL = DSCStereoView::monitorPath() == DSCStereoView::MonitorPath::kOpenGL;

    Pipeline(bool activeStacks, std::vector<Frame> const& l, std::vector<Frame> const& r)
        : rig(activeStacks, QSize(1920, 1080)), left(l), right(r) {
        if (openGL) {
            rig.monitor.setGeometry(QRect(QPoint(0, 0), rig.screen.size()));
            rig.monitor.show();
            QApplication::processEvents();
        }
    }

    void Paint() {
        if (openGL) {
            rig.monitor.surface()->repaint();
        } else {
            rig.monitor.drawRect(rig.screen, QRectF(QPointF(0, 0), QSizeF(rig.screen.size())));
        }
    }

    void Tick(int i) {
        // The camera takes the recorded bytes as the next frame it delivers.
        carrier[0].assign(left[i].begin(), left[i].end());
        carrier[1].assign(right[i].begin(), right[i].end());
        TestPatternBackEnd::InjectFrame(0, std::move(carrier[0]));
        TestPatternBackEnd::InjectFrame(1, std::move(carrier[1]));
        long const before = BenchAllocations::Count();
        BenchAllocations::SetTracing(trace);
        double t[5];
        t[0] = ProcessSeconds();
        rig.Grab();
        t[1] = ProcessSeconds();
        rig.monitor.composeMonitorImage();
        t[2] = ProcessSeconds();
        double const paintThread = ThreadSeconds();
        long const paintBefore = BenchAllocations::Count();
        Paint();
        paintAllocations += BenchAllocations::Count() - paintBefore;
        paintThreadSeconds += ThreadSeconds() - paintThread;
        t[3] = ProcessSeconds();
        rig.Broadcast();
        t[4] = ProcessSeconds();
        BenchAllocations::SetTracing(false);
        for (int stage = 0; stage < 4; ++stage) {
            stageSeconds[stage] += t[stage + 1] - t[stage];
        }
        allocations += BenchAllocations::Count() - before;
        ++ticks;
    }
};

// Two decodes per tick, as the grabbers do them, into 640 x 480 BGRA.
struct BareDecode {
    tjhandle decoder = tjInitDecompress();
    Frame pixels = Frame(std::size_t(kWidth) * kHeight * 4);
    ~BareDecode() { tjDestroy(decoder); }
    bool Decode(Frame const& jpeg) {
        int width = 0, height = 0, subsampling = 0, colorspace = 0;
        return tjDecompressHeader3(decoder, jpeg.data(), static_cast<unsigned long>(jpeg.size()),
                                   &width, &height, &subsampling, &colorspace) == 0 &&
               width == kWidth && height == kHeight &&
               tjDecompress2(decoder, jpeg.data(), static_cast<unsigned long>(jpeg.size()),
                             pixels.data(), kWidth, kWidth * 4, kHeight, TJPF_BGRA, 0) == 0;
    }
};

template <typename Body>
Times Round(int frames, Body&& body) {
    double const cpu = ProcessSeconds();
    double const wall = WallSeconds();
    for (int i = 0; i < frames; ++i) {
        body(i);
    }
    return {(ProcessSeconds() - cpu) / frames, (WallSeconds() - wall) / frames};
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Rounds of the pipeline and of the bare decodes alternate, so that a busy machine weighs on
// both alike; the medians are compared.
void Measure(char const* name, bool activeStacks, std::vector<Frame> const& left,
             std::vector<Frame> const& right, int rounds) {
    Pipeline pipeline(activeStacks, left, right);
    BareDecode bare;
    int const frames = static_cast<int>(std::min(left.size(), right.size()));
    for (int i = 0; i < frames; ++i) {  // warm up: pictures, contexts and caches made
        pipeline.Tick(i);
    }
    pipeline.allocations = 0;
    pipeline.ticks = 0;
    std::fill(std::begin(pipeline.stageSeconds), std::end(pipeline.stageSeconds), 0.0);
    pipeline.paintThreadSeconds = 0;
    pipeline.paintAllocations = 0;
    std::vector<double> tickCpu, tickWall, decodeCpu, decodeWall;
    bool decoded = true;
    for (int round = 0; round < rounds; ++round) {
        Times const tick = Round(frames, [&](int i) { pipeline.Tick(i); });
        Times const decode = Round(frames, [&](int i) {
            decoded = bare.Decode(left[std::size_t(i)]) && decoded;
            decoded = bare.Decode(right[std::size_t(i)]) && decoded;
        });
        tickCpu.push_back(tick.cpu);
        tickWall.push_back(tick.wall);
        decodeCpu.push_back(decode.cpu);
        decodeWall.push_back(decode.wall);
    }
    if (!decoded) {
        std::printf("%s: the bare decoder refused a recorded frame\n", name);
    }
    double const tick = Median(tickCpu) * 1e3;
    double const decode = Median(decodeCpu) * 1e3;
    std::printf("%-14s tick %6.3f ms cpu (%6.3f wall)  two decodes %6.3f ms cpu (%6.3f wall)  "
                "ratio %.3f  allocations/tick %.2f\n",
                name, tick, Median(tickWall) * 1e3, decode, Median(decodeWall) * 1e3,
                tick / decode, static_cast<double>(pipeline.allocations) / pipeline.ticks);
    std::printf("%-14s stages (ms cpu, mean):", "");
    for (int stage = 0; stage < 4; ++stage) {
        std::printf(" %s %.3f", Pipeline::kStages[stage],
                    pipeline.stageSeconds[stage] * 1e3 / pipeline.ticks);
    }
    std::printf("  (paint on %s: %.3f ms on the GUI thread)\n",
                pipeline.openGL ? "OpenGL" : "the CPU",
                pipeline.paintThreadSeconds * 1e3 / pipeline.ticks);
    std::printf("%-14s allocations/tick in the paint (Qt's painter or repaint) %.2f, "
                "elsewhere %.2f\n",
                "",
                static_cast<double>(pipeline.paintAllocations) / pipeline.ticks,
                static_cast<double>(pipeline.allocations - pipeline.paintAllocations) /
                    pipeline.ticks);
    std::printf("pipeline_%s_ms_per_tick=%.4f\n", activeStacks ? "active" : "neutral", tick);
}

// Prints the call stacks of one tick's allocations.
void TraceOneTick(std::vector<Frame> const& left, std::vector<Frame> const& right) {
    Pipeline pipeline(true, left, right);
    for (int i = 0; i < 5; ++i) {
        pipeline.Tick(i);
    }
    std::printf("--- allocations of one tick, active stacks ---\n");
    std::fflush(stdout);
    pipeline.trace = true;
    pipeline.Tick(5);
}

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    std::filesystem::path const folder = argc > 1 ? argv[1] : "/tmp/duoscope-pipeline";
    if (!WriteRecordings(folder)) {
        std::printf("cannot write the recordings into %s\n", folder.c_str());
        return 1;
    }
    std::vector<Frame> const left = ReadRecording(folder / "left.mjpeg");
    std::vector<Frame> const right = ReadRecording(folder / "right.mjpeg");
    if (left.size() != kFrames || right.size() != kFrames) {
        std::printf("the recordings hold %zu and %zu frames, not %d\n", left.size(), right.size(),
                    kFrames);
        return 1;
    }
    std::printf("%d frames per eye, %dx%d MJPEG, from %s; monitor painted at 1920x1080 %s\n",
                kFrames, kWidth, kHeight, folder.c_str(),
                DSCStereoView::monitorPath() == DSCStereoView::MonitorPath::kOpenGL
                    ? "through OpenGL"
                    : "on the CPU");
    int const rounds = 7;
    Measure("neutral stacks", false, left, right, rounds);
    Measure("active stacks", true, left, right, rounds);
    if (std::getenv("DUOSCOPE_TRACE_ALLOCATIONS") != nullptr) {
        TraceOneTick(left, right);
    }
    return 0;
}
