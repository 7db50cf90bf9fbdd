#!/usr/bin/env bash
# Builds everything and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build/normal -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
cmake --build build/normal -j "$(nproc)"
BUNDLE=build/normal/Quevarra.app/Contents/MacOS
if [ -x "$BUNDLE/qvencode" ]; then
  "$BUNDLE/qvencode" --progress -y demo.mp4
  ffprobe -v error -show_entries stream=codec_name,width,height,r_frame_rate,sample_rate,channels:format=duration -of default=nw=1 demo.mp4
else
  echo "Plugins found in $BUNDLE/Encoder:"
  ls "$BUNDLE/Encoder"
fi
