#!/usr/bin/env bash
# Reads what other programs are told of this tree, as far as these programs are not needed for it: recipes of packages,
# presets, the matrix of continuous integration, shell scripts, and that all carry one version. Names what is wrong.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/check_version.sh

for script in *.sh .ci/run scripts/*.sh web/*.sh debian/tests/host; do bash -n "$script"; done

# The port, with functions in the place of vcpkg's own: every option that it sets must be one of this tree.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cat >"$folder/port.cmake" <<'EOF'
file(READ CMakeLists.txt project)
function(vcpkg_check_features)
  set(FEATURE_OPTIONS -DMTH_QT=OFF PARENT_SCOPE)
endfunction()
function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 port "" "SOURCE_PATH" "OPTIONS")
  foreach(option ${port_OPTIONS})
    string(REGEX REPLACE "^-D([A-Z_]+)=.*" "\\1" name "${option}")
    if(NOT project MATCHES "option\\(${name} |set\\(${name} ")
      message(FATAL_ERROR "the port sets ${name}, which is no option")
    endif()
  endforeach()
  if(NOT EXISTS "${port_SOURCE_PATH}/CMakeLists.txt")
    message(FATAL_ERROR "the port does not find the tree")
  endif()
endfunction()
foreach(name vcpkg_cmake_install vcpkg_cmake_config_fixup vcpkg_fixup_pkgconfig vcpkg_install_copyright)
  cmake_language(EVAL CODE "function(${name})\nendfunction()")
endforeach()
include(packaging/vcpkg/ports/mth/portfile.cmake)
EOF
cmake -DCURRENT_PACKAGES_DIR="$folder/packages" -P "$folder/port.cmake"

unknown=$(grep -vE '^(#|$| |FROM |RUN |COPY |WORKDIR |CMD )' Containerfile || true)
[ -z "$unknown" ] || { echo "Containerfile: $unknown" >&2; exit 1; }

python=$(command -v /usr/bin/python3 || command -v python3) || { echo "Left out: recipes in Python, JSON and YAML (need python3)"; exit 0; }
"$python" scripts/check_snippets.py
"$python" - <<'EOF'
import ast, json, pathlib
ast.parse(pathlib.Path("packaging/conan/conanfile.py").read_text())
for path in ("CMakePresets.json", "packaging/vcpkg/ports/mth/vcpkg.json", "web/package.json", "web/module/package.json", "web/package-lock.json"):
    json.loads(pathlib.Path(path).read_text())
try:
    import yaml
except ImportError:
    print("Left out: recipes in YAML (need python3-yaml)")
else:
    yaml.safe_load(pathlib.Path("CITATION.cff").read_text())
    for name, job in yaml.safe_load(pathlib.Path(".github/workflows/ci.yml").read_text())["jobs"].items():
        assert "runs-on" in job and all("run" in step or "uses" in step for step in job["steps"]), f"ci.yml: {name}"
EOF
