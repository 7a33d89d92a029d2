#!/usr/bin/env bash
# Builds the library and its example hosts; takes noise off the MR slice of data/, divides it into tissues, tells what
# evidence leaves undecided between them, and measures the texture of each tissue. All goes into demo_output/, with one
# panel of all pictures. Installs what is missing where it may.
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
  cmake --build --preset release --target mth_installed denoise_mr segment_mr stack_pictures texture_mr; } >build/demo.log 2>&1; then
  tail -n 30 build/demo.log >&2
  exit 1
fi

hosts=build/release/examples
slice=data/t1_brain_axial.nii.gz

echo
"$hosts/denoise_mr/denoise_mr" "$slice" --add-noise 9 --output demo_output/denoised
echo
"$hosts/segment_mr/segment_mr" "$slice" --output demo_output/tissues
echo
"$hosts/segment_mr/segment_mr" "$slice" --denoise --method ecm --clusters 3 --alpha 3 --rho 1 --adjacent-sets \
  --over demo_output/tissues/labels.nii.gz --output demo_output/evidential
echo
"$hosts/texture_mr/texture_mr" "$slice" --mask demo_output/tissues/labels.nii.gz --output demo_output/texture
echo
"$hosts/stack_pictures/stack_pictures" demo_output/{denoised,tissues,evidential}/panel.png \
  --names 'denoised,tissues and their mixtures,undecided voxels' --output demo_output/panel.png
echo
echo "Look at $PWD/demo_output/panel.png, and at the pictures, plots and tables in its folders"
