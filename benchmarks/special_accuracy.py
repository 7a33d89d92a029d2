#!/usr/bin/env python3
"""Prints the table of special functions in docs/accuracy.md: largest errors against mpmath (Debian: python3-mpmath).

    PYTHONPATH=build/release/python python3 benchmarks/special_accuracy.py [ARGUMENTS]      20,000 random ones of each range
"""

import sys

import mpmath
import numpy as np
from mth import special

mpmath.mp.dps = 40
random = np.random.default_rng(1)


def between(low, high, count):
    """Arguments in single precision, which every function takes exactly."""
    return random.uniform(low, high, count).astype(np.float32).astype(np.float64)


def betainc(x):
    return special.betainc(2.5, 0.75, x)


def spacing_at(value, is_single):
    """The unit of the last place beside an exact value, in the precision that the function answers in."""
    return float(np.spacing(np.float32(abs(value)) if is_single else np.float64(abs(value))))


FUNCTIONS = [  # name, range, ours, the exact one, whether the error is relative
    ("`Mth_Gamma`", (0.01, 171.0), special.gamma, mpmath.gamma, True),
    ("`Mth_LogarithmGamma`", (0.01, 1.0), special.log_gamma, mpmath.loggamma, False),
    ("`Mth_LogarithmGamma`", (3.0, 1e6), special.log_gamma, mpmath.loggamma, True),
    ("`Mth_ErrorFunction`", (-5.0, 5.0), special.erf, mpmath.erf, False),
    ("`Mth_ComplementaryErrorFunction`", (-5.0, 25.0), special.erfc, mpmath.erfc, True),
    ("`Mth_IncompleteBeta`, a = 2.5, b = 0.75", (0.001, 0.999), betainc,
     lambda x: mpmath.betainc(2.5, 0.75, 0, x, regularized=True), True),
]


def main(count=20000):
    print("| function | range | error | largest | at | units of the last place | at |\n|---|---|---|---|---|---|---|")
    for name, (low, high), ours, exact, is_relative in FUNCTIONS:
        x = between(low, high, count)
        worst, most = (0.0, 0.0), (0.0, 0.0)
        for value, argument in zip(ours(x), x.tolist()):
            truth = exact(mpmath.mpf(argument))
            difference = abs(mpmath.mpf(float(value)) - truth)
            worst = max(worst, (float(difference / (abs(truth) if is_relative else 1)), argument))
            most = max(most, (float(difference) / spacing_at(truth, name == "`Mth_ErrorFunction`"), argument))
        print(f"| {name} | {low:g} to {high:g} | {'relative' if is_relative else 'absolute'} | {worst[0]:.2g} "
              f"| `{worst[1].hex()}` | {most[0]:.2g} | `{most[1].hex()}` |")


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
