#include "kernels/Lapack.h"

#include <dlfcn.h>

namespace Kivo::kernels {

namespace {

template <class F>
bool Bind(void* lib, const char* name, F& f) {
    f = reinterpret_cast<F>(dlsym(lib, name));
    return f != nullptr;
}

const LapackRoutines* Load() {
    // The versioned name is the run-time package's; the plain one covers a LAPACKE installed
    // without it (a development tree).
    void* lib = nullptr;
    for (const char* name : {"liblapacke.so.3", "liblapacke.so"}) {
        lib = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (lib) break;
    }
    if (!lib) return nullptr;
    static LapackRoutines r;
    if (Bind(lib, "LAPACKE_sgetrf", r.sgetrf) && Bind(lib, "LAPACKE_dgetrf", r.dgetrf) &&
        Bind(lib, "LAPACKE_sgetri_work", r.sgetriWork) &&
        Bind(lib, "LAPACKE_dgetri_work", r.dgetriWork))
        return &r;
    dlclose(lib);
    return nullptr;
}

}  // namespace

const LapackRoutines* Lapack() {
    // A function-local static: initialised once, and other threads wait for it.
    static const LapackRoutines* routines = Load();
    return routines;
}

}  // namespace Kivo::kernels
