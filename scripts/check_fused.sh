#!/usr/bin/env bash
# check_fused.sh LIBRARY [OBJDUMP]: a fused multiply-add rounds once where the contract rounds twice, so none may stand
# in the library but in the versions for AVX2 and AVX-512 of the kernels that ask for it by name. x86-64 alone:
# elsewhere -ffp-contract=off is what there is.
set -euo pipefail
library=$1
objdump=${2:-objdump}

# Products of floats, which are exact in double, and quotients that are corrected to the rounded one.
allowed='mth_internal::avx(2|512)::.*(FusedStep|FusedVectors|UpdateLanes|UpdateMemberships|UpdateByRatios)'

found=$("$objdump" --disassemble --demangle --no-show-raw-insn "$library" |
  awk '/^[0-9a-f]+ <.*>:$/ { name = $0; sub(/^[0-9a-f]+ </, "", name); sub(/>:$/, "", name) }
       /\tvfn?m(add|sub)/ { alternates = /\tvfm(addsub|subadd)/ ? "alternating " : ""; print alternates name }' | sort | uniq -c)
[[ -n $found ]] || { echo "no fused instruction in $library: is it the library?"; exit 1; }
wrong=$(grep -Ev "^ *[0-9]+ (void |bool |auto |double __vector\([0-9]\) )*$allowed" <<<"$found" || true)
if [[ -n $wrong ]]; then
  echo "fused instructions where two roundings are due (count, function):"
  echo "$wrong"
  exit 1
fi
echo "fused instructions in $(wc -l <<<"$found") functions, all of them kernels that ask for them"
