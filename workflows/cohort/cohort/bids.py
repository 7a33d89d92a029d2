"""The names of the BIDS standard: where scans are, and what results are called."""

import json
import os
from pathlib import Path

from . import tools

REPORT = "_desc-mth_T1w.json"
RESOURCES = "_desc-mth_resources.json"
# What else is made of a scan, by the end of its name: maps in its own grid.
SPACE = "_space-orig"
MAPS = ("_desc-denoised_T1w.*", "_dseg.*", "_label-*_probseg.*", "_desc-biasfield_map.*")
MOSAICS = "report/mosaics"
MODEL = ".mth-cohort/model.json"  # the copy of the one that all scans are divided by
MASK = "_desc-brain_mask.nii.gz"


def map_stem(name):
    """What names of the maps of a scan begin with: its name, and which grid they are in unless it says so itself."""
    return name if "_space-" in name else name + SPACE


def map_patterns(key):
    """What the maps of a scan may be called."""
    return [map_stem(Path(key).name) + pattern for pattern in MAPS]


def find_scans(bids_dir, labels=None):
    """The T1-weighted scans in the order of their names: key (path without _T1w), image and brain mask ("" for none).

    A mask is taken from any derivative in the folder that has one of the scan's name.
    """
    wanted = {label.removeprefix("sub-") for label in labels} if labels else None
    scans = []
    root = Path(bids_dir)
    derivatives = sorted(root.glob("derivatives/*"))
    for image in sorted(root.glob("sub-*/**/anat/*_T1w.nii*")):
        relative = image.relative_to(root)
        subject = relative.parts[0].removeprefix("sub-")
        if image.suffix not in (".nii", ".gz") or (wanted is not None and subject not in wanted):
            continue
        key = str(relative).removesuffix(".gz").removesuffix("_T1w.nii")
        if scans and scans[-1]["key"] == key:
            continue  # the same scan packed and unpacked
        masks = [path for path in (folder / (key + MASK) for folder in derivatives) if os.path.lexists(path)]
        # Links stay: what they lead to, as in an annex, may have another name.
        scans.append({"key": key, "image": os.path.abspath(image), "mask": os.path.abspath(masks[0]) if masks else ""})
    if wanted is not None:
        missing = wanted - {scan["key"].split("/")[0].removeprefix("sub-") for scan in scans}
        if missing:
            raise SystemExit("mth-cohort: no scan of " + ", ".join(sorted(missing)))
    return scans


def describe_dataset(output_dir, version):
    """The description that makes the output folder a BIDS derivative; one that somebody has added to stays."""
    text = json.dumps({
        "Name": "Tissues, denoised images and texture",
        "BIDSVersion": "1.8.0",
        "DatasetType": "derivative",
        "GeneratedBy": [{"Name": "mth-cohort", "Version": version}],
    }, indent=2) + "\n"
    path = Path(output_dir) / "dataset_description.json"
    manifest = tools.Manifest(Path(output_dir), "description")
    if not path.exists() or tools.checksum(path) in manifest.sums.get(path.name, []):
        manifest.write(path, text)
