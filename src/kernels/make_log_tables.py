# Makes the constants of VecMathLogAvx2.h: the table of invc ~ 1/c and -log_b(invc) for the
# eight subintervals of the reduced argument, the split of log_b(2), and the polynomial q with
# log_b(1 + r) = L r + r^2 q(r), L = log_b(e), for |r| up to the largest reduced argument.
# Each invc is a multiple of 1/32 below 1 and of 1/16 above: with at most five significant bits,
# z * invc - 1 (z a float in the subinterval) needs at most 24 bits, so one FMA gives it exactly.
# Run with /usr/bin/python3 (needs numpy); prints C++ literals and the fit's error.
import struct
from decimal import Decimal, getcontext

import numpy as np

getcontext().prec = 60
OFFSET = 0x3f800000 - 4 * (1 << 20) - (1 << 21) // 3  # see the header for the choice
CENTRE = 4


def f32(x):
    return float(np.float32(x))


def from_bits(b):
    return struct.unpack('<f', struct.pack('<I', b))[0]


def split(v, g):
    """v = hi + lo, hi a multiple of 2^-g (exact products with the exponent), lo a float."""
    hi = Decimal(round(v * (1 << g))) / (1 << g)
    return float(hi), f32(float(v - hi))


def lit(x):
    return f'{x.hex()}f' if x != 0 else '0.0f'


inv_c, r_max = [], 0.0
for i in range(8):
    lo, hi = from_bits(OFFSET + i * (1 << 20)), from_bits(OFFSET + (i + 1) * (1 << 20))
    grid = [k / 32 for k in range(16, 32)] + [k / 16 for k in range(16, 32)]
    ic = 1.0 if i == CENTRE else min(grid, key=lambda g: max(abs(lo * g - 1), abs(hi * g - 1)))
    inv_c.append(ic)
    r_max = max(r_max, abs(lo * ic - 1), abs(hi * ic - 1))
print('// reduced argument |r| <=', r_max)
print('kInvC =', ', '.join(lit(v) for v in inv_c))

for name, scale in (('NaturalLog', Decimal(1)), ('DecimalLog', 1 / Decimal(10).ln())):
    l2hi, l2lo = split(Decimal(2).ln() * scale, 17)
    lhi = f32(float(scale))
    llo = f32(float(scale - Decimal(lhi)))
    t = [split(-Decimal(ic).ln() * scale, 17) for ic in inv_c]
    # q(r) = L (ln(1 + r) - r) / r^2 on Chebyshev points, least maximum error by Lawson's
    # iteratively reweighted least squares, then rounded to float coefficients.
    x = np.cos(np.linspace(0, np.pi, 2001)) * r_max * 1.001
    x = x[np.abs(x) > 1e-9]
    target = np.array([float(((1 + Decimal(v)).ln() - Decimal(v)) * scale / Decimal(v) ** 2)
                       for v in x])
    a = np.vander(x, 5, increasing=True)
    w = np.ones_like(x)
    for _ in range(100):
        c, *_ = np.linalg.lstsq(a * w[:, None], target * w, rcond=None)
        err = np.abs(a @ c - target)
        w = w * np.sqrt(err / err.sum()) + 1e-300
        w /= w.sum()
    c32 = [f32(v) for v in c]
    err32 = np.abs(a @ np.array(c32) - target).max()
    print(f'{name}: kL2Hi {lit(l2hi)} kL2Lo {lit(l2lo)} kLHi {lit(lhi)} kLLo {lit(llo)}')
    print('  kC =', ', '.join(lit(v) for v in c32), f'(max error of q {err32:.3g})')
    print('  kTHi =', ', '.join(lit(h) for h, _ in t))
    print('  kTLo =', ', '.join(lit(l) for _, l in t))
