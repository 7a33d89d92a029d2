"""Finds the rigid transform that maps landmarks to the same landmarks elsewhere, and the ones that do not fit.

    python landmarks.py first.csv second.csv --robust --output result

reads label,x,y,z lines, matched by their labels, and writes matrix.txt and figure.png into the folder.
"""

import argparse
import pathlib

import matplotlib
import numpy as np

import mth
import output_folder

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402  after the choice of the back end


def read_landmarks(path):
    """The points of a file by their labels."""
    points = {}
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.strip() and not line.startswith("#"):
            label, *coordinates = line.split(",")
            points[label.strip()] = [float(coordinate) for coordinate in coordinates]
    return points


def draw(labels, residuals, path):
    figure, axis = pyplot.subplots(figsize=(6, 4))
    axis.bar(labels, residuals)
    axis.set_ylabel("distance after the transform (mm)")
    figure.savefig(path, bbox_inches="tight")
    pyplot.close(figure)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("first", help="landmarks to move")
    parser.add_argument("second", help="the same landmarks where they should be")
    parser.add_argument("--robust", action="store_true", help="least squares of the landmarks that are right")
    output_folder.add_options(parser, "landmarks_output")
    options = parser.parse_args()
    output_folder.make(parser, options)
    first, second = read_landmarks(options.first), read_landmarks(options.second)
    labels = [label for label in first if label in second]
    a, b = (np.array([points[label] for label in labels]) for points in (first, second))
    found = mth.register_landmarks(a, b, robust=options.robust)
    np.savetxt(options.output / "matrix.txt", found.matrix, fmt="%.17g")
    draw(labels, found.residuals, options.output / "figure.png")
    print(f"{len(labels)} landmarks, mean distance {found.residuals.mean():.4g}")
    print(f"largest at {labels[int(found.residuals.argmax())]}: {found.residuals.max():.4g}")


if __name__ == "__main__":
    main()
