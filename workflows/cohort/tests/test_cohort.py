#!/usr/bin/env python3
"""A cohort of small phantoms through mth-cohort: whole, again, changed, killed, and on a cluster.

    test_cohort.py TOOLS [--subjects N] [--slurm]     TOOLS: build/release/examples
"""

import argparse
import fcntl
import gzip
import json
import os
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
FRONT = HERE.parent / "mth-cohort"
OPTIONS = argparse.Namespace(tools="", subjects=6, slurm=False)


def make_phantom(folder, seed):
    program = Path(OPTIONS.tools) / "make_phantom" / "make_phantom"
    subprocess.run([program if program.is_file() else Path(OPTIONS.tools) / "make_phantom", "--size", "36,40,32", "--noise",
                    str(2 + seed % 3), "--bias", str(10 * (seed % 4)), "--seed", str(seed), "--output", folder],
                   check=True, stdout=subprocess.DEVNULL)


def scan_of(root, subject):
    folder = root / f"sub-{subject}" / "anat"
    folder.mkdir(parents=True, exist_ok=True)
    return folder / f"sub-{subject}_T1w.nii.gz"


def make_cohort(root, scratch):
    """Subjects 01 ..., and six that something is wrong with."""
    root.mkdir()
    (root / "dataset_description.json").write_text(json.dumps({"Name": "phantoms", "BIDSVersion": "1.8.0"}))
    for seed in range(1, OPTIONS.subjects + 1):
        make_phantom(scratch / str(seed), seed)
        scan_of(root, f"{seed:02d}").symlink_to(scratch / str(seed) / "phantom.nii.gz")
        mask = root / "derivatives" / "brain" / f"sub-{seed:02d}" / "anat" / f"sub-{seed:02d}_desc-brain_mask.nii.gz"
        mask.parent.mkdir(parents=True)
        shutil.copy(scratch / str(seed) / "mask.nii.gz", mask)
    whole = scan_of(root, "01").read_bytes()
    scan_of(root, "empty").write_bytes(b"")
    scan_of(root, "link").symlink_to(scratch / "nowhere")
    scan_of(root, "half").write_bytes(whole[:len(whole) // 2])
    voxels = bytearray(gzip.decompress(whole))
    size = struct.unpack_from("<hh", voxels, 42)
    plane = voxels[:352 + 4 * size[0] * size[1]]
    struct.pack_into("<h", plane, 46, 1)
    scan_of(root, "plane").write_bytes(gzip.compress(bytes(plane)))
    datatype, bits = struct.unpack_from("<hh", voxels, 70)
    assert (datatype, bits) == (16, 32)
    for i in range(0, 4000, 4):
        voxels[352 + i:356 + i] = struct.pack("<f", float("nan"))
    scan_of(root, "nan").write_bytes(gzip.compress(bytes(voxels)))
    shutil.copy(scan_of(root, "01"), scan_of(root, "grid"))
    other = root / "derivatives" / "brain" / "sub-grid" / "anat" / "sub-grid_desc-brain_mask.nii.gz"
    other.parent.mkdir(parents=True)
    small = bytearray(gzip.decompress((scratch / "1" / "mask.nii.gz").read_bytes()))
    struct.pack_into("<h", small, 46, 31)
    other.write_bytes(gzip.compress(bytes(small)))


def command(bids, output, *more):
    return [sys.executable, FRONT, "run", bids, output, "--tools", OPTIONS.tools, *more]


def run(bids, output, *more):
    return subprocess.run(command(bids, output, *more), capture_output=True, text=True, check=False)


def tables(output):
    return {name: (output / name).read_bytes() for name in ("volumes.tsv", "texture.tsv")}


def reports(output):
    """When the scans that are done were done."""
    return {path: path.stat().st_mtime_ns for path in output.glob("sub-*/anat/*_desc-mth_T1w.json")
            if '"status": "done"' in path.read_text()}


def leftovers(output):
    return [path for pattern in (".sub-*", ".*.mth-part-*") for path in output.rglob(pattern)]


def faulty_tools(folder, name, fault):
    """The programs, one of which does something else once: to the scan of subject 02."""
    folder.mkdir()
    for other in ("denoise_mr", "segment_mr", "texture_mr"):
        real = Path(OPTIONS.tools) / other / other
        once = f'case "$*" in *sub-02*) if mkdir "{folder}/done" 2>/dev/null; then {fault}; fi ;; esac\n'
        script = folder / other
        script.write_text(f'#!/bin/sh\n{once if other == name else ""}exec "{real if real.is_file() else real.parent}" "$@"\n')
        script.chmod(0o755)
    return folder


class Cohort(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(tempfile.mkdtemp(prefix="mth-cohort-"))
        cls.bids = cls.scratch / "bids"
        make_cohort(cls.bids, cls.scratch)
        cls.output = cls.scratch / "whole"
        cls.first = run(cls.bids, cls.output, "--", "--resources", "mem_mb=4000")
        cls.tables = tables(cls.output)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.scratch, ignore_errors=True)

    def test_names_what_failed_and_does_the_rest(self):
        self.assertEqual(self.first.returncode, 3, self.first.stderr)
        lines = [line.split("\t") for line in self.tables["volumes.tsv"].decode().splitlines()]
        rows = {line[0].split("/")[0]: dict(zip(lines[0], line)) for line in lines[1:]}
        self.assertEqual(len(rows), OPTIONS.subjects + 6)
        for name, row in rows.items():
            is_bad = name in ("sub-empty", "sub-half", "sub-plane", "sub-grid", "sub-link")
            self.assertEqual(row["status"], "failed" if is_bad else "done", row)
            self.assertEqual(row["reason"] == "n/a", not is_bad, row)
            self.assertNotIn(str(self.scratch), row["reason"])  # the same bytes wherever they are made
        for seed in range(1, OPTIONS.subjects + 1):
            # A mixture of voxels has the volume of its tissues: the truth is the sum of the fractions.
            truth = sum(struct.iter_unpack("<f", gzip.decompress(
                (self.scratch / str(seed) / "fraction_WM.nii.gz").read_bytes())[352:]), start=())
            self.assertAlmostEqual(float(rows[f"sub-{seed:02d}"]["WM_ml"]), sum(truth) / 1000, delta=0.5)
        self.assertLess(float(rows["sub-01"]["field"]), 0.8 * float(rows["sub-03"]["field"]))
        for path in self.output.glob("sub-*/anat/*.nii.gz"):
            sidecar = json.loads(Path(str(path).removesuffix(".nii.gz") + ".json").read_text())
            self.assertEqual(sidecar["Settings"]["clusters"], 3)
        page = (self.output / "report" / "index.html").read_text()
        self.assertEqual(page.count("<tr class="), OPTIONS.subjects + 6)
        self.assertNotIn("http", page)
        self.assertEqual(leftovers(self.output), [])

    def test_second_run_does_what_is_changed(self):
        output = self.scratch / "again"
        shutil.copytree(self.output, output)
        self.assertEqual(run(self.bids, output).returncode, 3)
        before = reports(output)
        self.assertEqual(run(self.bids, output).returncode, 3)
        self.assertEqual(reports(output), before)
        places = [output, output.parent / "nowhere"]
        seen = [{path: path.lstat().st_mtime_ns for path in place.rglob("*")} for place in places]
        for place, count in zip(places, (5, OPTIONS.subjects + 6)):  # what has failed is done again
            told = run(self.bids, place, "--dry-run")
            self.assertRegex(told.stdout + told.stderr, rf"(?m)^scan +{count}\b")
        self.assertEqual([{path: path.lstat().st_mtime_ns for path in place.rglob("*")} for place in places], seen)
        self.assertFalse(places[1].exists())
        os.utime(scan_of(self.bids, "02"))
        self.assertEqual(run(self.bids, output).returncode, 3)
        after = reports(output)
        self.assertEqual([path.name for path in after if after[path] != before.get(path)], ["sub-02_desc-mth_T1w.json"])
        self.assertEqual(tables(output), self.tables)
        self.assertEqual(run(self.bids, output, "--no-texture").returncode, 3)
        self.assertTrue(all(stamp != after[path] for path, stamp in reports(output).items()))
        corrected = output / "sub-01" / "anat" / "sub-01_space-orig_dseg.nii.gz"
        corrected.write_bytes(b"by hand")
        result = run(self.bids, output)
        self.assertIn("move it away", result.stderr)
        self.assertEqual(corrected.read_bytes(), b"by hand")
        self.assertTrue((corrected.parent / "sub-01_space-orig_label-GM_probseg.nii.gz").is_file())
        for name in ("dataset_description.json", "volumes.tsv"):
            (output / name).write_bytes(b"by hand")
        self.assertEqual(run(self.bids, output).returncode, 2)
        (output / "volumes.tsv").rename(output / "mine.tsv")
        self.assertEqual(run(self.bids, output).returncode, 3)
        for name in ("dataset_description.json", "mine.tsv"):
            self.assertEqual((output / name).read_bytes(), b"by hand")

    def test_ends_with_all_its_jobs_and_goes_on_with_the_same_bits(self):
        """Signals reach mth-cohort alone, in the middle of a scan; Snakemake is killed as well."""
        some = ["--participant-label", "01", "02", "--n-cpus", "2"]
        whole = self.scratch / "two"
        self.assertEqual(run(self.bids, whole, *some).returncode, 0)
        places = [path.relative_to(whole) for path in whole.rglob("*") if path.is_file() and ".snakemake" not in path.parts
                  and "sub-01" not in str(path)]  # scan 01 may have been done in time
        ends = [(signal.SIGINT, 3), (signal.SIGKILL, -signal.SIGKILL), (None, 3)]
        for i, (number, status) in enumerate(ends):
            output, pipe = self.scratch / f"ended{i}", self.scratch / f"pipe{i}"
            os.mkfifo(pipe)
            kill = "" if number else "kill -9 $(ps -o sid= -p $$); "  # Snakemake has a session of its own
            slow = faulty_tools(self.scratch / f"slow{i}", "segment_mr", f"exec 3>{pipe}; echo at work >&3; {kill}exec sleep infinity")
            process = subprocess.Popen(command(self.bids, output, *some, "--tools", slow), stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
            with open(pipe, encoding="utf-8") as work:
                self.assertEqual(work.readline(), "at work\n")
                if number:
                    process.send_signal(number)
                self.assertEqual(process.wait(), status)
                self.assertEqual(work.read(), "")  # comes when the last of its jobs has ended
            for place in places:  # killed while it wrote each of its files
                part = output / place.parent / f".{place.name}.mth-part-1"
                part.parent.mkdir(parents=True, exist_ok=True)
                part.write_bytes(b"half")
            with open(output / ".mth-cohort" / "lock", encoding="utf-8") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)  # Snakemake's, too, however long the system takes to end it
            second = run(self.bids, output, *some, "--tools", slow)
            self.assertEqual(second.returncode, 0, second.stdout + second.stderr)
            self.assertEqual(tables(output), tables(whole))
            self.assertEqual(leftovers(output), [])

    def test_scans_that_failed_are_done_again_with_the_same_bits(self):
        # The program is killed, the job around it, and the disc is full.
        faults = [("denoise_mr", "kill -9 $PPID"), ("segment_mr", "trap '' XFSZ; ulimit -f 8"), ("texture_mr", "kill -9 $$")]
        if OPTIONS.slurm:
            faults += [("denoise_mr", "kill -9 $$"), ("segment_mr", "kill -9 $$"), ("segment_mr", "kill -9 $PPID"),
                       ("texture_mr", "kill -9 $PPID"), ("denoise_mr", "trap '' XFSZ; ulimit -f 8")]
        some = ["--participant-label", "02"]
        whole = self.scratch / "one"
        self.assertEqual(run(self.bids, whole, *some).returncode, 0)
        for i, (name, fault) in enumerate(faults):
            output, broken = self.scratch / f"faults{i}", faulty_tools(self.scratch / f"tools{i}", name, fault)
            first = run(self.bids, output, *some, "--tools", broken)
            self.assertEqual(first.returncode, 3, first.stdout + first.stderr)
            self.assertIn("sub-02", first.stderr)
            self.assertEqual(reports(output), {})
            second = run(self.bids, output, *some, "--tools", broken)
            self.assertEqual(second.returncode, 0, second.stdout + second.stderr)
            self.assertEqual(tables(output), tables(whole))
            self.assertEqual(leftovers(output), [])

    def test_one_model_divides_all_scans(self):
        output, path = self.scratch / "model", self.scratch / "group.json"
        some = ["--participant-label", "01", "02", "--model", path]
        parameters = {"field": True, "local_means": True, "field_width": 25.0}
        for means in ([30.0, 75.0, 120.0], [40.0, 80.0, 120.0]):
            model = {"format": "mth cohort model", "version": 1, "method": "tissues", "centroids": [[mean] for mean in means],
                     "parameters": parameters}
            path.write_text(json.dumps(model))
            self.assertEqual(run(self.bids, output, *some).returncode, 0)
            self.assertEqual(len(reports(output)), 2)
            for report in reports(output):
                self.assertEqual([tissue["centroid"] for tissue in json.loads(report.read_text())["classes"]], means)
        for content, more in (("{", []), (json.dumps({**model, "centroids": [[1.0, 2.0]]}), []), (json.dumps(model), ["--clusters", "3"])):
            path.write_text(content)
            self.assertEqual(run(self.bids, output, *some, *more).returncode, 2)
        self.assertEqual(len(reports(output)), 2)

    def test_refuses_what_it_cannot_use(self):
        cases = [
            ((self.scratch / "missing", self.scratch / "out"), "no folder"),
            ((self.scratch / "1", self.scratch / "out"), "dataset_description.json"),
            ((self.bids, self.bids), "own"),
            ((self.bids, self.scratch / "out", "--participant-label", "77"), "77"),
            ((self.bids, self.scratch / "1"), "neither empty"),
            ((self.bids, self.scratch / "{out}"), "braces"),
            ((self.bids, self.bids / "dataset_description.json" / "out"), "Not a directory"),
        ]
        for arguments, text in cases:
            result = run(*arguments)
            self.assertEqual(result.returncode, 2, arguments)
            self.assertIn(text, result.stderr)

    def test_page_opens_in_a_browser(self):
        browser = shutil.which("chromium")
        with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as home:  # of its own: the user's may be read-only
            opened = browser and subprocess.run(
                [browser, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", f"--user-data-dir={home}",
                 "--dump-dom", (self.output / "report" / "index.html").as_uri()], capture_output=True, text=True, check=False,
                env={**os.environ, "HOME": home})
        if not opened or opened.returncode or not opened.stdout:
            self.skipTest("needs a chromium that opens pages")
        self.assertEqual(opened.stdout.count("<tr class="), OPTIONS.subjects + 6)

    def test_jobs_of_a_cluster_are_told_from_what_slurm_says(self):
        unknown = "echo slurm_load_jobs error: Invalid job id specified >&2; exit 1"
        cases = [("echo JobId=7 JobState=RUNNING Reason=None", "", "running"), ("echo JobId=7 JobState=COMPLETED Reason=None", "", "success"),
                 ("echo JobId=7 JobState=TIMEOUT Reason=TimeLimit", "", "failed"), ("echo JobId=7 JobState=PENDING Reason=Priority", "", "running"),
                 ("echo JobId=7 JobState=PENDING Reason=launch_failed_requeued_held Dependency=none", "", "failed"),
                 ("echo slurm_load_jobs error: Unable to contact slurm controller >&2; exit 1", "echo COMPLETED", "running"),
                 (unknown, "", "failed"), (unknown, "echo COMPLETED", "success"), (unknown, "echo RUNNING", "failed")]
        for i, (controller, accounts, told) in enumerate(cases):
            folder = self.scratch / f"slurm{i}"
            folder.mkdir()
            for name, answer in (("scontrol", controller), ("sacct", accounts), ("scancel", "")):
                (folder / name).write_text(f"#!/bin/sh\n{answer}\n")
                (folder / name).chmod(0o755)
            found = subprocess.run([FRONT.parent / "profiles" / "slurm" / "status.sh", "7"], capture_output=True, text=True, check=True,
                                   env={**os.environ, "PATH": f"{folder}:{os.environ['PATH']}"})
            self.assertEqual(found.stdout, told + "\n", controller + accounts)

    def test_cluster_gives_the_same_table(self):
        if not OPTIONS.slurm:
            self.skipTest("needs --slurm")
        output = self.scratch / "cluster"
        # The scheduler ends while scans are at work, and is started again.
        restart = ('"$@" & front=$!\n'
                   f'until [ -n "$(find {output} -name "*_desc-mth_T1w.json" 2>/dev/null)" ]; do kill -0 $front || exit 1; done\n'
                   'controller=$(cat "${SLURM_CONF%/*}/slurmctld.pid")\nkill "$controller"\n'
                   'while kill -0 "$controller" 2>/dev/null; do sleep 0.1; done\nslurmctld\n'
                   'wait $front')
        result = subprocess.run([HERE / "with_slurm.sh", "sh", "-c", restart, "sh",
                                 *command(self.bids, output, "--profile", "slurm")],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 3, result.stdout + result.stderr)
        self.assertEqual(tables(output), self.tables)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("tools", type=Path)
    parser.add_argument("--subjects", type=int, default=OPTIONS.subjects)
    parser.add_argument("--slurm", action="store_true")
    OPTIONS, rest = parser.parse_known_args()
    OPTIONS.tools = str(OPTIONS.tools.resolve())
    if not shutil.which("snakemake"):
        print("Left out: cohorts (need snakemake)")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + rest)
