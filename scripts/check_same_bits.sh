#!/usr/bin/env bash
# check_same_bits.sh [--native]: compares the bits of every operation between compilers, flags, instruction sets and, unless
# --native, the other machines whose tools are installed, and names the operations that differ. build/release is used as it
# is built.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/other_builds.sh
mkdir -p build/bits
failures=0
check() { "$@" || failures=$((failures + 1)); }

cmake --build build/release --target operation_hashes >/dev/null || exit 1
check compare_sets "g++ -O3" build/release/tests/support/operation_hashes

# A host whose own code wants other arithmetic. The linker is not given -ffast-math: it would set flush-to-zero for the
# whole program.
configure_build host-flags "-DCMAKE_CXX_FLAGS=-march=native -ffp-contract=fast -ffast-math" \
  -DCMAKE_EXE_LINKER_FLAGS=-fno-fast-math && build_targets host-flags operation_hashes || exit 1
check compare_sets "host's flags -march=native -ffp-contract=fast -ffast-math" \
  build/bits/host-flags/tests/support/operation_hashes
check scripts/check_fused.sh build/bits/host-flags/mth/libmth.a
check scripts/check_fused.sh --headers

if command -v clang++ >/dev/null; then
  configure_build clang-O0 -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 && build_targets clang-O0 operation_hashes || exit 1
  check compare_sets "clang++ -O0" build/bits/clang-O0/tests/support/operation_hashes
fi

if [ "${1-}" != --native ]; then
  # The library and its caller optimised as one, as a host may link them.
  for compiler in g++ clang++; do
    command -v "$compiler" >/dev/null || continue
    configure_build "one-program-$compiler" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON \
      "-DCMAKE_CXX_FLAGS=-march=native -ffp-contract=fast" -DCMAKE_CXX_FLAGS_RELEASE=-O2 -DMTH_QUICK_BUILD=OFF &&
      build_targets "one-program-$compiler" operation_hashes &&
      check compare_sets "$compiler with link-time optimisation" "build/bits/one-program-$compiler/tests/support/operation_hashes" ||
      failures=$((failures + 1))
  done
  for script in "test_libcxx.sh core" "test_windows.sh core" test_wasm.sh "test_emulated.sh aarch64 core" "test_emulated.sh s390x core"; do
    # shellcheck disable=SC2086
    scripts/$script
    status=$?
    [ $status -eq 0 ] || [ $status -eq $EXIT_MISSING ] || failures=$((failures + 1))
  done
fi
echo "$failures comparisons failed"
[ $failures -eq 0 ]
