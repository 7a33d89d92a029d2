#!/usr/bin/env bash
# The tests of the module and of the page, against the hosts of a native build.
#   web/test.sh BUILD [FOLDER]      build/release; puts the page's screenshots into the folder
# Ends with 77 and a word where Emscripten, Node, Chromium or what they need is missing.
set -euo pipefail
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
MTH_BINARY_DIR=$(realpath "${1:-$here/../build/release}")
MTH_WEB_MODULE=$(realpath "$here/..")/build/web-quick/module/dist
MTH_WEB_SITE=$(realpath "$here/..")/build/web-quick/site
export MTH_BINARY_DIR MTH_WEB_MODULE MTH_WEB_SITE
[ $# -lt 2 ] || export MTH_SCREENSHOTS="$(realpath "$2")"
cd "$here"

if [ ! -x /usr/bin/chromium ] && [ -z "${MTH_CHROMIUM-}" ]; then
  echo "Left out: the tests of the page (need chromium)" >&2
  exit 77
fi
if ! { mkdir -p ../build && [ -w ../build ]; }; then
  echo "Left out: the tests of the page (may not write into build/)" >&2
  exit 77
fi
exec 9>../build/web.lock # another run would build anew what these tests look at
flock -w 2400 9 || { echo "Left out: the tests of the page (another run goes on here)" >&2; exit 77; }
MTH_WEB_LOCK=held ./build.sh --quick
TMPDIR=$(mktemp -d) # the tests' own
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
export HOME=$TMPDIR # Chromium keeps something there, and starts where nobody may write into that of the user
node --test tests/module.test.mjs
if ! node tests/probe.mjs; then
  echo "Left out: the tests of the page (Chromium draws nothing here)" >&2
  exit 77
fi
node --test tests/page.test.mjs
