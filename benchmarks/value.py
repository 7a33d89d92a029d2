#!/usr/bin/python3
"""What the volume denoising and the division into tissues are worth, beside public tools, as the tables of value.md.

    apt-get install mricron-data python3-nibabel python3-scipy python3-dipy python3-nipy python3-skimage \\
                    python3-sklearn python3-opencv libinsighttoolkit5-dev      # data and peers; each peer is optional
    cmake -S benchmarks/value_n4 -B build/value_n4 -DCMAKE_BUILD_TYPE=Release && cmake --build build/value_n4
    /usr/bin/python3 benchmarks/value.py build/release/benchmarks/value [--n4 build/value_n4/value_n4]

The truth is a phantom: fractions of CSF, grey and white matter from the Colin-27 head of Debian's mricron-data (the
middle half of the way between two tissues' grey levels counts as a mixture), shone upon with contrasts, fields and
seeds of its own. Nothing of it was used to set a constant of the library: those were looked at in the other half of the
head. Peers get the true deviation of the noise; the library estimates it.
"""
import argparse
import os
import subprocess
import sys
import tempfile
import time

import numpy as np
import nibabel
from scipy import ndimage

for variable in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS"):
    os.environ.setdefault(variable, "1")

TEMPLATES = "/usr/share/mricron/templates/"
LEVELS = (38, 85, 114)  # grey levels of CSF, grey and white matter in the template
PART = np.s_[100:142, :, 48:124]
CONTRASTS = {"A": ((220, 600, 1000), 21), "B": ((300, 700, 950), 22)}


def optional(name):
    try:
        return __import__(name, fromlist=["x"])
    except ImportError:
        return None


class Bench:
    """Raw files between this script and the program."""

    def __init__(self, program, n4):
        self.program = program
        self.n4 = n4
        self.folder = tempfile.mkdtemp(prefix="mth_value_") + "/"
        self.size = None

    def save(self, name, values):
        np.asarray(values, np.float32).ravel(order="F").tofile(self.folder + name)

    def load(self, name, size=None):
        return np.fromfile(self.folder + name, np.float32).reshape(size or self.size, order="F")

    def run(self, command, *arguments):
        words = [self.program, command, *(str(a) for a in arguments)]
        return subprocess.run(words, check=True, capture_output=True, text=True).stdout.split()

    def make(self):
        brain = np.asarray(nibabel.load(TEMPLATES + "ch2bet.nii.gz").dataobj).astype(np.float32)
        head = np.asarray(nibabel.load(TEMPLATES + "ch2.nii.gz").dataobj).astype(np.float32)
        # The template's brain mask leaves CSF out: what is between its folds is let in again, as CSF at most, and two
        # voxels of CSF around it.
        closed = ndimage.binary_closing(np.pad(brain > 0, 8), iterations=6)[8:-8, 8:-8, 8:-8]
        closed = ndimage.binary_fill_holes(closed)
        around = ndimage.binary_dilation(closed, iterations=2) & ~closed
        inside = np.clip(np.where(brain > 0, head, np.minimum(head, 60)), 1, None)
        self.save("brain.f32", np.where(around, LEVELS[0], np.where(closed, inside, 0)))
        self.run("make", *brain.shape, self.folder + "brain.f32", "-", *LEVELS, self.folder)
        parts = [self.load(f"fraction_{k}.f32", brain.shape)[PART] for k in range(3)]
        self.size = parts[0].shape
        for k in range(3):
            self.save(f"fraction_{k}.f32", parts[k])
        self.save("head.f32", head[PART] / LEVELS[2])
        self.fractions = np.stack(parts)
        self.mask = self.fractions.sum(0) > 0.5

    def scan(self, contrast, bias, noise, seed):
        self.run("scan", *self.size, self.folder, self.folder + "head.f32", *contrast, bias, noise, seed)
        return self.load("noisy.f32").astype(np.float64), self.load("clean.f32").astype(np.float64)

    def denoise(self, image):
        self.save("in.f32", image)
        seconds, deviation = self.run("denoise", *self.size, *(self.folder + n for n in ("in.f32", "out.f32", "q.f32")), 0)
        return self.load("out.f32").astype(np.float64), float(seconds), float(deviation)

    def segment(self):
        words = self.run("segment", *self.size, 1, 1, 1, self.folder + "out.f32", self.folder + "q.f32", self.folder)
        return np.stack([self.load(f"found_{k}.f32") for k in range(3)]), float(words[0])

    def correct(self, image):
        """N4 of ITK, with the mask."""
        self.save("n4_in.f32", image)
        self.save("n4_mask.f32", self.mask)
        start = time.time()
        subprocess.run([self.n4, *map(str, self.size), *(self.folder + n for n in ("n4_in.f32", "n4_mask.f32", "n4_out.f32"))],
                       check=True, capture_output=True)
        return self.load("n4_out.f32").astype(np.float64), time.time() - start


