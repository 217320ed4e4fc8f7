#!/usr/bin/env python3
"""Independent writer and checker of Ombrel vector files, used by tests/math/VectorFileTest.cpp.

  vector_files.py write DIR   writes np_r32.bin, np_r64.bin, np_c32.bin, np_c64.bin, np_empty.bin
  vector_files.py check DIR   checks r32.bin, r64.bin, c32.bin, c64.bin, empty.bin written by the
                              library, header byte for byte and every element

Layout: 64-byte description "<Class>, length=<n>" zero padded, 0x1A at 64, zeros at 65..67,
uint32 version 1 at 68, uint32 type code at 72 (100 VecCplx64, 101 VecReal64, 102 VecCplx32,
103 VecReal32), int32 length at 76, three float32 parameters at 80, zeros at 92..107, then the
elements, all little-endian. Element k of every test vector is
  re(k) = ((37 k) mod 1001 - 500) / 8,   im(k) = ((53 k) mod 997 - 498) / 16
(divided by 3 in double precision for the 64-bit classes), exact in single precision.
"""
import os
import struct
import sys

import numpy as np

CASES = {
    # name: (class, type code, dtype, length, complex, params)
    "r32": ("VecReal32", 103, "<f4", 1000, False, (0.0, 0.0, 0.0)),
    "r64": ("VecReal64", 101, "<f8", 777, False, (0.0, 0.0, 0.0)),
    "c32": ("VecCplx32", 102, "<f4", 513, True, (2.5, 0.0, -7.0)),
    "c64": ("VecCplx64", 100, "<f8", 65, True, (0.0, 0.0, 0.0)),
    "empty": ("VecReal32", 103, "<f4", 0, False, (0.0, 0.0, 0.0)),
}
NUMPY_PARAMS = {"c32": (1.5, -0.25, 1.0e6)}


def expected(dtype, n, cplx):
    k = np.arange(n, dtype=np.int64)
    re = ((37 * k) % 1001 - 500) / 8.0
    im = ((53 * k) % 997 - 498) / 16.0
    if dtype == "<f8":
        re = re / 3.0
        im = im / 3.0
    if not cplx:
        return re.astype(dtype)
    out = np.empty(2 * n, dtype=dtype)
    out[0::2] = re
    out[1::2] = im
    return out


def header(cls, code, n, params):
    desc = ("%s, length=%d" % (cls, n)).encode("ascii")
    h = desc + b"\0" * (64 - len(desc)) + b"\x1a" + b"\0" * 3
    h += struct.pack("<IIi3f", 1, code, n, *params) + b"\0" * 16
    assert len(h) == 108
    return h


def write(d):
    for name, (cls, code, dtype, n, cplx, params) in CASES.items():
        params = NUMPY_PARAMS.get(name, params)
        with open(os.path.join(d, "np_%s.bin" % name), "wb") as f:
            f.write(header(cls, code, n, params))
            f.write(expected(dtype, n, cplx).tobytes())


def check(d):
    bad = 0
    for name, (cls, code, dtype, n, cplx, params) in CASES.items():
        path = os.path.join(d, "%s.bin" % name)
        raw = open(path, "rb").read()
        want = header(cls, code, n, params)
        if raw[:108] != want:
            print("%s: header differs\n got  %r\n want %r" % (path, raw[:108], want))
            bad += 1
            continue
        data = np.frombuffer(raw[108:], dtype=dtype)
        exp = expected(dtype, n, cplx)
        if data.shape != exp.shape or not np.array_equal(data, exp):
            print("%s: %d values read, %d expected, or contents differ" % (path, data.size,
                                                                            exp.size))
            bad += 1
    return 1 if bad else 0


if __name__ == "__main__":
    mode, directory = sys.argv[1], sys.argv[2]
    if mode == "write":
        write(directory)
        sys.exit(0)
    sys.exit(check(directory))
