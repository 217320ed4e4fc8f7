#!/usr/bin/python3
"""Throughput of `ombrel spectrum --average 64` over a 256 MiB cf32 capture (64 MiB in quick
mode), reported as seconds per 4096-sample block so that it compares directly with
Spectrum::Apply on one block. Prints name<TAB>seconds."""
import os
import subprocess
import tempfile
import time

import numpy as np

build = os.environ["OMBREL_BENCH_BUILD"]
tool = os.path.join(build, "tools", "ombrel", "ombrel")
quick = os.environ.get("OMBREL_BENCH_QUICK") == "1"
mib = 64 if quick else 256
samples = mib * (1 << 20) // 8

with tempfile.TemporaryDirectory() as tmp:
    capture = os.path.join(tmp, "capture.cf32")
    rng = np.random.default_rng(3)
    chunk = 1 << 22
    with open(capture, "wb") as f:
        for start in range(0, samples, chunk):
            m = min(chunk, samples - start)
            rng.normal(0, 0.3, 2 * m).astype(np.float32).tofile(f)
    out = os.path.join(tmp, "trace.csv")
    blocks = samples // 4096
    common = [tool, "spectrum", capture, "--rate", "25e6", "--center", "1e9", "--size", "4096",
              "--out", out]
    # As asked: a power average of 64 blocks per trace over the whole file (one 4096-point
    # trace of CSV per 64 blocks), and the same file reduced to one trace (reading and computing
    # without the volume of text).
    cases = {"cli_average64_per_block": (["--average", "64", "--traces", "all"], blocks // 64),
             "cli_one_trace_per_block": (["--average", str(blocks)], 1)}
    for name, (extra, traces) in cases.items():
        subprocess.run(common + extra, check=True)  # page cache and FFTW wisdom warm
        # A run that is fast because it wrote less is no measurement: one header line and 4096
        # rows per trace.
        with open(out, "rb") as f:
            lines = sum(chunk.count(b"\n") for chunk in iter(lambda: f.read(1 << 20), b""))
        if lines != 1 + 4096 * traces:
            raise SystemExit(f"{name}: {out} has {lines} lines, expected {1 + 4096 * traces}")
        best = float("inf")
        for _ in range(2 if quick else 3):
            t0 = time.perf_counter()
            subprocess.run(common + extra, check=True)
            best = min(best, time.perf_counter() - t0)
        print(f"{name}\t{best / blocks:.9e}")