def psnr(image, truth, mask, peak):
    return 10 * np.log10(peak**2 / np.mean((image[mask] - truth[mask]) ** 2))


def ssim(image, truth, mask, peak):
    metrics = optional("skimage.metrics")
    if metrics is None:
        return float("nan")
    _, everywhere = metrics.structural_similarity(truth, image, data_range=peak, full=True)
    return everywhere[mask].mean()


def without_excess(mean, sigma):
    """Signal of a filtered magnitude image, for filters that know no Rician noise."""
    return np.sqrt(np.maximum(mean**2 - sigma**2, 0))


def denoisers(wide):
    """Name and function(noisy, sigma) of each peer."""
    found = {}
    dipy = optional("dipy.denoise.nlmeans")
    restoration = optional("skimage.restoration")
    cv2 = optional("cv2")
    if dipy:
        for radius in (2, 5) if wide else (2,):
            found[f"dipy nlmeans, radius {radius}"] = lambda y, s, r=radius: dipy.nlmeans(
                y, sigma=s, patch_radius=1, block_radius=r, rician=True, num_threads=1)
    if restoration and wide:
        found["scikit-image nl_means"] = lambda y, s: without_excess(
            restoration.denoise_nl_means(y, patch_size=3, patch_distance=2, h=0.7 * s, sigma=s, fast_mode=True), s)
        found["scikit-image tv"] = lambda y, s: without_excess(restoration.denoise_tv_chambolle(y, weight=1.2 * s), s)
        found["scikit-image wavelet"] = lambda y, s: without_excess(
            restoration.denoise_wavelet(y, sigma=s, rescale_sigma=False), s)
    if cv2 and wide:
        def planes(y, s):
            scale = 255 / y.max()
            return without_excess(np.stack([cv2.fastNlMeansDenoising(np.uint8(np.clip(p * scale, 0, 255)), None,
                                                                     float(0.8 * s * scale), 3, 11)
                                            for p in np.moveaxis(y, 2, 0)], axis=2) / scale, s)
        found["OpenCV fastNlMeans, planes"] = planes
    return found


def fuzzy_means(v):
    """Plain fuzzy c-means, m = 2, from the quantiles."""
    c = np.quantile(v, (1 / 6, 1 / 2, 5 / 6))
    for _ in range(60):
        u = 1 / ((v[:, None] - c) ** 2 + 1e-9)
        u /= u.sum(1, keepdims=True)
        w = u**2
        c = (w * v[:, None]).sum(0) / w.sum(0)
    return u[:, np.argsort(c)]


def classifiers(slow):
    """Name and function(image, mask) of each peer: fractions of the voxels of the mask."""
    found = {"fuzzy c-means (numpy)": lambda x, m: fuzzy_means(x[m])}
    mixture = optional("sklearn.mixture")
    cluster = optional("sklearn.cluster")
    filters = optional("skimage.filters")
    hmrf = optional("dipy.segment.tissue")
    nipy = optional("nipy.algorithms.segmentation")
    if mixture:
        def gaussians(x, m):
            v = x[m][:, None]
            start = np.quantile(v, (1 / 6, 1 / 2, 5 / 6))[:, None]
            model = mixture.GaussianMixture(3, means_init=start, random_state=0).fit(v[::4])
            return model.predict_proba(v)[:, np.argsort(model.means_[:, 0])]
        found["scikit-learn GaussianMixture"] = gaussians
    if cluster:
        def means(x, m):
            v = x[m][:, None]
            model = cluster.KMeans(3, n_init=3, random_state=0).fit(v[::4])
            return np.eye(3)[np.argsort(np.argsort(model.cluster_centers_[:, 0]))[model.predict(v)]]
        found["scikit-learn KMeans"] = means
    if filters:
        found["scikit-image multi-Otsu"] = lambda x, m: np.eye(3)[np.digitize(x[m], filters.threshold_multiotsu(x[m], 3))]
    if hmrf and slow:
        def markov(x, m):
            _, _, pve = hmrf.TissueClassifierHMRF(verbose=False).classify(np.where(m, x, 0), 3, 0.1)
            return pve[m]
        found["dipy HMRF"] = markov
    if nipy and slow:
        found["nipy BrainT1Segmentation"] = lambda x, m: nipy.BrainT1Segmentation(
            x, mask=m, model="5k", niters=10, beta=0.2, convert=True).ppm[m][:, :3]
    return found


