#!/usr/bin/env bash
# Builds the Debian packages twice, with their tests and without, in folders of different names, in another time zone and
# language, and names those whose bytes differ; lintian may not find anything, either.
#   scripts/check_package.sh [FOLDER]      build/package; needs what debian/control names (DEB_BUILD_OPTIONS=nocheck: no tests)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder=$(realpath -m "${1:-build/package}")
export DEB_BUILD_OPTIONS="parallel=2 ${DEB_BUILD_OPTIONS-}"

# build NAME: the files that git knows, in a folder of that name.
build() {
  rm -rf "${folder:?}/$1"
  mkdir -p "$folder/$1/mth"
  git ls-files -z | xargs -0 cp -p --parents -t "$folder/$1/mth"
  (cd "$folder/$1/mth" && dpkg-buildpackage -us -uc -b) >"$folder/$1.log" 2>&1 || { tail -20 "$folder/$1.log" >&2; exit 1; }
}
TZ=UTC build first
TZ=Pacific/Auckland LC_ALL=C.UTF-8 DEB_BUILD_OPTIONS="nocheck $DEB_BUILD_OPTIONS" build the-second-one

failures=0
for package in "$folder"/first/*.deb; do
  cmp "$package" "$folder/the-second-one/$(basename "$package")" || failures=1
done
if command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error,warning "$folder"/first/*.changes || failures=1
else
  echo "Left out: lintian (not installed)"
fi
[ $failures -eq 0 ] && echo "$(ls "$folder"/first/*.deb | wc -l) packages, the same bytes twice"
exit $failures
