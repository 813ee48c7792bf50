#!/usr/bin/env bash
# Sets up and builds Duoscope, then runs every test: the Release build, then the
# AddressSanitizer + UndefinedBehaviorSanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."
export QT_QPA_PLATFORM=offscreen
jobs=$(nproc 2>/dev/null || echo 2)

scripts/setup.sh
# This run includes the kernel-device test (label `kernel`, a qemu VM); the sanitizer build
# does not register it.
ctest --test-dir build --output-on-failure -j "$jobs"

scripts/setup.sh --sanitize
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export LSAN_OPTIONS=suppressions=$PWD/scripts/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure -j "$jobs"
