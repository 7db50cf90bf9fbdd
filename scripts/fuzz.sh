#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ (clang, ASan + UBSan, in build/fuzz)
# and runs each of them, one at a time.
#
#   scripts/fuzz.sh --ci               a fixed, short number of runs per target
#                                      from its seed corpus (the CI step)
#   scripts/fuzz.sh [--time SECONDS]   SECONDS per target (default 300), growing
#                                      a working corpus outside the repository
#   options: --target NAME (repeatable) only those targets;
#            --work DIR    working corpora and crash files (default
#                          $QV_FUZZ_WORK or /tmp/quevarra-fuzz)
#
# Prints, per target, executions, executions per second, coverage (libFuzzer's
# cov: edges and ft: features), the corpus size and any crash file; exits 1
# when a target failed. Needs clang and libclang-rt-14-dev (scripts/deps.sh);
# never reads standard input.
set -euo pipefail
cd "$(dirname "$0")/.."

TARGETS=(utf audio_converter mediafile resize color plugin_scan)
# Runs per target in --ci mode: a few seconds each on 2 cores.
declare -A CI_RUNS=([utf]=20000 [audio_converter]=1500 [mediafile]=1000 [resize]=6000
                    [color]=10000 [plugin_scan]=200)

ci=0
seconds=300
work=${QV_FUZZ_WORK:-/tmp/quevarra-fuzz}
chosen=()
while (($#)); do
  case $1 in
    --ci) ci=1 ;;
    --time) seconds=${2:?--time needs seconds}; shift ;;
    --target) chosen+=("${2:?--target needs a name}"); shift ;;
    --work) work=${2:?--work needs a directory}; shift ;;
    -h|--help) sed -n '2,18p' "$0"; exit 0 ;;
    *) echo "fuzz.sh: unknown option $1 (see --help)" >&2; exit 2 ;;
  esac
  shift
done
if ((${#chosen[@]})); then
  for t in "${chosen[@]}"; do
    [[ " ${TARGETS[*]} " == *" $t "* ]] || { echo "fuzz.sh: no target $t (${TARGETS[*]})" >&2; exit 2; }
  done
  TARGETS=("${chosen[@]}")
fi

for tool in clang clang++ cmake ninja; do
  command -v "$tool" > /dev/null || { echo "fuzz.sh: $tool missing; run scripts/deps.sh" >&2; exit 2; }
done

build=build/fuzz
mkdir -p build
start=$SECONDS
echo "== build $build (clang, libFuzzer, ASan + UBSan)"
if ! { cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
         -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DQV_BUILD_FUZZ=ON \
         -DQV_BUILD_TESTS=OFF -DQV_BUILD_PLUGINS=OFF -DQV_BUILD_TOOLS=OFF -DQV_BUILD_BENCH=OFF &&
       cmake --build "$build" --target qv_fuzz_all -j "$(nproc)"; } > "$build.log" 2>&1; then
  tail -n 60 "$build.log"
  echo "fuzz.sh: build failed (whole log: $build.log)" >&2
  exit 1
fi
echo "   built in $((SECONDS - start)) s"

if ((ci)); then
  work=$(mktemp -d "${TMPDIR:-/tmp}/quevarra-fuzz-ci.XXXXXX")
  trap 'rm -rf "$work"' EXIT
fi
mkdir -p "$work"

# One line per target from libFuzzer's final statistics.
report() {
  local name=$1 log=$2 status=$3 took=$4
  local runs rate cov ft corp crash
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
  ft=$(grep -o 'ft: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
  corp=$(grep -o 'corp: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
  crash=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
  printf '%-16s %10s %8s %6s %7s %7s %6ss  %s\n' "$name" "${runs:--}" "${rate:--}" "${cov:--}" \
    "${ft:--}" "${corp:--}" "$took" "$( ((status == 0)) && echo ok || echo "FAILED ${crash:-(see $log)}")"
}

failed=0
summary=()
for t in "${TARGETS[@]}"; do
  dir=$work/$t
  mkdir -p "$dir/corpus"
  cp -n fuzz/corpus/"$t"/* "$dir/corpus/" 2> /dev/null || true
  args=(-print_final_stats=1 -timeout=30 "-artifact_prefix=$dir/")
  if ((ci)); then
    args+=(-seed=1 "-runs=${CI_RUNS[$t]}")
    echo "== $t: ${CI_RUNS[$t]} runs"
  else
    args+=("-max_total_time=$seconds")
    echo "== $t: $seconds s, corpus $dir/corpus"
  fi
  log=$dir/fuzz.log
  t0=$SECONDS
  status=0
  UBSAN_OPTIONS=print_stacktrace=1 "$build/fuzz/${t}_fuzz" "${args[@]}" "$dir/corpus" \
    > "$log" 2>&1 < /dev/null || status=$?
  if ((status)); then
    failed=1
    grep -E -A 40 '^==[0-9]+==ERROR|runtime error|check failed|^SUMMARY' "$log" | head -n 60 || tail -n 40 "$log"
  fi
  summary+=("$(report "$t" "$log" "$status" $((SECONDS - t0)))")
done

printf '\n%-16s %10s %8s %6s %7s %7s %7s  %s\n' target executions exec/s cov ft corpus time result
printf '%s\n' "${summary[@]}"
echo "total $((SECONDS - start)) s (build included)"
((ci)) || echo "working corpora and crash files: $work"
exit $failed
