#!/usr/bin/env bash
# Sourced by the build scripts: sets `cache_flags` to CMake's compiler-launcher options when ccache is installed
# and its cache folder can be written, to nothing otherwise. Paths are hashed relative to the checkout, so that
# clones in other folders share the cache.
cache_flags=()
if command -v ccache >/dev/null 2>&1; then
    cache_dir=${CCACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/ccache}
    if mkdir -p "$cache_dir" 2>/dev/null && [[ -w "$cache_dir" ]]; then
        export CCACHE_DIR=$cache_dir
        export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$(pwd -P)}
        export CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
        cache_flags=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
    fi
fi
