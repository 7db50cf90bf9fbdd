#!/usr/bin/env bash
# Builds and runs the whole test suite twice (normal, then AddressSanitizer +
# UndefinedBehaviorSanitizer), then the threaded tests under ThreadSanitizer,
# checks the 32-bit record layout, and runs the fuzz targets briefly.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

JOBS=$(nproc)

echo "== 32-bit layout check (-m32 -fsyntax-only)"
printf '#include <quevarra/quevarra.h>\nint main() { return 0; }\n' |
  g++ -m32 -std=c++17 -Wall -Wextra -Iinclude -fsyntax-only -x c++ -

run_suite() {
  local dir=$1; shift
  echo "== build $dir"
  cmake -S . -B "$dir" -G Ninja -DQV_BUILD_TESTS=ON "$@" > "$dir.configure.log" 2>&1 ||
    { cat "$dir.configure.log"; return 1; }
  cmake --build "$dir" -j "$JOBS"
  echo "== test $dir"
  ctest --test-dir "$dir" -j "$JOBS" --output-on-failure --no-tests=error
}

mkdir -p build
# The normal pass also builds the benchmarks (not run) so that they keep compiling.
run_suite build/normal -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQV_BUILD_BENCH=ON
# The same tests on the scalar reference rows: every result must be the same.
echo "== test build/normal with QUEVARRA_CPU=scalar"
QUEVARRA_CPU=scalar ctest --test-dir build/normal -j "$JOBS" --output-on-failure --no-tests=error
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  run_suite build/sanitize -DCMAKE_BUILD_TYPE=Debug -DQV_SANITIZE=ON

# ThreadSanitizer over the tests that run the library on several threads at
# once (label "threads", and qvencode writing audio on a second thread); only
# what they need is built.
tsan_pass() {
  local dir=build/tsan start=$SECONDS
  echo "== build $dir (ThreadSanitizer)"
  cmake -S . -B "$dir" -G Ninja -DQV_BUILD_TESTS=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQV_SANITIZE_THREAD=ON > "$dir.configure.log" 2>&1 || { cat "$dir.configure.log"; return 1; }
  cmake --build "$dir" -j "$JOBS" --target threads_test support_test mediafile_test qvencode_cli plxffmpeg
  echo "== test $dir"
  export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
  ctest --test-dir "$dir" -j "$JOBS" --output-on-failure --no-tests=error -L threads
  ctest --test-dir "$dir" --output-on-failure --no-tests=error -R 'EndToEnd\.SecondThreadAudio'
  echo "== $dir: build and run took $((SECONDS - start)) s"
}
tsan_pass

# Fuzzing: every libFuzzer target of fuzz/ for a fixed, short number of runs
# from its seed corpus (clang build in build/fuzz; about two minutes when idle).
echo "== fuzz targets (scripts/fuzz.sh --ci)"
bash scripts/fuzz.sh --ci

echo "== all suites passed"
