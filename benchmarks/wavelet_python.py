"""Times the peers of wavelet_benchmark in Python: PyWavelets' stationary transform and scikit-image's denoising."""

import os

os.environ["OMP_NUM_THREADS"] = "1"

import time

import numpy
import pywt
import skimage
from skimage.restoration import denoise_wavelet


def least_milliseconds(work):
    times = []
    for _ in range(7):
        start = time.process_time()
        work()
        times.append(time.process_time() - start)
    return 1000.0 * min(times)


image = 100.0 + 20.0 * numpy.random.default_rng(5).standard_normal((512, 512))
transform = least_milliseconds(lambda: pywt.swt2(image, "bior3.1", 4))
print(f"PyWavelets {pywt.__version__}, swt2 of 512 x 512, four levels: {transform:.1f} ms")
denoising = least_milliseconds(
    lambda: denoise_wavelet(image / 255.0, wavelet="sym4", wavelet_levels=4, method="BayesShrink", mode="soft")
)
print(f"scikit-image {skimage.__version__}, denoise_wavelet (decimated, BayesShrink): {denoising:.1f} ms")
