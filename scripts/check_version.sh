#!/usr/bin/env bash
# The version stands in CMakeLists.txt; names the texts that carry another one.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
version=$(sed -n 's/^project(mth VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
failures=0
# expect FILE PATTERN: the file has a line of this pattern.
expect() {
  grep -q -- "$2" "$1" && return
  echo "$1 does not carry version $version" >&2
  failures=1
}
expect CHANGELOG.md "^## $version"
expect CITATION.cff "^version: $version\$"
expect debian/changelog "^mth ($version)"
expect packaging/vcpkg/ports/mth/vcpkg.json "^  \"version\": \"$version\",\$"
expect web/module/package.json "^  \"version\": \"$version\",\$"
exit $failures
