#!/usr/bin/python3
"""What the robust registration of landmarks is worth: the table of value.md.

    apt-get install python3-numpy python3-skimage        # the peer
    /usr/bin/python3 benchmarks/landmarks.py build/release/examples/register_landmarks/register_landmarks

Twelve landmarks in a cube of 140 mm, marked twice with a deviation of 0.3, 1 or 2 mm along each axis, two of them at a wrong
place: deviations of 8 and 25 mm in turn. The error is the mean distance between where a transform takes 300 points of the
cube and where they belong, over 400 pairs of sets.
"""
import json
import subprocess
import sys
import tempfile

import numpy as np
from skimage.measure import ransac
from skimage.transform import EuclideanTransform

SETS, LANDMARKS, WRONG = 400, 12, 2


def rotation(engine):
    q, r = np.linalg.qr(engine.standard_normal((3, 3)))
    q *= np.sign(np.diag(r))
    return q * np.sign(np.linalg.det(q))


def least_squares(a, b):
    transform = EuclideanTransform(dimensionality=3)
    transform.estimate(a, b)
    return transform.params


def by_ransac(a, b, seed):
    model, _ = ransac((a, b), EuclideanTransform, 3, 3.5, max_trials=100, random_state=seed)
    return np.full((4, 4), np.nan) if model is None else model.params


def by_host(program, method, folder):
    command = [program, folder + "/a.csv", folder + "/b.csv", "--method", method, "--output", folder + "/result",
               "--force", "--json", folder + "/report.json"]
    subprocess.run(command, check=True, capture_output=True)
    with open(folder + "/report.json", encoding="utf-8") as report:
        return np.array(json.load(report)["matrix_lps_mm"])


def errors_of(program, seed, noise):
    """The mean error of each method on one pair of sets."""
    engine = np.random.default_rng(100 + seed)
    truth = np.eye(4)
    truth[:3, :3], truth[:3, 3] = rotation(engine), engine.uniform(-30, 30, 3)
    move = lambda m, points: points @ m[:3, :3].T + m[:3, 3]  # noqa: E731
    a = engine.uniform(-70, 70, (LANDMARKS, 3))
    b = move(truth, a) + engine.normal(0, noise, a.shape)
    wrong = engine.choice(LANDMARKS, WRONG, replace=False)
    b[wrong] += engine.normal(0, 25 if seed % 2 else 8, (WRONG, 3))
    right = ~np.isin(range(LANDMARKS), wrong)
    with tempfile.TemporaryDirectory() as folder:
        for name, points in (("a", a), ("b", b)):
            np.savetxt(f"{folder}/{name}.csv", points, delimiter=",", fmt="%.6f")
        found = {"`register_landmarks --method robust`": by_host(program, "robust", folder),
                 "scikit-image `ransac`, 3.5 mm, 100 trials": by_ransac(a, b, seed),
                 "least squares": least_squares(a, b),
                 "least squares of the right ones": least_squares(a[right], b[right])}
    where = engine.uniform(-70, 70, (300, 3))
    return {name: np.linalg.norm(move(transform, where) - move(truth, where), axis=1).mean()
            for name, transform in found.items()}


def main():
    print("| deviation, mm | method | median error, mm | mean | worst |\n|---|---|---|---|---|")
    for noise in (0.3, 1.0, 2.0):
        errors = [errors_of(sys.argv[1], seed, noise) for seed in range(SETS)]
        for name in errors[0]:
            values = [error[name] for error in errors]
            print(f"| {noise} | {name} | {np.median(values):.3f} | {np.mean(values):.3f} | {np.max(values):.2f} |")


if __name__ == "__main__":
    main()
