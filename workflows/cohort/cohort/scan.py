"""Works on one scan: denoise, tissues, texture, quality. Its report, written last, tells how it went.

    scan.py CONFIGURATION KEY
"""

import contextlib
import json
import shutil
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from cohort import bids, tools  # noqa: E402


class Scan:
    """One scan on its way through the programs, in a scratch folder beside its results."""

    def __init__(self, config, key, scratch):
        self.settings = config["settings"]
        self.tools = config["tools"]
        self.model = config["model"]
        self.output = Path(config["output_dir"])
        self.key = key
        self.entry = next(scan for scan in config["scans"] if scan["key"] == key)
        self.scratch = Path(scratch)
        self.masking = ["--mask", self.entry["mask"]] if self.entry["mask"] else []
        self.maps = []
        self.manifest = tools.Manifest(self.output, key)

    def earlier_maps(self):
        """What lies where the maps of this scan go, and its picture."""
        folder = (self.output / self.key).parent
        maps = [path for pattern in bids.map_patterns(self.key) for path in sorted(folder.glob(pattern))]
        return maps + ([self.mosaic()] if self.mosaic().exists() else [])

    def mosaic(self):
        return self.output / bids.MOSAICS / (Path(self.key).name + ".png")

    def denoise(self):
        """The denoised scan and the deviation of its noise."""
        folder = self.scratch / "denoised"
        tools.run("denoise_mr", self.tools, self.entry["image"], "--volume", *self.masking, "--output", folder, "--json",
                  self.scratch / "denoise.json")
        image = next(path for path in sorted(folder.glob("*denoised*.nii*")))
        self.keep(image, self.place("_desc-denoised_T1w.nii" + (".gz" if image.suffix == ".gz" else "")))
        sidecar = self.scratch / "denoised_T1w.json"
        sidecar.write_text(json.dumps({"Description": "without noise", "Sources": [self.entry["image"]], "SkullStripped": False}))
        self.keep(self.with_settings(sidecar), self.place("_desc-denoised_T1w.json"))
        return read(self.scratch / "denoise.json")

    def segment(self):
        """Labels, fractions and field, and the volumes."""
        folder = self.scratch / "tissues"
        switches = ["--denoise" if self.settings["denoise"] else "--no-denoise"]
        if self.model:
            switches += ["--model", self.model]
        else:
            switches += ["--method", "tissue", "--clusters", self.settings["clusters"],
                         "--bias-field" if self.settings["bias_field"] else "--no-bias-field"]
        tools.run("segment_mr", self.tools, self.entry["image"], *switches, *self.masking, "--output", folder, "--json",
                  self.scratch / "tissues.json")
        self.labels = next(folder.glob("sub-*_dseg.nii.gz"), None)
        if not self.labels:
            raise tools.StepFailed("its name is none of BIDS, whose labels are letters and digits")
        for path in sorted(folder.glob("sub-*")):
            if path != self.labels:
                self.keep(self.with_settings(path), self.place_of(path))
        self.manifest.move_in(folder / "panel.png", self.mosaic())
        return read(self.scratch / "tissues.json")

    def texture(self):
        """Features of each tissue, means over the directions."""
        tools.run("texture_mr", self.tools, self.entry["image"], "--mask", self.labels, "--output",
                  self.scratch / "texture", "--json", self.scratch / "texture.json")
        regions = read(self.scratch / "texture.json")["regions"]
        return {region["region"]: {name: value["mean"] for name, value in region["features"].items()}
                for region in regions}

    def place(self, suffix):
        """Where a map goes: beside the scan's name, in the output."""
        return self.output / Path(self.key).parent / (bids.map_stem(Path(self.key).name) + suffix)

    def place_of(self, path):
        """The place of a map that is called as the scan and by what it is."""
        return self.place(path.name.removeprefix(Path(self.key).name))

    def with_settings(self, path):
        """The file, which tells all settings where it is a sidecar."""
        if path.suffix == ".json":
            path.write_text(json.dumps({**read(path), "SpatialReference": "orig", "Settings": self.settings}, indent=2) + "\n", encoding="utf-8")
        return path

    def keep(self, path, target):
        self.manifest.move_in(path, target)
        self.maps.append(str(target.relative_to(self.output)))

    def work(self):
        for path in filter(None, (self.entry["image"], self.entry["mask"])):
            if not Path(path).is_file():
                raise tools.StepFailed(f"there is no file {path}")
        self.manifest.require_ours(self.earlier_maps())
        noise = self.denoise() if self.settings["denoise"] else {"deviations": [0.0]}
        tissues = self.segment()
        if "volume_ml" not in tissues["classes"][0]:
            raise tools.StepFailed("a single plane, which has no volumes")
        texture = self.texture() if self.settings["texture"] else {}
        self.keep(self.labels, self.place_of(self.labels))
        classes = [{name: tissue[name] for name in ("name", "centroid", "mean", "deviation", "volume_ml",
                                                     "soft_volume_ml")} for tissue in tissues["classes"]]
        deviation = max(noise["deviations"])
        centroids = [tissue["centroid"] for tissue in classes]
        contrast = min((b - a for a, b in zip(centroids, centroids[1:])), default=0.0)
        return {
            "classes": classes,
            "noise": deviation,
            "contrast": contrast,
            "contrast_to_noise": contrast / deviation if deviation > 0 else None,
            "field": next(iter(tissues.get("bias_field_deviations", [])), None),
            "converged": tissues["converged"],
            "warnings": tissues["warnings"],
            "dropped_voxels": tissues["image"]["dropped_voxels"],
            "not_finite_voxels": tissues["image"]["not_finite_voxels"],
            "texture": texture,
            "maps": sorted(self.maps),
        }, tissues.get("peak_memory_mib")


