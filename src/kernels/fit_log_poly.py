# Fits the polynomial R of VecMathLogAvx2.h: ln m = 2s + s^3 R(s^2), s = (m-1)/(m+1), for m in
# [sqrt(1/2), sqrt(2)), minimising the largest relative error of ln m (Lawson's iteratively
# reweighted least squares on a fine grid, reference in long double). Run with /usr/bin/python3
# (needs numpy); prints the coefficients as C hex literals and the error reached.
import numpy as np

smax = (np.sqrt(np.longdouble(2)) - 1) / (np.sqrt(np.longdouble(2)) + 1)
zmax = float(smax * smax)


def r_exact(z):
    s = np.sqrt(z)
    out = np.empty_like(z)
    big = z > 1e-6
    out[big] = (2 * np.arctanh(s[big]) - 2 * s[big]) / s[big] ** 3
    zs = z[~big]
    out[~big] = 2 * (1 / np.longdouble(3) + zs / 5 + zs * zs / 7)
    return out


def fit(degree):
    z = np.linspace(0, zmax, 4000).astype(np.longdouble)
    target = r_exact(z)
    # Error of ln m relative to 2s is (z/2) times the error of R.
    scale = np.maximum(z, 1e-30).astype(float) / 2
    a = np.vander(z.astype(float), degree + 1, increasing=True)
    weights = np.ones_like(scale)
    for _ in range(200):
        w = np.sqrt(weights) * scale
        c, *_ = np.linalg.lstsq(a * w[:, None], target.astype(float) * w, rcond=None)
        err = np.abs(((a.astype(np.longdouble) @ c.astype(np.longdouble) - target) * z / 2)
                     .astype(float))
        weights = weights * err / err.sum() + 1e-300
        weights /= weights.sum()
    return c, err.max()


if __name__ == '__main__':
    c, e = fit(3)
    for i, v in enumerate(c):
        print(f'kLnC{i} = {float(v).hex()}')
    print(f'max relative error of ln m: {e:.3g}')
