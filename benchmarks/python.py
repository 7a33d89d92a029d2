"""The Python module beside the libraries that its users would take, each side in a process of its own.

    PYTHONPATH=build/release/python python3 benchmarks/python.py

prints the tables of benchmarks/python.md. Times are those of the processor, medians of repetitions, with one thread each.
"""

import json
import os
import statistics
import subprocess
import sys
import time

import numpy as np

RANDOM = np.random.default_rng(1)


def rosenbrock(p):
    return 100.0 * (p[1] - p[0] ** 2) ** 2 + (1.0 - p[0]) ** 2


def fuzzy_in_numpy(x, start, m, iterations):
    """The formula as scikit-fuzzy writes it."""
    centroids = start
    for _ in range(iterations):
        distances = np.fmax(np.linalg.norm(x[:, None] - centroids, axis=2), np.finfo(float).eps)
        memberships = distances ** (-2.0 / (m - 1))
        memberships /= memberships.sum(axis=1, keepdims=True)
        weights = memberships ** m
        centroids = weights.T @ x / weights.sum(axis=0)[:, None]
    return memberships


def fuzzy():
    import mth
    x = RANDOM.normal(size=(200000, 2))
    start = x[:3]
    return (lambda: mth.fuzzy_c_means(x, 3, init=start, tol=0.0, max_iter=20), lambda: fuzzy_in_numpy(x, start, 2.0, 20))


def k_means():
    import mth
    from sklearn.cluster import KMeans
    x = RANDOM.normal(size=(200000, 3))
    start = x[:8]
    return (lambda: mth.k_means(x, 8, init=start, max_iter=20),
            lambda: KMeans(8, init=start, n_init=1, max_iter=20, tol=0.0, algorithm="lloyd").fit(x))


WAVELET_OPTIONS = {"wavelet": "db1", "method": "BayesShrink", "rescale_sigma": True}  # its own, and named


def rician(truth, deviation):
    return np.hypot(*(truth * part + deviation * RANDOM.normal(size=truth.shape) for part in (1.0, 0.0)))


def disc():
    """A plane of 512 x 512 without noise."""
    radius = np.hypot(*np.meshgrid(*[np.linspace(-1.2, 1.2, 512)] * 2))
    return 100.0 * (radius < 1.0) + 50.0 * (radius < 0.5)


def head():
    """The same of a head, from the middle of what is in data/."""
    import nibabel
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "t1_head_axial.nii.gz")
    return np.squeeze(np.asarray(nibabel.load(path).dataobj, dtype=float))


def denoise_by(method):
    """Both estimate the noise."""
    import mth
    from skimage.restoration import denoise_wavelet
    image = rician(disc(), 8.0)
    return lambda: mth.denoise(image, method), lambda: denoise_wavelet(image, **WAVELET_OPTIONS)


def denoise_quickly():
    return denoise_by("quick")


def denoise_blocks():
    return denoise_by("volume")


def denoise_wavelets():
    return denoise_by("wavelet")


def denoise_everywhere():
    from skimage.restoration import cycle_spin, denoise_wavelet
    image = rician(disc(), 8.0)
    return (denoise_by("wavelet")[0],
            lambda: cycle_spin(image, denoise_wavelet, max_shifts=3, func_kw=WAVELET_OPTIONS, num_workers=1))


def signal_to_noise(image, truth):
    """In dB, of the truth's largest value."""
    return 20.0 * np.log10(truth.max() / np.sqrt(np.mean((image - truth) ** 2)))


def print_quality():
    """What the methods of denoising are worth: means of five images of each kind."""
    import mth
    from skimage.restoration import cycle_spin, denoise_wavelet
    methods = {
        "with its noise": lambda image: image,
        "skimage denoise_wavelet": lambda image: denoise_wavelet(image, **WAVELET_OPTIONS),
        "cycle_spin of it, 16 shifts": lambda image: cycle_spin(image, denoise_wavelet, max_shifts=3, func_kw=WAVELET_OPTIONS,
                                                                num_workers=1),
        **{f"mth.denoise, {method}": lambda image, method=method: mth.denoise(image, method)
           for method in ("quick", "wavelet", "volume")}}
    kinds = {"disc, 5 %": (disc(), 0.05), "disc, 9 %": (disc(), 0.09), "head, 5 %": (head(), 0.05), "head, 9 %": (head(), 0.09)}
    images = {kind: [rician(truth, share * np.percentile(truth, 99)) for _ in range(5)] for kind, (truth, share) in kinds.items()}
    print("\n| | " + " | ".join(kinds) + " |\n|---|" + "---:|" * len(kinds))
    for name, method in methods.items():
        print(f"| {name} | " + " | ".join(
            f"{np.mean([signal_to_noise(method(image), kinds[kind][0]) for image in images[kind]]):.1f}" for kind in kinds) + " |")


