"""Draws the figures of the manual's pages, one for each subject.

    python draw_figures.py --output figures

The manual has its figures from `python python/examples/draw_figures.py --output docs/images --force`.
"""

import argparse
import pathlib

import matplotlib
import nibabel
import numpy as np

import mth
import output_folder

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402  after the choice of the back end

BRAIN = pathlib.Path(__file__).resolve().parents[2] / "data" / "t1_head_axial.nii.gz"


def clusters(axes):
    """Memberships of fuzzy c-means; what evidential c-means leaves undecided or takes for outliers."""
    random = np.random.default_rng(3)
    x = np.concatenate([random.normal(centre, 0.9, (120, 2)) for centre in ((0, 0), (4, 0), (2, 3.5))] + [[[9, 6], [-5, 5]]])
    fuzzy = mth.fuzzy_c_means(x, 3, init="farthest")
    axes[0].scatter(*x.T, c=fuzzy.memberships, s=12)
    axes[0].set_title("fuzzy memberships as colours")
    evidence = mth.evidential_c_means(x, 3, init="farthest")
    sizes = np.array([len(subset) for subset in evidence.hypotheses])[evidence.decide("belief")]
    for size, name in enumerate(("outlier", "one cluster", "one of two", "any")):
        axes[1].scatter(*x[sizes == size].T, s=12, label=name)
    axes[1].set_title("the set of the largest mass")
    axes[1].legend()


def curves(axes):
    """A sampled curve, its spline and sliding mean; the fit of a peak."""
    random = np.random.default_rng(5)
    x = np.arange(24.0)
    curve = mth.Curve(x, np.sin(x / 3.0) + random.normal(scale=0.15, size=x.size))
    for drawn, style, name in ((curve, "o", "points"), (curve.spline(10), "-", "spline"), (curve.sliding_mean(5), "--", "sliding mean")):
        axes[0].plot(drawn.x, drawn.y, style, label=name)
    axes[0].legend()
    x = np.linspace(-4.0, 5.0, 60)
    y = 2.0 + 7.0 * np.exp(-0.5 * ((x - 0.8) / 1.1) ** 2) + random.normal(scale=0.4, size=x.size)
    axes[1].plot(x, y, "o", x, mth.fit_curve(x, y, "profile").model, "-")
    axes[1].set_title("a profile and its fit")


def geometry(axes):
    """Landmarks before and after a rigid registration, least squares and robust."""
    random = np.random.default_rng(6)
    a = random.uniform(-40.0, 40.0, (14, 3))
    angle = np.radians(35.0)
    turn = np.array([[np.cos(angle), -np.sin(angle), 0.0], [np.sin(angle), np.cos(angle), 0.0], [0.0, 0.0, 1.0]])
    b = a @ turn.T + [25.0, -10.0, 4.0] + random.normal(scale=1.0, size=a.shape)
    b[0] += 60.0  # a wrong landmark
    for axis, is_robust in zip(axes, (False, True)):
        found = mth.register_landmarks(a, b, robust=is_robust)
        for points, style, name in ((a, ".", "first"), (b, "o", "second"), (found(a), "x", "first, mapped")):
            axis.plot(points[:, 0], points[:, 1], style, label=name)
        axis.set_title(f"{'without outliers' if is_robust else 'least squares'}: mean {found.residuals.mean():.1f} mm")
    axes[0].legend()


def images(axes):
    """A slice of a head with noise, denoised."""
    data = np.asarray(nibabel.load(BRAIN).dataobj, dtype=np.float64).squeeze()
    random = np.random.default_rng(7)
    deviation = 0.05 * data.max()
    noisy = np.hypot(data + random.normal(scale=deviation, size=data.shape), random.normal(scale=deviation, size=data.shape))
    clean = mth.denoise(noisy, full=True)
    for axis, values, title in ((axes[0], noisy, f"5 % noise, estimated as {100 * clean.noise / data.max():.1f} %"),
                                (axes[1], clean.image, "denoised")):
        axis.imshow(values.T, cmap="gray", origin="lower", vmin=0.0, vmax=data.max())
        axis.set_title(title)
        axis.axis("off")


