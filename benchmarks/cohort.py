#!/usr/bin/env python3
"""What cohorts cost beside the work itself: mth-cohort, and the steps of mth.cohort.

    cohort.py TOOLS [--scans N] [--size X,Y,Z] [--dry-run N...] [--steps N]    TOOLS: build/release/examples

Times of the processor are those of all processes; they hardly depend on what else a machine does, times of the clock do.
mth.cohort is measured where the module mth can be imported, with distributed.
"""

import argparse
import json
import os
import resource
import shutil
import stat
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

FRONT = Path(__file__).resolve().parent.parent / "workflows" / "cohort" / "mth-cohort"
PROGRAMS = ("denoise_mr", "segment_mr", "texture_mr")


def program(tools, name):
    return next(path for path in (Path(tools) / name / name, Path(tools) / name) if path.is_file())


def children():
    """Seconds of the processor that ended child processes took."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def empty_study(root, scans):
    root.mkdir()
    (root / "dataset_description.json").write_text(json.dumps({"Name": "benchmark", "BIDSVersion": "1.8.0"}))
    for i in range(scans):
        folder = root / f"sub-{i:05d}" / "anat"
        folder.mkdir(parents=True)
        yield folder / f"sub-{i:05d}_T1w.nii.gz"


def timed_tools(tools, folder):
    """Programs that write what they took of the processor into a file."""
    folder.mkdir()
    for name in PROGRAMS:
        script = folder / name
        script.write_text(f'#!/bin/sh\n"{program(tools, name).resolve()}" "$@"\nstatus=$?\n'
                          f'times >>"{folder}/times"\nexit $status\n')
        script.chmod(script.stat().st_mode | stat.S_IXUSR)
    return folder


def seconds_of(text):
    minutes, seconds = text.rstrip("s").split("m")
    return 60 * float(minutes) + float(seconds)


def run(study, output, tools, *options):
    subprocess.run([sys.executable, FRONT, "run", study, output, "--tools", tools, *options], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def workflow(options, scratch):
    study = scratch / "study"
    for i, image in enumerate(empty_study(study, options.scans)):
        phantom = scratch / f"phantom{i}"
        subprocess.run([program(options.tools, "make_phantom"), "--size", options.size, "--noise", "3", "--bias", "20", "--seed",
                        str(i + 1), "--output", phantom], check=True, stdout=subprocess.DEVNULL)
        shutil.copy(phantom / "phantom.nii.gz", image)
        shutil.rmtree(phantom)
    tools = timed_tools(options.tools, scratch / "tools")
    clocks = {1: [], 2: []}
    processor = []
    for turn in range(options.turns):
        for cores in (1, 2):
            before, start = children(), time.monotonic()
            run(study, scratch / f"out{cores}-{turn}", tools, "--n-cpus", str(cores))
            clocks[cores].append(time.monotonic() - start)
            processor.append(children() - before)
            shutil.rmtree(scratch / f"out{cores}-{turn}")
    work = sum(seconds_of(value) for line in (tools / "times").read_text().splitlines()[1::2] for value in line.split())
    runs = options.scans * len(processor)
    overhead = (sum(processor) - work) / runs
    print(f"mth-cohort, {options.scans} scans of {options.size}, processor time of a scan:")
    print(f"  work {work / runs:.2f} s, everything else {overhead:.2f} s ({100 * overhead * runs / work:.1f} %)")
    one, two = statistics.median(clocks[1]), statistics.median(clocks[2])
    print(f"  clock: {one:.1f} s on one core, {two:.1f} s on two: efficiency {100 * one / (2 * two):.0f} %")


def dry_run(options, scratch, scans):
    study = scratch / f"dry{scans}"
    for image in empty_study(study, scans):
        image.touch()
    # In a process of its own, whose children are this run alone.
    code = ("import resource, subprocess, sys, time; start = time.monotonic(); subprocess.run(sys.argv[1:], check=True, "
            "stdout=subprocess.DEVNULL); usage = resource.getrusage(resource.RUSAGE_CHILDREN); "
            "print(usage.ru_maxrss / 1024, usage.ru_utime + usage.ru_stime)")
    done = subprocess.run([sys.executable, "-c", code, sys.executable, FRONT, "run", study, scratch / f"out{scans}", "--tools",
                           options.tools, "--dry-run"], check=True, capture_output=True, text=True)
    memory, seconds = map(float, done.stdout.split())
    print(f"  {scans} scans: {memory:.0f} MiB, {seconds:.1f} s of the processor")
    shutil.rmtree(study)


def steps(options):
    try:
        import distributed
        import numpy as np
        from mth import cohort
    except ImportError as missing:
        print(f"Left out: mth.cohort ({missing})")
        return
    scans = [np.random.default_rng(i).normal(500.0, 100.0, (40, 40, 40)) for i in range(options.steps)]
    start = [[300.0], [500.0], [700.0]]

    def seconds(client, n):
        begin = time.monotonic()
        cohort.fuzzy_c_means(scans, 3, client, init=start, tol=-1.0, max_iter=n)
        return time.monotonic() - begin

    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0") as workers, \
            distributed.Client(workers) as client:
        for name, where in (("in process", None), ("2 workers", client)):
            step = (seconds(where, 24) - seconds(where, 4)) / (20 * len(scans))
            print(f"mth.cohort, {len(scans)} scans of 64,000 voxels, {name}: {1000 * step:.2f} ms of the clock a scan and step")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("tools", type=Path)
    parser.add_argument("--scans", type=int, default=4)
    parser.add_argument("--size", default="128,128,96")
    parser.add_argument("--turns", type=int, default=1)
    parser.add_argument("--dry-run", type=int, nargs="*", default=[100, 1000])
    parser.add_argument("--steps", type=int, default=20)
    options = parser.parse_args()
    options.tools = options.tools.resolve()
    print(f"{os.cpu_count()} cores, load {os.getloadavg()[0]:.1f}")
    with tempfile.TemporaryDirectory(prefix="mth-cohort-") as folder:
        scratch = Path(folder)
        if options.scans:
            workflow(options, scratch)
        if options.dry_run:
            print("Memory of the largest process of a dry run:")
        for scans in options.dry_run:
            dry_run(options, scratch, scans)
    if options.steps:
        steps(options)


if __name__ == "__main__":
    main()
