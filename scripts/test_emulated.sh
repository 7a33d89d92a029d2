#!/usr/bin/env bash
# test_emulated.sh aarch64|s390x [--install] [room...]: the bits and the tests of these rooms on another machine, emulated;
# s390x is big-endian. Without rooms, those that take minutes there.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/other_builds.sh
machine=${1-}
case $machine in
  aarch64 | s390x) shift ;;
  *) echo "test_emulated.sh aarch64|s390x [--install] [room...]" >&2; exit 2 ;;
esac
mode=
if [ "${1-}" = --install ]; then mode=$1; shift; fi
need_packages "$mode" qemu-user "g++-$machine-linux-gnu" googletest cmake ninja-build
[ $# -gt 0 ] || set -- core value matrix statistics curve

configure_build "$machine" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/$machine.cmake -DMTH_BUILD_TESTS=ON \
  -DMTH_GOOGLETEST_SOURCE=$GOOGLETEST_SOURCE
build_targets "$machine" operation_hashes
compare_bits "$machine" "qemu-$machine" -L "/usr/$machine-linux-gnu" "build/bits/$machine/tests/support/operation_hashes"
build_and_run_tests "$machine" "$@"
