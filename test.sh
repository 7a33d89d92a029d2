#!/usr/bin/env bash
# Builds the library, its tests and its examples, and runs all tests. Installs what is missing where it may.
#   ./test.sh [preset [options of CMake]]     release (default), dev or sanitize
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/dependencies.sh

preset="${1:-release}"
ensure_packages "${BUILD_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}" "${TEST_PACKAGES[@]}"

# With optimisation or sanitizers, g++ 12 warns of its own headers once they are precompiled.
precompile=$([ "$preset" = release ] && echo ON || echo OFF)
cmake --preset "$preset" -DMTH_BUILD_TESTS=ON -DMTH_BUILD_EXAMPLES=ON -DMTH_QUICK_BUILD=ON -DMTH_PRECOMPILE="$precompile" \
  -DMTH_WARNINGS_AS_ERRORS="${CI:+ON}" "${@:2}"
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)"
