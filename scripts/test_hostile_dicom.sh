#!/usr/bin/env bash
# Reads mutated DICOM files under the address and undefined-behaviour sanitizers: refusals only, never a crash, and memory
# bounded by the file. A crash leaves its file behind and names it.
#   scripts/test_hostile_dicom.sh [files [seed]]     10000 files from seed 1 without them
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
files="${1:-10000}" seed="${2:-1}" block=500
samples=/usr/lib/python3/dist-packages/pydicom/data/test_files
[ -d "$samples" ] || { echo "left out: no sample files (Debian: python3-pydicom)"; exit 77; }
cmake --preset sanitize -DMTH_BUILD_TESTS=ON -DMTH_BUILD_EXAMPLES=ON -DMTH_DICOM=ON >/dev/null
cmake --build --preset sanitize --target dicom_probe
probe="$PWD/build/sanitize/tests/examples/dicom_probe"
scratch="$(mktemp -d)"
mapfile -t originals < <(ls "$samples"/MR_small*.dcm "$samples"/CT_small.dcm "$samples"/image_dfl.dcm "$samples"/JPGExtended.dcm \
  "$samples"/liver_1frame.dcm "$samples"/rtplan.dcm "$samples"/reportsi.dcm)
# And one of several frames, which none of them is.
/usr/bin/python3 -B - "$scratch" <<'END'
import sys
sys.path.insert(0, "tests/examples")
from dicom_enhanced import write_enhanced
from dicom_series import volume, write_series
write_enhanced(sys.argv[1] + "/frames.dcm", write_series(sys.argv[1] + "/series", "axial", volume("data", 3)))
END
originals+=("$scratch/frames.dcm")
# Twice what the largest sample takes when it is whole.
export ASAN_OPTIONS="allocator_may_return_null=1:hard_rss_limit_mb=1024:detect_leaks=0"
crashes=0
for ((done = 0; done < files; done += block)); do
  count=$((files - done < block ? files - done : block))
  if ! "$probe" mutate "$count" "$((seed + done))" "$scratch/mutated.dcm" "${originals[@]}" >"$scratch/out" 2>"$scratch/err"; then
    crashes=$((crashes + 1))
    cp "$scratch/mutated.dcm" "build/crash-$((seed + done)).dcm"
    echo "crash: build/crash-$((seed + done)).dcm"
    grep -E "ERROR|SUMMARY|runtime error|^ +#[0-9] " "$scratch/err" | head -12
  fi
  tail -1 "$scratch/out"
done
rm -rf "$scratch"
echo "$files mutated files, $crashes crashes"
[ "$crashes" -eq 0 ]
