#!/usr/bin/env bash
# Builds the whole manual into a folder that any browser or static server opens, without a network at reading time:
# the C++ pages, the command-line hosts (from their --help) and, where they were built, Python's docstrings and the page
# that segments in the browser.
#   scripts/build_site.sh [FOLDER]      build/site; warnings of Doxygen are errors, and so are dead links and, where there is
#                                       Chromium, formulas that it does not draw
#   scripts/build_site.sh --test FOLDER as a test: what Doxygen warns of depends on its version and is none; ends with 77
#                                       without Doxygen or Chromium
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
warnings=FAIL_ON_WARNINGS
missing=0
if [ "${1-}" = --test ]; then
  warnings=NO
  missing=77
  shift
fi
for program in doxygen python3; do
  command -v $program >/dev/null || { echo "Left out: the manual (needs $program)"; exit $missing; }
done
site="${1:-build/site}"
build="${MTH_BUILD:-build/release}"
generated="${site%/}-input"
if [ -e "$site" ] && [ ! -f "$site/.mth-site" ] && [ -n "$(ls -A "$site")" ]; then
  echo "$site is neither empty nor an earlier site" >&2
  exit 1
fi
rm -rf "$site" "$generated"
mkdir -p "$site" "$generated"
echo "A later build may replace this folder." >"$site/.mth-site"

# A page for each host.
tools=(classify denoise_mr describe_slice fit_curve make_phantom register_landmarks segment_mr stack_pictures texture_mr)
{
  printf '/** \\page command_line Command-line hosts\nAs each tells by itself with `--help`.\n'
  printf -- '- \\subpage host_%s\n' "${tools[@]}" cohort
  printf '*/\n'
  for tool in "${tools[@]}"; do
    program="$build/examples/$tool/$tool"
    printf '/** \\page host_%s %s\n\\verbatim\n' "$tool" "$tool"
    if [ -x "$program" ]; then
      "$program" --help
    else
      echo "Not built with this manual."
      echo "Left out: the page of $tool (not built in $build)" >&2
    fi
    printf '\\endverbatim\n*/\n'
  done
  printf '/** \\page host_cohort mth-cohort\n\\verbatim\n'
  COLUMNS=120 PYTHONDONTWRITEBYTECODE=1 python3 workflows/cohort/mth-cohort run --help
  printf '\\endverbatim\n*/\n'
} >"$generated/command_line.dox"

# Doxygen shows functions and enumerations of those files alone that have a comment of their own.
find mth std -name '*.h' ! -name '*_internal.h' | LC_ALL=C sort | xargs grep -L '@file' |
  sed 's#.*#/** \\file &\n\\brief What this header declares. */#' >"$generated/files.dox"

# The way to the page in the browser, which doxygen does not know.
if [ -d web/dist ]; then
  printf '/** \\page try_it Try it in the browser\n%s\n*/\n' \
    'Denoise and segment a scan <a href="try/index.html">here</a>: it does not leave your machine. [How](web/README.md).' \
    >"$generated/try_it.dox"
else
  echo "Left out: the page in the browser (web/build.sh makes it)"
fi

# And one for each name of the Python module.
if ! PYTHONPATH="$build/python" /usr/bin/python3 scripts/python_page.py >"$generated/python.dox" 2>/dev/null; then
  rm "$generated/python.dox"
  echo "Left out: the page of the Python module (not built in $build)"
fi

{
  cat docs/Doxyfile
  printf 'INPUT += %s\nFILE_PATTERNS += *.dox\nOUTPUT_DIRECTORY = %s\nHTML_OUTPUT = .\nWARN_AS_ERROR = %s\nPROJECT_NUMBER = %s\n' "$generated" "$site" $warnings \
    "$(sed -n 's/^project(mth VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"
} | doxygen -

scripts/widen_search.py "$site"

# Sources that pages name stand beside them.
grep -ohE 'href="(\.\./)?(mth|std|examples)/[^"]*\.(h|cpp)"' "$site"/*.html | sed -E 's#href="(\.\./)?([^"]*)"#\2#' | sort -u |
  xargs -r cp --parents -t "$site"
sed -i -E 's#href="\.\./((mth|std|examples)/[^"]*\.(h|cpp))"#href="\1"#g' "$site"/*.html

# Pictures that pages name from a folder of their own stand beside them, too.
cp docs/images/*.png "$site"
sed -i -E 's#src="\.\./(docs/)?images/#src="#g' "$site"/*.html

# What formulas need of MathJax, beside the pages.
mathjax=/usr/share/javascript/mathjax
if [ -d "$mathjax" ]; then
  for part in MathJax.js extensions jax/input/TeX jax/output/HTML-CSS jax/element fonts/HTML-CSS/TeX/woff; do
    mkdir -p "$site/mathjax/$(dirname "$part")"
    cp -rL "$mathjax/$part" "$site/mathjax/$part"
  done
else
  echo "Left out: drawn formulas (needs libjs-mathjax)"
fi
[ -d web/dist ] && cp -r web/dist "$site/try"
scripts/check_site.py "$site"
status=77
if [ -d "$mathjax" ]; then
  status=0
  scripts/open_site.py "$site" || status=$?
fi
[ $status -ne 77 ] || status=$missing
[ $status -eq 0 ] || exit $status
echo "Open $site/index.html"
