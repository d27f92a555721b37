#!/usr/bin/env bash
# Builds Lamina and renders the built-in demo through the default settings to out/demo.wav.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
build=${LAMINA_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target lamina-render -j"$(nproc)"
mkdir -p out
"$build"/tools/lamina-render --output out/demo.wav "$@"