def read(path):
    return json.loads(Path(path).read_text(encoding="utf-8"))


def without(folders, text):
    """The text with the names of what is in these folders as they are there: reports are the same wherever they were made."""
    for folder in folders:
        text = text.replace(f"{folder}/", "")
    return text


def remove_remains(output, key):
    """Removes what a killed run of this scan has left."""
    folder, name = (output / key).parent, Path(key).name
    for dead in folder.glob(f".{name}_work-*"):
        if dead.is_dir():
            shutil.rmtree(dead, ignore_errors=True)
    for pattern in [*bids.map_patterns(key), name + bids.REPORT, name + bids.RESOURCES]:
        tools.remove_parts(folder, pattern)
    tools.remove_parts(output / bids.MOSAICS, name + ".png")


def main(configuration, key):
    config = read(configuration)
    start = time.monotonic()
    report = {"image": key, "settings": config["settings"], "status": "done", "reason": ""}
    memory = None
    output = Path(config["output_dir"])
    folder = output / Path(key).parent
    folder.mkdir(parents=True, exist_ok=True)
    remove_remains(output, key)
    with tempfile.TemporaryDirectory(prefix=f".{Path(key).name}_work-", dir=folder) as scratch:
        scan = Scan(config, key, scratch)
        try:
            results, memory = scan.work()
            report.update(results)
        except (tools.StepFailed, OSError) as failure:
            if not Path(scratch).is_dir():
                sys.exit("another run has taken this scan over")  # while this job, of one that was killed, was still at work
            report.update(status="failed", reason=without((scratch, config["output_dir"], config["bids_dir"]), str(failure)))
            with contextlib.suppress(tools.StepFailed, OSError):
                scan.manifest.remove(scan.earlier_maps())  # of an earlier image, when all are still ours
    # What differs from run to run stands apart, so that reports are the same wherever they were made.
    tools.write_whole(output / (key + bids.RESOURCES),
                      json.dumps({"seconds": round(time.monotonic() - start, 3), "peak_memory_mib": memory}) + "\n")
    tools.write_whole(output / (key + bids.REPORT), json.dumps(report, indent=2) + "\n")


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except KeyboardInterrupt:
        sys.exit(130)
