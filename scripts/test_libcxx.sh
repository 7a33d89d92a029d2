#!/usr/bin/env bash
# test_libcxx.sh [--install] [room...]: the tests and the bits with clang and libc++, the standard library of macOS.
# Without rooms, all tests.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/other_builds.sh
mode=
if [ "${1-}" = --install ]; then mode=$1; shift; fi
need_packages "$mode" clang libc++-14-dev libc++abi-14-dev googletest cmake ninja-build zlib1g-dev

configure_build libcxx -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_FLAGS=-stdlib=libc++ \
  -DMTH_BUILD_TESTS=ON -DMTH_GOOGLETEST_SOURCE=$GOOGLETEST_SOURCE
build_targets libcxx operation_hashes
compare_bits "clang with libc++" build/bits/libcxx/tests/support/operation_hashes
build_and_run_tests libcxx "$@"
