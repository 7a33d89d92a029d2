#!/usr/bin/env bash
# test_wasm.sh [--install]: the bits in WebAssembly, with and without its vectors, compiled by Emscripten, run by Node.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/other_builds.sh
need_packages "${1-}" emscripten nodejs node-acorn cmake ninja-build
export NODE_PATH=/usr/share/nodejs # where Debian has what the linker needs, whichever Node is first
# Emscripten's loader takes a Node with fetch for a browser.
NODE=(node --no-experimental-fetch)

for kind in scalar simd; do
  configure_build "wasm-$kind" -DCMAKE_TOOLCHAIN_FILE=/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake \
    -DCMAKE_CXX_FLAGS="$([ $kind = simd ] && echo -msimd128)"
  build_targets "wasm-$kind" operation_hashes
  compare_bits "WebAssembly, $kind" "${NODE[@]}" "build/bits/wasm-$kind/tests/support/operation_hashes.js"
done
