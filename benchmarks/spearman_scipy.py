"""Times scipy's Spearman correlation of 1,000,000 pairs, the peer of Spearman/mth in statistics_benchmark."""

import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"

import time

import numpy
import scipy
from scipy.stats import spearmanr

generator = numpy.random.default_rng(5)
x = generator.uniform(-1.0, 1.0, 1_000_000)
y = x + generator.uniform(-1.0, 1.0, 1_000_000)
times = []
for _ in range(7):
    start = time.process_time()
    spearmanr(x, y)
    times.append(time.process_time() - start)
print(f"scipy {scipy.__version__}, spearmanr of 1,000,000 pairs: {1000.0 * min(times):.1f} ms")
