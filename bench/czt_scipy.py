"""scipy.signal's precomputed CZT object on the chirp-Z benchmark case of fft_bench
(N = 4096 complex64 inputs, M = 1001 outputs, rate 1 MHz, start -200 kHz, step 400 Hz).
Prints: name <TAB> seconds per call."""
import os
import timeit

import numpy as np
from scipy.signal import CZT

N, M = 4096, 1001
RATE, START, STEP = 1.0e6, -2.0e5, 400.0
TWO_PI = float(np.float32(6.2831855))  # the library's single-precision 2 pi

rng = np.random.default_rng(1)
x = (rng.random(N) - 0.5 + 1j * (rng.random(N) - 0.5)).astype(np.complex64)
czt = CZT(N, M, w=np.exp(-1j * TWO_PI * STEP / RATE), a=np.exp(1j * TWO_PI * START / RATE))
czt(x)
quick = os.environ.get("OMBREL_BENCH_QUICK") == "1"
number = 50 if quick else 500
best = min(timeit.repeat(lambda: czt(x), number=number, repeat=3)) / number
print(f"czt_4096_1001\t{best:.9g}")
