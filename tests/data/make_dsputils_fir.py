#!/usr/bin/python3
"""Golden taps for the FIR designs of DSPUtils (LowPass, HighPass, BandPass).

scipy.signal.firwin with a symmetric Hamming window and scale=True is the window method with
unit gain at the centre of the pass band (DC, Nyquist, band centre). Frequencies are given
with fs=1, i.e. normalised to the sample rate. Output: one line per design,
    kind count f1 f2 tap0 tap1 ...
written with 17 significant digits. Run: /usr/bin/python3 make_dsputils_fir.py > dsputils_fir.txt
"""
import scipy.signal as ss

cases = [
    ("low", 5, 0.1, 0.0), ("low", 31, 0.2, 0.0), ("low", 64, 0.05, 0.0), ("low", 127, 0.37, 0.0),
    ("high", 5, 0.3, 0.0), ("high", 31, 0.25, 0.0), ("high", 101, 0.1, 0.0), ("high", 33, 0.45, 0.0),
    ("band", 5, 0.1, 0.3), ("band", 32, 0.15, 0.2), ("band", 63, 0.05, 0.45), ("band", 128, 0.2, 0.3),
]
for kind, n, f1, f2 in cases:
    if kind == "low":
        h = ss.firwin(n, f1, window="hamming", pass_zero=True, scale=True, fs=1.0)
    elif kind == "high":
        h = ss.firwin(n, f1, window="hamming", pass_zero=False, scale=True, fs=1.0)
    else:
        h = ss.firwin(n, [f1, f2], window="hamming", pass_zero=False, scale=True, fs=1.0)
    print(kind, n, repr(f1), repr(f2), " ".join("%.17g" % v for v in h))
