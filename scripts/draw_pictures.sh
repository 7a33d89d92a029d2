#!/usr/bin/env bash
# Makes every picture of the README and the manual anew, by the hosts, examples and tests of build/release. What cannot be
# made here is named, and its picture stays.
#   ./test.sh && scripts/draw_pictures.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=build/release
images=docs/images

leave_out() { echo "Left out: $*" >&2; }

./demo.sh >/dev/null
cp demo_output/denoised/panel.png "$images/denoised_brain.png"
cp demo_output/tissues/panel.png "$images/segmented_brain.png"

if [ -d "$build/python/mth" ]; then
  PYTHONPATH="$build/python" /usr/bin/python3 python/examples/draw_figures.py --output "$images" --force
else
  leave_out "the manual's figures (the Python module is not built)"
fi

if [ -d "$build/tests/qt" ] && ctest --test-dir "$build" -R '^qt_screen$' --no-tests=error >/dev/null; then
  cp "$build/tests/qt/desktop_host.png" "$images/desktop_host.png"
else
  leave_out "the desktop host (its test on a screen does not run)"
fi

status=0
web/test.sh "$build" "$images" >/dev/null || status=$?
[ $status -eq 77 ] || exit $status
