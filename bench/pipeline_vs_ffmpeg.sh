#!/usr/bin/env bash
# Times ffmpeg making the same red-cyan anaglyph, single-threaded, from the two MJPEG files
# the pipeline benchmark replays, and prints Duoscope's speed-up per frame (CPU time).
#   bench/pipeline_vs_ffmpeg.sh [build folder]      (default build)
# Without ffmpeg it prints the benchmark alone.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
frames=$(mktemp -d)
trap 'rm -rf "$frames"' EXIT

report=$("$build/bench/Pipeline_bench" "$frames" 2>/dev/null)
echo "$report" | grep -v '^pipeline_'
ours=$(echo "$report" | sed -n 's/^pipeline_neutral_ms_per_tick=//p')
# Each recording (60 frames) is read ten times over, so that ffmpeg's start counts little.
count=600

if ! command -v ffmpeg >/dev/null; then
    echo "ffmpeg is not installed: no comparison"
    exit 0
fi
TIMEFORMAT='%U %S'
cpu=$( { time ffmpeg -v error -nostdin \
           -threads 1 -stream_loop 9 -f mjpeg -framerate 30 -i "$frames/left.mjpeg" \
           -threads 1 -stream_loop 9 -f mjpeg -framerate 30 -i "$frames/right.mjpeg" \
           -filter_complex_threads 1 -filter_threads 1 \
           -filter_complex 'hstack,stereo3d=sbsl:arcd' -f null - >/dev/null; } 2>&1 | tail -1)
ffmpeg_ms=$(echo "$cpu" | awk -v n="$count" '{printf "%.3f", ($1 + $2) * 1000 / n}')
echo "ffmpeg hstack,stereo3d=sbsl:arcd, one thread: $ffmpeg_ms ms cpu per frame"
echo "Duoscope (neutral stacks, monitor at 1920x1080): $ours ms cpu per tick"
awk -v f="$ffmpeg_ms" -v o="$ours" 'BEGIN {printf "speed-up: %.2fx\n", f / o}'
