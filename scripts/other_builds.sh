# Sourced: builds for other compilers, standard libraries and machines, each in its folder of build/bits/, and the
# comparison of their bits with the recorded ones.

source scripts/dependencies.sh

RECORDED_HASHES=tests/support/operation_hashes.txt
GOOGLETEST_SOURCE=/usr/src/googletest # Debian: googletest; built with whatever builds us
EXIT_MISSING=77                       # what is needed is not installed

# need_packages "$1" NAME...: installs them if $1 is --install; otherwise says what is missing and ends.
need_packages() {
  local mode=$1 name missing=()
  shift
  if [ "$mode" = --install ]; then
    ensure_packages "$@"
    return 0
  fi
  for name in "$@"; do
    is_installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "not installed: ${missing[*]} (--install installs them)" >&2
  exit $EXIT_MISSING
}

# configure_build NAME [CMake option...]: without anything that the hash program does not need.
configure_build() {
  local name=$1
  shift
  cmake -S . -B "build/bits/$name" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMTH_BUILD_TESTS=OFF \
    -DMTH_BUILD_EXAMPLES=OFF -DMTH_QT=OFF -DMTH_PYTHON=OFF -DMTH_INSTALL=OFF -DMTH_QUICK_BUILD=ON -DMTH_BUILD_OPERATION_HASHES=ON \
    -DMTH_WARNINGS_AS_ERRORS=ON -DCMAKE_CXX_FLAGS_RELEASE=-O1 "$@" >/dev/null
}

# build_targets NAME TARGET...: shows what the compiler says when it fails.
build_targets() {
  local name=$1 log
  shift
  log="build/bits/$name/build.log"
  cmake --build "build/bits/$name" --target "$@" >"$log" 2>&1 || { grep -E -A5 'error|warning|FAILED' "$log" | head -60; return 1; }
}

# compare_bits WHAT COMMAND...: runs the hash program and names the operations that differ.
compare_bits() {
  local what=$1 answers errors different
  shift
  errors=$(mktemp)
  if ! answers=$("$@" 2>"$errors" | tr -d '\r' | grep -v '^all '); then
    echo "$what: the program failed"
    tail -5 "$errors"
    rm -f "$errors"
    return 1
  fi
  rm -f "$errors"
  # A shell's order is not the program's.
  different=$(LC_ALL=C diff <(grep -v '^#' $RECORDED_HASHES | LC_ALL=C sort) <(LC_ALL=C sort <<<"$answers") |
    sed -n 's/^[<>] \([^ ]*\) .*/\1/p' | sort -u)
  if [ -n "$different" ]; then
    echo "$what: $(wc -l <<<"$different") operations differ"
    sed 's/^/  /' <<<"$different"
    return 1
  fi
  echo "$what: the same bits in $(wc -l <<<"$answers") operations"
}

# compare_sets WHAT COMMAND...: the bits under each instruction set that the machine has, and a word on the others. Every
# machine has the baseline: a program that does not name it did not run.
compare_sets() {
  local what=$1 set sets status=0
  shift
  sets=$("$@" --sets 2>/dev/null | tr -d '\r') && grep -qx baseline <<<"$sets" || { echo "$what: the program does not start"; return 1; }
  for set in baseline avx2 avx512; do
    if grep -qx $set <<<"$sets"; then
      compare_bits "$what, $set" "$@" --highest $set || status=1
    else
      echo "$what: $set is not on this machine"
    fi
  done
  return $status
}

# build_and_run_tests NAME [room...]: the test programs of these rooms, or of all, run by CTest.
build_and_run_tests() {
  local name=$1 room
  shift
  if [ $# -eq 0 ]; then
    build_targets "$name" all
    ctest --test-dir "build/bits/$name" --timeout 7200 --output-on-failure --no-tests=error
    return
  fi
  build_targets "$name" "${@/%/_test}"
  for room in "$@"; do
    ctest --test-dir "build/bits/$name/tests/$room" --timeout 7200 --output-on-failure --no-tests=error
  done
}