def wavelet():
    import mth
    import pywt
    image = RANDOM.normal(size=(512, 512))
    return lambda: mth.redundant_wavelet(image, 3), lambda: pywt.swt2(image, "bior3.1", 3)


def svd():
    import mth
    a = RANDOM.normal(size=(256, 256))
    return lambda: mth.linalg.svd(a), lambda: np.linalg.svd(a)


def solve():
    import mth
    a, b = RANDOM.normal(size=(512, 512)), RANDOM.normal(size=512)
    return lambda: mth.linalg.solve(a, b), lambda: np.linalg.solve(a, b)


def hausdorff():
    import mth
    from scipy.spatial.distance import directed_hausdorff
    a, b = RANDOM.normal(size=(2, 20000, 3))
    return lambda: mth.hausdorff(a, b), lambda: max(directed_hausdorff(a, b)[0], directed_hausdorff(b, a)[0])


def powell():
    import mth
    from scipy.optimize import minimize
    return (lambda: mth.minimise(rosenbrock, [-1.2, 1.0]),
            lambda: minimize(rosenbrock, [-1.2, 1.0], method="Powell", options={"ftol": 1e-8}))


def nelder_mead():
    import mth
    from scipy.optimize import minimize
    return (lambda: mth.minimise(rosenbrock, [-1.2, 1.0], "nelder-mead"),
            lambda: minimize(rosenbrock, [-1.2, 1.0], method="Nelder-Mead", options={"fatol": 1e-8, "xatol": 1e-4}))


def small_solve():
    import mth
    a, b = RANDOM.normal(size=(4, 4)), RANDOM.normal(size=4)
    return lambda: mth.linalg.solve(a, b), lambda: np.linalg.solve(a, b)


def small_inverse():
    import mth
    a = RANDOM.normal(size=(4, 4))
    return lambda: mth.linalg.inv(a), lambda: np.linalg.inv(a)


def small_product():
    import mth
    a = RANDOM.normal(size=(4, 4))
    return lambda: mth.linalg.product(a, a), lambda: a @ a


CASES = {
    "fuzzy c-means, 200,000 x 2, 3 clusters, 20 iterations": (fuzzy, "the formula in NumPy"),
    "k-means, 200,000 x 3, 8 clusters, 20 iterations": (k_means, "scikit-learn KMeans"),
    "denoise, quick, 512 x 512": (denoise_quickly, "skimage denoise_wavelet"),
    "redundant wavelet, 512 x 512, 3 levels": (wavelet, "pywt swt2, bior3.1"),
    "SVD 256": (svd, "numpy.linalg.svd"),
    "solve 512": (solve, "numpy.linalg.solve"),
    "Hausdorff, 20,000 points each": (hausdorff, "scipy directed_hausdorff, twice"),
    "Rosenbrock, Powell": (powell, "scipy Powell"),
    "Rosenbrock, Nelder-Mead": (nelder_mead, "scipy Nelder-Mead"),
    "solve 4 x 4": (small_solve, "numpy.linalg.solve"),
    "inverse 4 x 4": (small_inverse, "numpy.linalg.inv"),
    "product 4 x 4": (small_product, "numpy @"),
}
# Methods that do more than the peer, for better images.
DENOISING = {
    "denoise, volume, which is the default, 512 x 512": (denoise_blocks, "skimage denoise_wavelet"),
    "denoise, wavelet, 512 x 512": (denoise_wavelets, "skimage denoise_wavelet"),
    "the same, beside one that does not depend on the place": (denoise_everywhere, "cycle_spin of it, 16 shifts"),
}


def measure(run):
    """Median seconds of processor time of a run."""
    run()
    once = time.process_time()
    run()
    once = max(time.process_time() - once, 1e-6)
    count = max(1, int(0.02 / once))
    times = []
    for _ in range(9):
        start = time.process_time()
        for _ in range(count):
            run()
        times.append((time.process_time() - start) / count)
    return statistics.median(times)


def text(seconds):
    return f"{1e3 * seconds:.3g} ms" if seconds >= 1e-4 else f"{1e6 * seconds:.2g} µs"


def print_times(cases):
    threads = {name: "1" for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS")}
    print("\n| | mth | peer | | ratio |\n|---|---:|---|---:|---:|")
    for name, (_, peer) in cases.items():
        ours, theirs = (float(subprocess.run([sys.executable, __file__, name, side], env={**os.environ, **threads},
                                             check=True, capture_output=True, text=True).stdout) for side in "01")
        print(f"| {name} | {text(ours)} | {peer} | {text(theirs)} | {ours / theirs:.2f} |", flush=True)


def main():
    if len(sys.argv) == 3:
        print(json.dumps(measure({**CASES, **DENOISING}[sys.argv[1]][0]()[int(sys.argv[2])])))
        return
    print_times(CASES)
    print_times(DENOISING)
    print_quality()


if __name__ == "__main__":
    main()
