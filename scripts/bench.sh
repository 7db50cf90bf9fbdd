#!/usr/bin/env bash
# Speed against the peers. Builds the benchmarks and qvencode (Release), then:
#  1. every kernel job beside libyuv / libswscale / libswresample, on one core;
#  2. the host path against the ffmpeg command-line tool on generated input:
#     (a) 1920x1080 30 fps Y4M + 48 kHz WAV -> 1280x720 H.264 (veryfast,
#         2 Mbit/s, GOP 60) + AAC 128k in MP4;
#     (b) raw BGRA 1920x1080 30 fps -> 1920x1080 H.264.
#     Both tools run with one encoder thread (ours is single-threaded; the
#     ffmpeg tool would otherwise pick threads automatically), median of
#     three runs, wall and CPU time, and the share of (a)'s CPU spent inside
#     libquevarra itself (perf samples per library, when perf is allowed).
# Usage: scripts/bench.sh [--kernels-only|--host-only] [--seconds N]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

MODE=all SECONDS_OF_VIDEO=5
while (($#)); do
  case $1 in
    --kernels-only) MODE=kernels ;;
    --host-only) MODE=host ;;
    --seconds) SECONDS_OF_VIDEO=$2; shift ;;
    *) echo "usage: $0 [--kernels-only|--host-only] [--seconds N]" >&2; exit 1 ;;
  esac
  shift
done

BUILD=build/bench
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQV_BUILD_BENCH=ON -DQV_BUILD_TESTS=OFF > "$BUILD.configure.log" 2>&1 ||
  { cat "$BUILD.configure.log"; exit 1; }
cmake --build "$BUILD" -j "$(nproc)" > "$BUILD.build.log" 2>&1 || { tail -50 "$BUILD.build.log"; exit 1; }
CORE=$(( $(nproc) - 1 ))
echo "== machine: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//'), $(nproc) cores; kernels on core $CORE"

if [ "$MODE" != host ]; then
  echo "== kernels (one core, CPU time)"
  taskset -c "$CORE" "$BUILD/bench/qv_bench" --benchmark_min_time=0.5 --benchmark_repetitions=3 \
    --benchmark_report_aggregates_only=true 2>&1 | sed -n '/^Our throughput/,$p'
fi
[ "$MODE" = kernels ] && exit 0

QVENCODE=$BUILD/Quevarra.app/Contents/MacOS/qvencode
WORK=$(mktemp -d "${TMPDIR:-/tmp}/qvbench.XXXXXX")
trap 'rm -rf "$WORK"' EXIT
FRAMES=$((SECONDS_OF_VIDEO * 30))
echo "== generating ${SECONDS_OF_VIDEO} s of 1920x1080 input in $WORK"
ffmpeg -v error -f lavfi -i "testsrc2=size=1920x1080:rate=30" -frames:v "$FRAMES" -pix_fmt yuv420p "$WORK/in.y4m"
ffmpeg -v error -f lavfi -i "sine=frequency=440:sample_rate=48000" -ac 2 -t "$SECONDS_OF_VIDEO" -c:a pcm_s16le "$WORK/in.wav"
ffmpeg -v error -f lavfi -i "testsrc2=size=1920x1080:rate=30" -frames:v "$FRAMES" -pix_fmt bgra -f rawvideo "$WORK/in.bgra"

# Prints "wall user+sys" of one run of the command.
measure() {
  /usr/bin/time -f "%e %U %S" -o "$WORK/time.txt" "$@" > /dev/null 2> "$WORK/run.err" ||
    { cat "$WORK/run.err"; exit 1; }
  awk '{printf "%.3f %.3f\n", $1, $2 + $3}' "$WORK/time.txt"
}
# Median over three runs of wall and CPU, each column on its own.
median3() {
  local runs
  runs=$(for _ in 1 2 3; do measure "$@"; done)
  echo "$(awk '{print $1}' <<< "$runs" | sort -n | sed -n 2p) $(awk '{print $2}' <<< "$runs" | sort -n | sed -n 2p)"
}

compare() {
  local label=$1 ours theirs
  shift
  local -a ours_cmd theirs_cmd
  while [ "$1" != -- ]; do ours_cmd+=("$1"); shift; done
  shift
  theirs_cmd=("$@")
  ours=$(median3 "${ours_cmd[@]}")
  theirs=$(median3 "${theirs_cmd[@]}")
  echo "$ours $theirs" | awk -v label="$label" '{printf "%-36s qvencode %6.2fs wall %6.2fs cpu | ffmpeg %6.2fs wall %6.2fs cpu | wall %.2fx cpu %.2fx\n",
    label, $1, $2, $3, $4, $1 / $3, $2 / $4}'
}

echo "== host path (median of 3; ratios are qvencode / ffmpeg, below 1.00x: faster)"
compare "(a) Y4M+WAV -> 720p H.264+AAC MP4" \
  env -u QUEVARRA_LOG "$QVENCODE" -y -i "$WORK/in.y4m" -a "$WORK/in.wav" -s 1280x720 --resize stretch \
    --interp bilinear -c:v h264 -b:v 2M -c:a aac -b:a 128k "$WORK/ours_a.mp4" -- \
  ffmpeg -nostdin -v error -y -i "$WORK/in.y4m" -i "$WORK/in.wav" -vf scale=1280:720:flags=bilinear \
    -c:v libx264 -preset veryfast -b:v 2M -g 60 -threads 1 -c:a aac -b:a 128k "$WORK/ffmpeg_a.mp4"
compare "(b) raw BGRA -> 1080p H.264 MP4" \
  env -u QUEVARRA_LOG "$QVENCODE" -y --raw bgra --size 1920x1080 --rate 30 -i "$WORK/in.bgra" -an \
    -c:v h264 -b:v 2M "$WORK/ours_b.mp4" -- \
  ffmpeg -nostdin -v error -y -f rawvideo -pix_fmt bgra -s 1920x1080 -r 30 -i "$WORK/in.bgra" \
    -c:v libx264 -preset veryfast -b:v 2M -g 60 -threads 1 -pix_fmt yuv420p "$WORK/ffmpeg_b.mp4"

if perf record -e cpu-clock -o "$WORK/perf.data" -F 999 -- true > /dev/null 2>&1; then
  perf record -e cpu-clock -o "$WORK/perf.data" -F 999 -- "$QVENCODE" -y -i "$WORK/in.y4m" -a "$WORK/in.wav" \
    -s 1280x720 --resize stretch --interp bilinear -c:v h264 -b:v 2M -c:a aac -b:a 128k "$WORK/ours_a.mp4" \
    > /dev/null 2>&1
  share=$(perf report -i "$WORK/perf.data" --sort dso --stdio 2> /dev/null | awk '/libquevarra/ {s += $1} END {printf "%.2f", s}')
  echo "== library's own share of (a)'s CPU: ${share:-0}% (perf samples in libquevarra; plugins and codecs excluded)"
else
  echo "== library's own share of (a)'s CPU: not measured (perf is not allowed here)"
fi
