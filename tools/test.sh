#!/usr/bin/env bash
# Builds everything (core, tests, benchmarks, plug-in formats) and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
source tools/compiler_cache.sh
build=${LAMINA_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${cache_flags[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j1
