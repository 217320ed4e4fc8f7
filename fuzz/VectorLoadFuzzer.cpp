// Feeds arbitrary bytes to the vector file reader of one class (OMBREL_FUZZ_CLASS) and, for the
// real single-precision class, to the text importer. Every outcome other than a KivoException
// of the reader's codes, or a clean load, is a finding.
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace Kivo;

namespace {

// The input lives in an anonymous in-memory file reached by path, so no disk is involved.
const char* InputPath(const uint8_t* data, size_t size) {
    static int fd = -1;
    static char path[64];
    if (fd < 0) {
        fd = memfd_create("ombrel_fuzz", 0);
        if (fd < 0) std::abort();
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    }
    if (ftruncate(fd, 0) != 0) std::abort();
    size_t done = 0;
    while (done < size) {
        const ssize_t n = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) std::abort();
        done += static_cast<size_t>(n);
    }
    return path;
}

void Expect(const KivoException& e) {
    switch (e.code) {
        case KIVO_FILE_READ_ERROR:
        case KIVO_FILE_VERSION_ERROR:
        case KIVO_FILE_TYPE_ERROR:
            return;
        default:
            std::fprintf(stderr, "unexpected exception %d %s\n", e.code, e.message);
            std::abort();
    }
}

template <typename F>
void Try(F&& f) {
    try {
        f();
    } catch (const KivoException& e) {
        Expect(e);
    }
}

template <class V>
void CheckLoaded(const V& v, size_t size, size_t elementBytes) {
    // A successful load can only hold what the file carried.
    if (v.GetSize() < 0 || 108 + static_cast<size_t>(v.GetSize()) * elementBytes > size)
        std::abort();
}

// Vectors keep their buffer when their length is 0 at destruction (the storage template's release
// rule); give it back the documented way so that the leak checker sees only real leaks.
template <class V>
void Release(V& v) {
    if (v.GetCapacity() > 0) v.Resize(v.GetCapacity());
}

uint32_t U32(const uint8_t* p) {
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}

// Forms beyond Load(path) that only some classes have.
template <class V>
void MoreForms(V&, const char*, const uint8_t*, size_t) {}

void MoreForms(VecCplx32& v, const char* path, const uint8_t* data, size_t size) {
    Try([&] {
        int length = -1;
        float p1, p2, p3;
        v.Load(path, length, p1, p2, p3);
        CheckLoaded(v, size, sizeof(Cplx32));
        if (length != v.GetSize()) std::abort();
    });
    if (size < 100) return;
    // The range comes from the reserved header bytes: both raw (often absurd) and folded small.
    const int ranges[2][2] = {{static_cast<int>(U32(data + 92)), static_cast<int>(U32(data + 96))},
                              {data[92] % 16, data[96] % 16}};
    for (const auto& r : ranges)
        Try([&] {
            VecCplx32 w;
            struct Releaser {
                VecCplx32& v;
                ~Releaser() { Release(v); }
            } releaser{w};
            w.Load(path, r[0], r[1]);
            if (w.GetSize() != r[1]) std::abort();
        });
}

void MoreForms(VecReal32& v, const char* path, const uint8_t* data, size_t size) {
    Try([&] { v.Import(path, false); });
    if (size > 0) Try([&] { v.Import(path, data[0] % 8, data[size - 1] % 8); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* path = InputPath(data, size);
    OMBREL_FUZZ_CLASS v;
    Try([&] {
        v.Load(path);
        CheckLoaded(v, size, sizeof(v[0]));
    });
    MoreForms(v, path, data, size);
    Release(v);
    return 0;
}
