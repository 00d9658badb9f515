#!/usr/bin/env bash
# Sets up, builds the plug-in and its factory presets, and renders audio through it.
# With no arguments it plays the built-in drum loop through the "default" preset; any
# arguments go to cadenzoid-render.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DCADENZOID_TESTS=OFF -DCADENZOID_BENCH=OFF >/dev/null
cmake --build build/release -j"$(nproc)" --target cadenzoid cadenzoid-render cadenzoid-content >/dev/null
if [ $# -eq 0 ]; then
  set -- --preset build/release/content/Presets/default.cdz --bars 4 -o out/cadenzoid-demo.wav
fi
./build/release/cadenzoid-render "$@"
