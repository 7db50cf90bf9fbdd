#!/usr/bin/env bash
# Soak: writes 10,000 short files (or $1) through the real plugins in one
# process and checks that resident memory, open descriptors and mappings stay
# flat after a warm-up. Not part of CI; takes about a minute.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

dir=build/normal
mkdir -p build
cmake -S . -B "$dir" -G Ninja -DQV_BUILD_TESTS=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  > "$dir.configure.log" 2>&1 || { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir" -j "$(nproc)" --target qv_soak
"$dir/tests/soak/qv_soak" "${1:-10000}"
