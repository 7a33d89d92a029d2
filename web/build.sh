#!/usr/bin/env bash
# Builds the page into web/dist and the package mth-wasm into web/module. Installs what is missing where it may, and names it
# where it may not.
#   web/build.sh           both builds of the module, with vectors and without
#   web/build.sh --quick   for the tests: the one with vectors alone, soon compiled, into build/web-quick; installs nothing, and
#                          ends with 77 where something is missing
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/other_builds.sh
source web/sources.sh

mode=${1-}
out=build/web
module=$PWD/web/module/dist
site=$PWD/web/dist
flags=(-DCMAKE_CXX_FLAGS_RELEASE="-O3 -DNDEBUG" -DMTH_WARNINGS_AS_ERRORS=ON)
kinds=(simd plain)
patience=900 # seconds for a download, and for another build that goes on here
if [ "$mode" = --quick ]; then
  out=build/web-quick
  module=$PWD/$out/module/dist
  site=$PWD/$out/site
  # The library as ever: with less of inlining its vectors would pass through JavaScript, which has none, on their way.
  # Another compiler's warnings are no fault of the page.
  flags=(-DMTH_QUICK_BUILD=ON -DMTH_WARNINGS_AS_ERRORS=OFF -DCMAKE_CXX_FLAGS_RELEASE="-O3 -DNDEBUG" -DCMAKE_EXE_LINKER_FLAGS=-O1)
  kinds=(simd)
fi

leave_out() {
  echo "Left out: the page (needs $*)" >&2
  exit $EXIT_MISSING
}

# Node comes from elsewhere on many machines: its programs count, not the packages.
packages=("${WEB_PACKAGES[@]}")
command -v node >/dev/null && command -v npm >/dev/null || packages+=(nodejs npm)
if [ "$mode" = --quick ]; then
  for name in "${packages[@]}"; do is_installed "$name" || leave_out "$name"; done
else
  ensure_packages "${BUILD_PACKAGES[@]}" "${packages[@]}"
fi
[ "$(node -p 'process.versions.node.split(".")[0] >= 18')" = true ] || leave_out "Node 18 or later"

{ mkdir -p "$out" && [ -w build ] && [ -w web ]; } 2>/dev/null || leave_out "to write into build/ and web/"
if [ -z "${MTH_WEB_LOCK-}" ]; then # which web/test.sh holds already
  exec 9>build/web.lock            # two builds at once would write the same files
  flock -w $patience 9 || leave_out "the other build that goes on here to end"
fi
fetch_sources "$PWD/build/web-sources" || leave_out "the sources of ${SOURCE_PACKAGES[*]}: see build/web-sources.log"
if ! cmp -s web/package-lock.json web/node_modules/.mth-lock; then
  (cd web && timeout $patience npm ci --ignore-scripts --no-audit --no-fund >/dev/null 2>../build/npm.log) ||
    leave_out "npm's packages: see build/npm.log"
  cp web/package-lock.json web/node_modules/.mth-lock
fi

export NODE_PATH=/usr/share/nodejs # where Debian has what the linker needs, whichever Node is first
# Emscripten compiles its own libraries when they are first asked for.
[ -w /usr/share/emscripten/cache ] || export EM_CACHE="$PWD/build/emscripten-cache"
if command -v ccache >/dev/null; then export EM_COMPILER_WRAPPER=ccache; fi
for kind in "${kinds[@]}"; do
  cmake -S . -B "$out/$kind" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMTH_BUILD_TESTS=OFF -DMTH_BUILD_EXAMPLES=OFF \
    -DMTH_QT=OFF -DMTH_PYTHON=OFF -DMTH_INSTALL=OFF -DMTH_WEB=ON -DMTH_WEB_SOURCES="$PWD/build/web-sources" \
    -DCMAKE_TOOLCHAIN_FILE=/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake \
    -DCMAKE_CXX_FLAGS="$([ $kind = simd ] && echo -msimd128)" "${flags[@]}" >"$out/$kind.log" 2>&1 || { tail -20 "$out/$kind.log"; exit 1; }
  cmake --build "$out/$kind" --target mth_web >"$out/$kind.log" 2>&1 ||
    { grep -E -A5 'error|warning|FAILED' "$out/$kind.log" | head -60; exit 1; }
done

cd web
rm -rf "$module"
mkdir -p "$module"
[ "$mode" != --quick ] || cp module/package.json "$module/.." # which tells Node what kind of scripts these are
node_modules/.bin/tsc -p module --outDir "$module"
node_modules/.bin/tsc -p .
for kind in "${kinds[@]}"; do
  for ending in mjs wasm; do cp "../$out/$kind/web/wasm/mth.$ending" "$module/mth-$kind.$ending"; done
done
node bundle.mjs "$module" "$site"
