# Sourced by demo.sh and test.sh: what they need of Debian, and how it gets there.

BUILD_PACKAGES=(g++ cmake ninja-build)
EXAMPLE_PACKAGES=(libcli11-dev libpng-dev libnifti2-dev zlib1g-dev nlohmann-json3-dev)
TEST_PACKAGES=(libgtest-dev)
PYTHON_PACKAGES=(python3-dev pybind11-dev python3-numpy python3-pytest python3-scipy python3-sklearn python3-pywt
  python3-matplotlib python3-nibabel python3-tqdm mypy python3-pip python3-skbuild) # the module and the peers of its tests
DICOM_PACKAGES=(libdcmtk-dev dcmtk dicom3tools python3-pydicom dcm2niix) # DICOM, and what checks it
WEB_PACKAGES=(emscripten node-acorn dpkg-dev libcli11-dev nlohmann-json3-dev) # the page, beside Node and npm
QT_PACKAGES=(qt6-base-dev xvfb xdotool) # the windows, and the screen on which they are tested

is_installed() {
  dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

# ensure_packages NAME...: installs the missing ones as root or through sudo; elsewhere says what to install.
ensure_packages() {
  command -v dpkg-query >/dev/null || return 0 # not Debian: the configuration tells what it does not find
  local missing=() name
  for name in "$@"; do
    is_installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! sudo -n true 2>/dev/null; then
      echo "Please install: sudo apt-get install ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  # Another installation may be at work, and a mirror may be away for a moment; older lists may do.
  local patience=(-o DPkg::Lock::Timeout=900 -o Acquire::Retries=5)
  "${as_root[@]}" apt-get "${patience[@]}" update -qq || true
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get "${patience[@]}" install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# try_packages NAME...: as ensure_packages, for what only optional parts need: without them the build and the tests say
# what they leave out.
try_packages() {
  (ensure_packages "$@") || echo "Left out: what needs some of: $*"
}