def scores(found, bench):
    """Mean Dice and mean error of fractions; found is voxels of the mask x 3."""
    truth = bench.fractions[:, bench.mask].T
    a, b = truth.argmax(1), found.argmax(1)
    dice = np.mean([2 * np.sum((a == k) & (b == k)) / max(1, np.sum(a == k) + np.sum(b == k)) for k in range(3)])
    return dice, np.abs(truth - found).mean()


def quality_table(bench, contrast, seed):
    peak = max(contrast)
    csf = bench.fractions[0] > 0.999
    print("\n| noise | method | PSNR, dB | SSIM | CSF (%d) | seconds | deviation |\n|---|---|---|---|---|---|---|" % contrast[0])
    for noise in (3, 9, 15):
        noisy, clean = bench.scan(contrast, 0, noise, seed)
        sigma = noise / 100 * peak

        def row(name, image, seconds, deviation="", truth=clean):
            print(f"| {noise} % | {name} | {psnr(image, clean, bench.mask, peak):.2f} | "
                  f"{ssim(image, truth, bench.mask, peak):.3f} | {image[csf].mean():.0f} | {seconds} | {deviation} |", flush=True)

        row("none", noisy, "")
        image, seconds, found = bench.denoise(noisy)
        row("mth", image, f"{seconds:.1f}", f"{found:.1f} of {sigma:.1f}")
        image, seconds, found = bench.denoise(np.where(bench.mask, noisy, 0))
        row("mth, without skull", image, f"{seconds:.1f}", f"{found:.1f} of {sigma:.1f}", np.where(bench.mask, clean, 0))
        for name, method in denoisers(True).items():
            start = time.time()
            image = method(noisy, sigma)
            row(name, image, f"{time.time() - start:.1f}")


def tissue_table(bench, contrast, seed, noises, fields, slow):
    chains = [(d, n, c) for d in list(denoisers(False)) + ["none"] for n in ([False, True] if bench.n4 else [False])
              for c in classifiers(slow)]
    print(f"\n{len(chains)} chains of public tools\n\n| noise | field | mth Dice | best public | chain | mth error of fractions | "
          "best public | chain | mth s | of that chain |\n|---|---|---|---|---|---|---|---|---|---|")
    for noise in noises:
        for field in fields:
            noisy, _ = bench.scan(contrast, field, noise, seed)
            _, first, _ = bench.denoise(noisy)
            found, second = bench.segment()
            dice, error = scores(found[:, bench.mask].T, bench)
            best = {"dice": (-1, "", 0), "error": (9, "", 0)}
            prepared = {}
            for name, n4, classifier in chains:
                if (name, n4) not in prepared:
                    start = time.time()
                    image = noisy if name == "none" else denoisers(False)[name](noisy, noise / 100 * max(contrast))
                    if n4:
                        image, _ = bench.correct(image)
                    prepared[name, n4] = (image, time.time() - start)
                image, seconds = prepared[name, n4]
                start = time.time()
                try:
                    peer = scores(classifiers(slow)[classifier](image, bench.mask), bench)
                except Exception as failure:  # a peer that gives up loses the cell
                    print(f"{classifier}: {failure}", file=sys.stderr)
                    continue
                seconds += time.time() - start
                text = ", ".join([name] * (name != "none") + ["N4"] * n4 + [classifier])
                if peer[0] > best["dice"][0]:
                    best["dice"] = (peer[0], text, seconds)
                if peer[1] < best["error"][0]:
                    best["error"] = (peer[1], text, seconds)
            print(f"| {noise} % | {100 * field:.0f} % | {dice:.4f} | {best['dice'][0]:.4f} | {best['dice'][1]} | {error:.4f} | "
                  f"{best['error'][0]:.4f} | {best['error'][1]} | {first + second:.1f} | {best['dice'][2]:.1f} |", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--n4", help="the program of ITK's field correction, where it was built")
    parser.add_argument("--tables", default="quality,tissues,slow", help="which of them")
    options = parser.parse_args()
    bench = Bench(options.program, options.n4)
    bench.make()
    print(f"{bench.size} voxels, {bench.mask.sum()} in the brain")
    contrast, seed = CONTRASTS["A"]
    if "quality" in options.tables:
        quality_table(bench, contrast, seed)
    if "tissues" in options.tables:
        tissue_table(bench, contrast, seed, (1, 3, 5, 9, 15), (0, 0.2, 0.4), False)
    if "slow" in options.tables:
        contrast, seed = CONTRASTS["B"]
        tissue_table(bench, contrast, seed, (3, 9), (0.4,), True)


if __name__ == "__main__":
    main()
