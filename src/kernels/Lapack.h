// The four LAPACK routines the library uses (LU factorisation and inversion from an LU), reached
// through LAPACKE loaded on first use rather than linked: LAPACKE brings OpenBLAS, LAPACK and the
// Fortran run time with it, whose loading and initialisation cost every program that links the
// library several ms at start-up (ombrel --version: 7.7 ms linked, 4.0 ms loaded on use),
// although only matrix inversion needs them.
#pragma once

#include <lapacke.h>

namespace Kivo::kernels {

struct LapackRoutines {
    lapack_int (*sgetrf)(int, lapack_int, lapack_int, float*, lapack_int, lapack_int*);
    lapack_int (*dgetrf)(int, lapack_int, lapack_int, double*, lapack_int, lapack_int*);
    lapack_int (*sgetriWork)(int, lapack_int, float*, lapack_int, const lapack_int*, float*,
                             lapack_int);
    lapack_int (*dgetriWork)(int, lapack_int, double*, lapack_int, const lapack_int*, double*,
                             lapack_int);
};

/// The routines, loading LAPACKE the first time (thread-safe; the library stays loaded). Null
/// when it cannot be loaded or lacks one of them; the caller reports that.
const LapackRoutines* Lapack();

}  // namespace Kivo::kernels
