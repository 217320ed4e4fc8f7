// Internal access to the storage of the float vector classes, for the library's own generic code
// (the vector members, the file reader and writer) without widening the public interface.
#pragma once

#include <ombrel/math/Vector.h>

namespace Kivo::kernels {

struct VectorAccess {
    template <class V>
    static auto* Data(const V& v) {
        return v.data;
    }
    template <class V>
    static int Size(const V& v) {
        return v.size;
    }
    /// Release (when the length is non-zero) and allocate exactly `n`, as assignment does.
    template <class V>
    static void Recreate(V& v, int n) {
        v.Del();
        v.Create(n);
    }
};

}  // namespace Kivo::kernels
