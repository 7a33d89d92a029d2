#!/usr/bin/env bash
# Runs every benchmark under every instruction set that the machine has, peers beside them, and writes one table:
#   benchmarks/run_all.sh [FILE [SUBJECT ...]]     FILE: build/benchmarks.md
# Medians of five interleaved repetitions, three of what takes long and under the lowest set: seven minutes beside the
# compilation on an Intel Xeon at 2.6 GHz. Of all subjects also how costs grow and what single values add.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

file="${1:-build/benchmarks.md}"
shift || true
isWhole=$([ $# -eq 0 ] && echo yes || echo no)
cmake --preset release -DMTH_BUILD_BENCHMARKS=ON >/dev/null
cmake --build --preset release --target benchmarks >/dev/null
programs=()
if [ $# -gt 0 ]; then
  for subject in "$@"; do programs+=("build/release/benchmarks/${subject}_benchmark"); done
else
  programs=(build/release/benchmarks/*_benchmark)
fi

results=build/benchmarks
rm -rf "$results"
mkdir -p "$results"
for set in baseline avx2 avx512; do
  for program in "${programs[@]}"; do
    name=$(basename "$program")
    core=$([ "$set" = avx512 ] && echo "" || echo Haswell) # OpenBLAS knows no lower one worth comparing with
    how=(--benchmark_repetitions=5 --benchmark_min_time=0.02)
    [ "$set" != baseline ] ||
      how=(--benchmark_repetitions=3 --benchmark_min_time=0.01 '--benchmark_filter=-(product.*/2048|in two threads)')
    if ! env OPENBLAS_NUM_THREADS=1 OMP_NUM_THREADS=1 ${core:+OPENBLAS_CORETYPE=$core} "$program" \
      --instruction_set="$set" "${how[@]}" \
      --benchmark_enable_random_interleaving=true --benchmark_format=json >"$results/$name.$set.json" 2>"$results/log"; then
      rm -f "$results/$name.$set.json"
      grep -q 'no such set' "$results/log" || { cat "$results/log" >&2; exit 1; }
    fi
  done
done
python3 benchmarks/table.py "$results"/*.json >"$file"
if [ "$isWhole" = yes ]; then
  echo >>"$file"
  build/release/benchmarks/costs >>"$file"
  echo >>"$file"
  build/release/benchmarks/costs --peers >>"$file"
fi
echo "$file"
