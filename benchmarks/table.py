"""Prints one table of benchmark results: the library's median and spread under each instruction set, and its ratio to
the fastest peer of the same workload and size in the same run. Names are workload/who[/size]."""

import json
import math
import re
import sys
from collections import defaultdict

SETS = ("baseline", "avx2", "avx512")
OURS = "mth"


def split(name):
    """workload, who, size of a benchmark's name."""
    workload, _, rest = name.partition("/")
    who, _, size = rest.partition("/")
    return workload, who, size


def text(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def read(paths):
    """{(subject, workload, size): {set: {who: (median, deviation)}}} and the machine's context."""
    times = defaultdict(lambda: defaultdict(dict))
    context = {}
    units = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            data = json.load(file)
        context = data["context"]
        subject = re.sub(r"_benchmark\..*", "", path.rsplit("/", 1)[-1])
        values = defaultdict(dict)
        for run in data["benchmarks"]:
            if run.get("aggregate_name") in ("median", "stddev"):
                values[run["run_name"]][run["aggregate_name"]] = run["cpu_time"] * units[run["time_unit"]]
        for name, value in values.items():
            workload, who, size = split(name)
            entry = (value["median"], value.get("stddev", 0.0))
            times[subject, workload, size][context["instruction_set"]][who] = entry
    return times, context


def cells(entries):
    """Time and ratio of one instruction set."""
    if OURS not in entries:
        return "", ""
    median, deviation = entries[OURS]
    peers = {who: value[0] for who, value in entries.items() if who != OURS}
    ratio = ""
    if peers:
        fastest = min(peers, key=peers.get)
        ratio = f"{median / peers[fastest]:.2f} of {fastest}"
    return f"{text(median)} ± {100 * deviation / median:.0f} %", ratio


def growth(sizes):
    """Exponent of the line that fits the logarithms of {size: time} best; nothing for fewer than three numbers."""
    points = [(math.log(float(size)), math.log(time)) for size, time in sizes.items() if size.isdigit() and size != "0"]
    if len(points) < 3:
        return None
    x, y = (sum(values) / len(points) for values in zip(*points))
    return sum((a - x) * (b - y) for a, b in points) / sum((a - x) ** 2 for a, _ in points)


def print_growth(times, present):
    """One line for each workload that was measured at three sizes or more."""
    sizes = defaultdict(lambda: defaultdict(dict))
    for (subject, workload, size), by_set in times.items():
        for instruction_set, entries in by_set.items():
            if OURS in entries:
                sizes[subject, workload][instruction_set][size] = entries[OURS][0]
    print("\nHow the library's cost grows: the fitted exponent of the size.\n")
    print("| workload | " + " | ".join(present) + " |\n|---|" + "---|" * len(present))
    for (subject, workload), by_set in sorted(sizes.items()):
        exponents = [growth(by_set[s]) for s in present]
        if any(exponent is not None for exponent in exponents):
            row = ["" if exponent is None else f"{exponent:.2f}" for exponent in exponents]
            print(f"| {subject}: {workload} | " + " | ".join(row) + " |")


def main():
    times, context = read(sys.argv[1:])
    present = [s for s in SETS if any(s in by_set for by_set in times.values())]
    print(f"Medians of one run on {context.get('host_name', 'this machine')}, {context['num_cpus']} processors of "
          f"{context['mhz_per_cpu']} MHz; a ratio is to the fastest peer of the same run.\n")
    print("| workload | size | " + " | ".join(f"{s} | ratio" for s in present) + " |")
    print("|---|---|" + "---|---|" * len(present))
    for (subject, workload, size), by_set in sorted(times.items()):
        if not any(OURS in entries for entries in by_set.values()):
            continue
        row = [cell for s in present for cell in cells(by_set[s])]
        print(f"| {subject}: {workload} | {size} | " + " | ".join(row) + " |")
    print_growth(times, present)


if __name__ == "__main__":
    main()
