# Sourced by build.sh: the sources of what the hosts link, as Debian's packages have them, so that files are compressed to
# the same bytes in the browser as on the command line.

SOURCE_PACKAGES=(zlib libpng1.6 nifticlib)

# fetch_sources FOLDER: a folder for each package in it, unless they are there. Fails without Debian or a network.
fetch_sources() {
  local folder=$1 name
  [ -f "$folder/complete" ] && return 0
  command -v apt-get >/dev/null && command -v dpkg-source >/dev/null || return 1
  rm -rf "$folder"
  mkdir -p "$folder/lists/partial"
  # Where the packages of the release come from, their sources do, too; the machine's own lists stay as they are.
  apt-get indextargets --format 'deb-src $(SITE) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    grep " $(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release) main\$" | sort -u >"$folder/sources.list"
  (
    cd "$folder"
    local options=(-qq -o "Dir::Etc::SourceList=$PWD/sources.list" -o Dir::Etc::SourceParts=- -o "Dir::State::Lists=$PWD/lists"
      -o "Dir::Cache=$PWD" -o Acquire::Retries=2 -o Acquire::http::Timeout=30)
    [ "$(id -u)" -eq 0 ] && options+=(-o APT::Sandbox::User=root)
    timeout 600 apt-get "${options[@]}" update && timeout 600 apt-get "${options[@]}" --download-only source "${SOURCE_PACKAGES[@]}" || exit 1
    for name in "${SOURCE_PACKAGES[@]}"; do dpkg-source --no-check -x "$name"_*.dsc "$name" >/dev/null || exit 1; done
    rm -rf lists archives pkgcache.bin srcpkgcache.bin
  ) >"$folder.log" 2>&1 || return 1
  touch "$folder/complete"
}
