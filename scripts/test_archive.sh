#!/usr/bin/env bash
# Sends a series and what the hosts made of it to an archive and fetches them again: Orthanc (Debian: orthanc, dcmtk,
# python3-pydicom), on two free ports of this machine alone, stopped at the end.
#   scripts/test_archive.sh [folder of the build]     build/release without it
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build="$(cd "${1:-build/release}" && pwd)"
for tool in Orthanc storescu; do
  PATH="$PATH:/usr/sbin" command -v "$tool" >/dev/null || { echo "left out: no $tool (Debian: orthanc, dcmtk)"; exit 77; }
done
/usr/bin/python3 -c "import pydicom, numpy" 2>/dev/null || { echo "left out: no pydicom (Debian: python3-pydicom)"; exit 77; }
PYTHONDONTWRITEBYTECODE=1 exec /usr/bin/python3 tests/examples/dicom_archive.py "$build" "$PWD/data"
