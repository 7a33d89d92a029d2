#!/usr/bin/env bash
# Builds the library and its example hosts and segments the MR slice of data/ into four tissue classes; then tells
# what the slice leaves undecided, alone and together with a second image, and measures the texture of each tissue.
# All goes into demo_output/. Installs what is missing where it may.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/dependencies.sh

ensure_packages "${BUILD_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}"

echo "Building (log: build/demo.log)"
mkdir -p build
options=(-DMTH_BUILD_EXAMPLES=ON)
# A first build goes without the tests, which need more packages; later ones keep what was chosen.
[ -f build/release/CMakeCache.txt ] || options+=(-DMTH_BUILD_TESTS=OFF)
if ! { cmake --preset release "${options[@]}" &&
  cmake --build --preset release --target segment_mr texture_mr; } >build/demo.log 2>&1; then
  tail -n 30 build/demo.log >&2
  exit 1
fi

echo
build/release/examples/segment_mr/segment_mr data/t1_brain_axial.nii.gz \
  --method fcm --clusters 4 --output demo_output
echo
evidential=(--method ecm --clusters 3 --alpha 3 --rho 1)
build/release/examples/segment_mr/segment_mr data/t1_brain_axial.nii.gz \
  "${evidential[@]}" --output demo_output/evidential
echo
build/release/examples/segment_mr/segment_mr data/t1_brain_axial.nii.gz \
  "${evidential[@]}" --fuse data/t1_head_axial.nii.gz --output demo_output/fused
echo
build/release/examples/texture_mr/texture_mr data/t1_brain_axial.nii.gz \
  --mask demo_output/labels.nii.gz --output demo_output/texture
echo
echo "Look at $PWD/demo_output/panel.png, labels.png, histogram.svg and convergence.svg,"
echo "and at panel.png, undecided.png, outliers.png and conflict.png in its folders evidential and fused"
