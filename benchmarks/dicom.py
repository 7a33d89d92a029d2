#!/usr/bin/python3
"""How long a DICOM series takes to open, beside dcm2niix, which also writes it: medians of alternating runs.

    benchmarks/dicom.py [FOLDER_OF_THE_BUILD [RUNS]]     build/release and 9 without them; needs python3-pydicom, dcm2niix

Of a build without MTH_QUICK_BUILD, whose hosts are not optimised.
"""

import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../tests/examples"))
import numpy  # noqa: E402
from dicom_series import ORIENTATIONS, ROOT, digits, write_series  # noqa: E402

BUILD = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "../build/release")
RUNS = int(sys.argv[2]) if len(sys.argv) > 2 else 9
SLICES, SIDE, PART, GAP = 200, 512, 50, 2.5


def write_slices(folder):
    """Ramps with noise, which no compression of the file system makes small, in folders of 50."""
    random = numpy.random.default_rng(1)
    ramp = numpy.add.outer(numpy.arange(SIDE), numpy.arange(SIDE))
    row, column, _ = ORIENTATIONS["oblique"]
    step = numpy.cross(row, column)
    for start in range(0, SLICES, PART):
        def place(k, image, first=start):
            image.SOPInstanceUID = image.file_meta.MediaStorageSOPInstanceUID = f"{ROOT}3.{first + k + 1}"
            image.InstanceNumber = first + k + 1
            image.ImagePositionPatient = digits(GAP * (first + k) * step)
        planes = [(ramp + random.integers(0, 200, ramp.shape)).astype("u2") for _ in range(PART)]
        write_series(os.path.join(folder, str(start)), "oblique", planes, changes=place)


def seconds(*command):
    """Of the clock, and of the processor."""
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (time.perf_counter() - start,
            after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)


with tempfile.TemporaryDirectory() as scratch:
    series = os.path.join(scratch, "series")
    write_slices(series)
    ours, others = [], []
    for _ in range(RUNS):
        others.append(seconds("dcm2niix", "-w", "1", "-b", "n", "-z", "n", "-f", "other", "-o", scratch, series))
        ours.append(seconds(os.path.join(BUILD, "tests/examples/dicom_probe"), "open", series, "-", "-"))
    print(f"{SLICES} slices of {SIDE} x {SIDE}, seconds, medians of {RUNS}: here, dcm2niix, ratio")
    for name, index in (("clock", 0), ("processor", 1)):
        here, there = (statistics.median(run[index] for run in runs) for runs in (ours, others))
        print(f"  {name:9}  {here:.3f}  {there:.3f}  {here / there:.2f}")
