#!/usr/bin/env bash
# check_fused.sh LIBRARY [OBJDUMP]: a fused multiply-add rounds once where the contract rounds twice, so none may stand
# in the library but in the versions for AVX2 and AVX-512 of the kernels that ask for it by name. check_fused.sh --headers:
# nor may a host's own compiler find a product and a sum to fuse in the public headers. x86-64 alone: elsewhere
# -ffp-contract=off is what there is.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# fused_functions OBJECTS OBJDUMP: how many fused instructions each function holds.
fused_functions() {
  "$2" --disassemble --demangle --no-show-raw-insn "$1" |
    awk '/^[0-9a-f]+ <.*>:$/ { name = $0; sub(/^[0-9a-f]+ </, "", name); sub(/>:$/, "", name) }
         /\tvfn?m(add|sub)/ { alternates = /\tvfm(addsub|subadd)/ ? "alternating " : ""; print alternates name }' | sort | uniq -c
}

if [[ $1 == --headers ]]; then
  object=$(mktemp)
  trap 'rm -f "$object"' EXIT
  # Every inline function is kept; that of our own here shows that one with a product and a sum is found.
  g++ -std=c++20 -O2 -mfma -ffp-contract=fast -fkeep-inline-functions -I. -x c++ -c - -o "$object" <<'SOURCE'
#include "mth/Mth.h"
#include "std/Std.h"
double MTH_HasOne(double a, double b, double c) { return a * b + c; }
SOURCE
  found=$(fused_functions "$object" objdump | grep -iE 'mth_|std_' || true) # the standard library has its own
  [[ $(wc -l <<<"$found") -eq 1 && $found == *MTH_HasOne* ]] && echo "nothing to fuse in the public headers" && exit
  echo "a host's compiler fuses what these inline functions of public headers compute:"
  grep -v MTH_HasOne <<<"$found"
  exit 1
fi

# Products of floats, which are exact in double, and quotients that are corrected to the rounded one.
allowed='mth_internal::avx(2|512)::.*(FusedStep|FusedVectors|UpdateLanes|UpdateMemberships|UpdateByRatios|UpdateFew)'

library=$1
found=$(fused_functions "$library" "${2:-objdump}")
[[ -n $found ]] || { echo "no fused instruction in $library: is it the library?"; exit 1; }
wrong=$(grep -Ev "^ *[0-9]+ (void |bool |auto |double (__vector\([0-9]\)|vector\[[0-9]\]) )*$allowed" <<<"$found" || true)
if [[ -n $wrong ]]; then
  echo "fused instructions where two roundings are due (count, function):"
  echo "$wrong"
  exit 1
fi
echo "fused instructions in $(wc -l <<<"$found") functions, all of them kernels that ask for them"
