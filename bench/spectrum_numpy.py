#!/usr/bin/python3
"""The spectrum of one 4096-point complex block written with numpy, as a user would without the
library: window multiply, np.fft.fft, abs, fftshift, 20*log10. Prints name<TAB>seconds."""
import os
import timeit

import numpy as np

n = 4096
rng = np.random.default_rng(1)
x = (rng.normal(0, 0.3, n) + 1j * rng.normal(0, 0.3, n)).astype(np.complex64)
k = np.arange(n)
# Flat-top window (the library's default for the command line), normalised to unit sum.
a = [1.0, 1.93, 1.29, 0.388, 0.028]
w = sum((-1) ** i * c * np.cos(2 * np.pi * i * k / (n - 1)) for i, c in enumerate(a))
w = (w / w.sum()).astype(np.float32)


def spectrum():
    return 20.0 * np.log10(np.abs(np.fft.fftshift(np.fft.fft(x * w))) + 1e-40)


spectrum()
reps = 200 if os.environ.get("OMBREL_BENCH_QUICK") == "1" else 2000
best = min(timeit.repeat(spectrum, number=reps, repeat=5)) / reps
print(f"numpy_spectrum_4096\t{best:.9e}")
