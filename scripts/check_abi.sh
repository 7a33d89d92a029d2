#!/usr/bin/env bash
# Compares the exported interface of the shared libraries with the recorded one (debian/abi/), and fails on a change that
# breaks hosts unless the major version of CMakeLists.txt is another than the record's.
#   scripts/check_abi.sh [--record]    needs abidw and abidiff (Debian: abigail-tools)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
command -v abidw >/dev/null || { echo "Left out: the ABI (needs abigail-tools)"; exit 0; }

major=$(sed -n 's/^project(mth VERSION \([0-9]*\)\..*/\1/p' CMakeLists.txt)
cmake -S . -B build/abi -G Ninja -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g" -DBUILD_SHARED_LIBS=ON \
  -DMTH_BUILD_TESTS=OFF -DMTH_BUILD_EXAMPLES=OFF -DMTH_QT=OFF >/dev/null
cmake --build build/abi >/dev/null

failures=0
for library in mth mth_std; do
  file=$(find build/abi -name "lib$library.so.$major" | head -n 1)
  now=build/abi/$library.abi
  # Types of the public headers alone: the others are nobody's contract.
  abidw --headers-dir mth --headers-dir std --drop-private-types --no-show-locs --no-corpus-path --no-comp-dir-path \
    --exported-interfaces-only --out-file "$now" "$file"
  record=debian/abi/$library-$major.abi.gz
  if [ "${1:-}" = --record ]; then
    mkdir -p debian/abi
    gzip -9n <"$now" >"$record"
    continue
  fi
  [ -f "$record" ] || { echo "$library: version $major has no record yet (--record)"; continue; }
  gunzip <"$record" >build/abi/recorded.abi
  status=0
  abidiff --no-added-syms build/abi/recorded.abi "$now" || status=$?
  # Bit 3 of the status: a change that breaks hosts; bits 0 and 1: the comparison itself failed.
  if [ $((status & 11)) -ne 0 ]; then
    echo "lib$library.so.$major no longer serves hosts that were built against it" >&2
    failures=1
  fi
done
exit $failures
