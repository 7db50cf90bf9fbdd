#!/usr/bin/env bash
# Installs the Debian packages the project needs, only those that are missing.
# Safe to run again; never reads standard input.
set -euo pipefail

PACKAGES=(cmake ninja-build g++ g++-multilib pkg-config
          libgtest-dev libgmock-dev libbenchmark-dev
          libavcodec-dev libavformat-dev libavutil-dev libswscale-dev libswresample-dev ffmpeg
          libhwy-dev libyuv-dev
          clang libclang-rt-14-dev
          python3 python3-dev python3-pybind11 python3-numpy python3-pytest
          time linux-perf)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if ((${#missing[@]})); then
  echo "deps: installing ${missing[*]}"
  SUDO=""
  if [ "$(id -u)" != 0 ]; then SUDO="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq < /dev/null
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" < /dev/null
fi
