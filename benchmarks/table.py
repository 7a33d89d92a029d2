"""Prints one table of benchmark results: under each instruction set the library's median and spread, its ratio to the
fastest peer of the same workload and size in the same run, and to the limit where one was measured. Names are
workload/who[/size]; whoever begins with "limit" is no peer, but what no program on that machine can beat."""

import json
import math
import re
import sys
from collections import defaultdict, namedtuple

SETS = ("baseline", "avx2", "avx512")
OURS = "mth"
LIMIT = "limit"

Measured = namedtuple("Measured", "median deviation evaluations")

# What a ratio is to be at most under AVX2 and AVX-512: (subject, workload, sizes or None for all): (bound, to whom).
# To whom: the limit, a peer by name, or the fastest peer.
FASTEST = None
TO_BE = {
    ("matrix", "product double", ("64", "128", "256", "512", "1024", "2048")): (1.15, LIMIT),
    ("matrix", "product float", ("64", "128", "256", "512", "1024", "2048")): (1.15, LIMIT),
    ("matrix", "Sum double", ("2048",)): (1.0, "Eigen into a result that exists"),
    ("matrix", "Save", None): (1.05, FASTEST),
    ("linear_algebra", "lu", None): (1.0, FASTEST),
    ("linear_algebra", "solve_one", ("512",)): (1.0, FASTEST),
    ("linear_algebra", "solve_64", None): (1.0, FASTEST),
    ("linear_algebra", "inverse", None): (1.0, FASTEST),
    ("linear_algebra", "pseudo_inverse", None): (0.9, "lapack"),
    ("fft", "FFT", ("10",)): (1.0, FASTEST),
    ("fft", "FFT", ("16",)): (1.1, FASTEST),
    ("fft", "FFT2D", None): (1.2, FASTEST),
    ("image_laplacian", "Laplacian 2D double", None): (0.75, "plain loop"),
    ("image_laplacian", "Laplacian 3D float", None): (0.75, "plain loop"),
    ("clustering", "fuzzy c-means", None): (0.45, "plain loop"),
    ("clustering", "samples in and out", None): (0.5, FASTEST),
    ("statistics", "Subtractive draws", None): (0.6, "GSL ran3"),
    ("statistics", "Normal draws", None): (1.0, "std::normal_distribution of std::mt19937"),
    ("statistics", "Sort", ("1000", "10")): (0.6, FASTEST),
    ("optimise", "six Gaussians, Powell", None): (1.05, LIMIT),
    ("least_squares", "NistProblems", None): (0.7, FASTEST),
}


def split(name):
    """workload, who, size of a benchmark's name, and whether the clock on the wall is what counts."""
    workload, who, *rest = name.split("/")
    is_real = "real_time" in rest or "manual_time" in rest
    flags = re.compile(r"(repeats|min_time|threads):|(real|manual)_time$")
    return workload, who, "/".join(part for part in rest if not flags.match(part)), is_real


def text(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def read(paths):
    """{(subject, workload, size): {set: {who: Measured}}} and the machine's context."""
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
            if run.get("aggregate_name") in ("median", "stddev") and not run.get("error_occurred"):
                values[run["run_name"]][run["aggregate_name"]] = run
        for name, runs in values.items():
            if "/" not in name:
                sys.exit(f"{path}: {name} is not workload/who")
            workload, who, size, is_real = split(name)
            clock = "real_time" if is_real else "cpu_time"
            median, deviation = (
                runs[kind][clock] * units[runs[kind]["time_unit"]] if kind in runs else 0.0
                for kind in ("median", "stddev"))
            times[subject, workload, size][context["instruction_set"]][who] = Measured(
                median, deviation, runs["median"].get("evaluations"))
    return times, context


def fastest(entries, is_wanted):
    """Who of those wanted took least."""
    wanted = {who: value.median for who, value in entries.items() if who != OURS and is_wanted(who)}
    return min(wanted, key=wanted.get) if wanted else None


def bound_of(subject, workload, size):
    for (its_subject, its_workload, sizes), bound in TO_BE.items():
        if (its_subject, its_workload) == (subject, workload) and (sizes is None or size in sizes):
            return bound
    return None, None


def to_be(subject, workload, size):
    bound, whom = bound_of(subject, workload, size)
    if bound is None:
        return ""
    return f"≤ {bound:g} of the limit" if whom == LIMIT else f"≤ {bound:g}"


def cells(entries, bound, whom):
    """Time, ratio to a peer and ratio to the limit of one instruction set; what misses its bound is bold."""
    if OURS not in entries:
        return "", "", ""
    ours = entries[OURS]
    limit = fastest(entries, lambda who: who.startswith(LIMIT))
    peer = whom if whom in entries and whom != LIMIT else fastest(entries, lambda who: not who.startswith(LIMIT))

    def ratio(who, is_bound):
        if who is None:
            return ""
        other = entries[who]
        value = ours.median / other.median
        shown = f"{value:.2f} of {who.removeprefix(LIMIT).lstrip(', ')}"
        if ours.evaluations and other.evaluations and ours.evaluations != other.evaluations:
            shown += f" ({value * other.evaluations / ours.evaluations:.2f} per evaluation)"
        return f"**{shown}**" if is_bound and round(value, 2) > bound else shown

    return (f"{text(ours.median)} ± {100 * ours.deviation / ours.median:.0f} %",
            ratio(peer, bound is not None and whom in (FASTEST, peer)), ratio(limit, bound is not None and whom == LIMIT))


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
                sizes[subject, workload][instruction_set][size] = entries[OURS].median
    print("\nHow the library's cost grows: the fitted exponent of the size.\n")
    print("| workload | " + " | ".join(present) + " |\n|---|" + "---|" * len(present))
    for (subject, workload), by_set in sorted(sizes.items()):
        exponents = [growth(by_set[s]) for s in present]
        if any(exponent is not None for exponent in exponents):
            row = ["" if exponent is None else f"{exponent:.2f}" for exponent in exponents]
            print(f"| {subject}: {workload} | " + " | ".join(row) + " |")


def order(key):
    """By subject and workload, and sizes as the numbers that they are."""
    subject, workload, size = key
    return subject, workload, [(float(part), "") if part.isdigit() else (math.inf, part) for part in size.split("/")]


def main():
    times, context = read(sys.argv[1:])
    present = [s for s in SETS if any(s in by_set for by_set in times.values())]
    print(f"Medians of one run on {context.get('host_name', 'this machine')}, {context['num_cpus']} processors of "
          f"{context['mhz_per_cpu']} MHz; ratios are to the fastest peer of the same run and to the limit, and bold "
          "where they miss what they are to be under AVX2 and AVX-512.\n")
    print("| workload | size | to be | " + " | ".join(f"{s} | of a peer | of the limit" for s in present) + " |")
    print("|---|---|---|" + "---|---|---|" * len(present))
    for key in sorted(times, key=order):
        subject, workload, size = key
        by_set = times[key]
        if not any(OURS in entries for entries in by_set.values()):
            continue
        bound, whom = bound_of(*key)
        row = []
        for s in present:
            row.extend(cells(by_set[s], bound if s != "baseline" else None, whom))
        print(f"| {subject}: {workload} | {size} | {to_be(*key)} | " + " | ".join(row) + " |")
    print_growth(times, present)


if __name__ == "__main__":
    main()