def matrices(axes):
    """Singular values of a Hilbert matrix, and eigenvalues of a random one."""
    i = np.arange(14.0)
    hilbert = 1.0 / (i[:, np.newaxis] + i + 1.0)
    values = mth.linalg.svd(hilbert).s
    axes[0].semilogy(i + 1, values, "o", i + 1, np.full(14, values[0] * 14e-15), "--")
    axes[0].set_title(f"singular values, rank {mth.linalg.matrix_rank(hilbert)} of 14")
    eigenvalues = mth.linalg.eigvals(np.random.default_rng(8).normal(size=(150, 150)) / np.sqrt(150.0))
    axes[1].plot(eigenvalues.real, eigenvalues.imag, ".")
    axes[1].set_aspect("equal")
    axes[1].set_title("eigenvalues of 150 x 150 normal deviates")


def minimisers(axes):
    """The ways of three minimisers through Rosenbrock's valley, and annealing among many minima."""
    def rosenbrock(p):
        return 100.0 * (p[1] - p[0] ** 2) ** 2 + (1.0 - p[0]) ** 2

    x, y = np.meshgrid(np.linspace(-1.6, 1.6, 160), np.linspace(-0.6, 1.8, 120))
    axes[0].contour(x, y, np.log1p(rosenbrock((x, y))), 14, colors="lightgrey")
    for method in ("powell", "bfgs", "nelder-mead"):
        way = [[-1.2, 1.0]]
        best = mth.minimise(rosenbrock, way[0], method, callback=lambda p: way.append(p.tolist()))
        axes[0].plot(*np.array(way).T, ".-", linewidth=0.8, markersize=3, label=f"{method}, {best.nfev} calls")
    axes[0].legend(fontsize=7, loc="lower right")

    def bumpy(p):
        return (p[0] - 3.0) ** 2 + 5.0 * np.sin(4.0 * p[0]) ** 2

    seen = []
    mth.anneal(bumpy, [-4.0], seed=7, temperature=20.0, callback=lambda p: seen.append(p[0]))
    line = np.linspace(-6.0, 9.0, 500)
    axes[1].plot(line, bumpy([line]), "lightgrey")
    axes[1].scatter(seen, bumpy([np.array(seen)]), c=np.arange(len(seen)), s=14)
    axes[1].set_title("annealing, stage after stage")


def texture(axes):
    """The co-occurrence matrix of a slice of a head, and what becomes of features with the distance."""
    data = np.asarray(nibabel.load(BRAIN).dataobj, dtype=np.float64).squeeze()
    levels = 32
    image = np.minimum(levels * data / data.max(), levels - 1).astype(int)[40:160, 60:200]
    axes[0].imshow(np.log1p(mth.cooccurrence(image, levels) * image.size), cmap="magma", origin="lower")
    axes[0].set_title("how often level j stands beside level i")
    distances = np.arange(1, 13)
    features = [mth.texture(mth.cooccurrence(image, levels, (0, int(distance)))) for distance in distances]
    for name in ("contrast", "homogeneity", "entropy"):
        values = np.array([feature[name] for feature in features])
        axes[1].plot(distances, values / values[0], "o-", label=name)
    axes[1].set_title("beside their values at one pixel's distance")
    axes[1].legend()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    output_folder.add_options(parser, "figures")
    options = parser.parse_args()
    output_folder.make(parser, options)
    for draw in (clusters, curves, geometry, images, matrices, minimisers, texture):
        figure, axes = pyplot.subplots(1, 2, figsize=(9, 3.6))
        draw(axes)
        figure.savefig(options.output / f"{draw.__name__}.png", bbox_inches="tight", dpi=70, metadata={"Software": None})
        pyplot.close(figure)


if __name__ == "__main__":
    main()
