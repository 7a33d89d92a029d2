#!/usr/bin/env bash
# test_windows.sh [--install | --quick] [room...]: the bits and the tests on Windows, compiled by MinGW and run by Wine, the
# library static and as DLL. Without rooms, all tests; --quick leaves out the DLL and takes three rooms, among them files
# whose names have accents. With the DLL run the rooms whose tests put no memory management of their own in its place,
# which on Windows would be another than the DLL's. Visual C++ is not tested here.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/other_builds.sh
mode=
kinds="static dll"
case ${1-} in
  --install) mode=$1; shift ;;
  --quick) kinds=static; set -- core value matrix ;;
esac
need_packages "$mode" g++-mingw-w64-x86-64-posix wine wine64 googletest cmake ninja-build
export WINEDEBUG=-all WINEPREFIX="$PWD/build/bits/wine"

for kind in $kinds; do
  configure_build "windows-$kind" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/windows.cmake \
    -DBUILD_SHARED_LIBS=$([ $kind = dll ] && echo ON || echo OFF) \
    -DMTH_BUILD_TESTS=ON -DMTH_GOOGLETEST_SOURCE=$GOOGLETEST_SOURCE
  build_targets "windows-$kind" operation_hashes
  compare_sets "Windows, $kind" wine "build/bits/windows-$kind/bin/operation_hashes.exe"
done
build_and_run_tests windows-static "$@"
if [ "$kinds" != static ]; then
  WINEPATH="Z:$PWD/build/bits/windows-dll/bin" build_and_run_tests windows-dll core std threads
fi
