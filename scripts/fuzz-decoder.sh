#!/usr/bin/env bash
# Builds the frame-decoder fuzz target with clang (AddressSanitizer and UndefinedBehavior-
# Sanitizer on) and runs it for a bounded time from the seed corpus of camera frames.
#   scripts/fuzz-decoder.sh [BUILD_DIR] [SECONDS]     defaults: build-fuzz 30
# A crash leaves its input as BUILD_DIR/crash-*; rerun it with
#   BUILD_DIR/platform/capture/DecompressSequence_fuzz BUILD_DIR/crash-...
# Exits 77, which CTest reports as skipped, where clang or its libFuzzer runtime is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build-fuzz}
seconds=${2:-30}

if ! command -v clang++ >/dev/null 2>&1; then
    echo "SKIPPED: clang++ is not installed (Debian packages clang and libclang-rt-14-dev)"
    exit 77
fi
probe='extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }'
if ! echo "$probe" | clang++ -x c++ -fsanitize=fuzzer - -o /dev/null >/dev/null 2>&1; then
    echo "SKIPPED: clang cannot link libFuzzer (Debian package libclang-rt-14-dev)"
    exit 77
fi

launcher=()
command -v ccache >/dev/null 2>&1 && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ "${launcher[@]}" \
    -DDUOSCOPE_SANITIZE=ON -DDUOSCOPE_FUZZ=ON \
    -DDUOSCOPE_BUILD_TESTS=OFF -DDUOSCOPE_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" --target DecompressSequence_fuzz -j 2

# What the run finds goes into a corpus of the build's own; the seeds in the tree stay.
mkdir -p "$dir/corpus"
"$dir/platform/capture/DecompressSequence_fuzz" -max_total_time="$seconds" -timeout=10 \
    -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$dir/" \
    "$dir/corpus" platform/capture/fuzz/corpus
