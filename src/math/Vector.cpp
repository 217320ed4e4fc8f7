#define KIVO_SOURCE_UNIT "src/math/Vector"

#include <ombrel/math/Vector.h>

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>

#include "kernels/Error.h"
#include "kernels/SelfTest.h"
#include "kernels/VectorAccess.h"
#include "kernels/VectorKernels.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace Kivo {

using kernels::VectorAccess;

namespace {

// Byte count for the memory report; saturates instead of wrapping for absurd requests.
int ReportBytes(int n, int elementBytes) {
    const long long bytes = static_cast<long long>(n) * elementBytes;
    return bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
}

[[noreturn]] void AllocFailed(int n, int elementBytes, const char* note) {
    DumpKivoMemoryAllocError(ReportBytes(n, elementBytes), note);
    KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
}

template <class V>
auto* D(const V& v) {
    return VectorAccess::Data(v);
}
template <class V>
int N(const V& v) {
    return VectorAccess::Size(v);
}

// Equal when identical (this covers infinities), both NaN, or within the tolerance in double.
bool Close(double a, double b, double tolerance) {
    if (a == b || (std::isnan(a) && std::isnan(b))) return true;
    return std::fabs(a - b) <= tolerance;
}

template <class V>
bool IsEqualReal(const V& a, const V& b, float tolerance) {
    if (N(a) != N(b)) return false;
    for (int k = 0; k < N(a); ++k) {
        const double x = D(a)[k], y = D(b)[k];
        if (!Close(x, y, tolerance)) {
            std::printf("\n==>>%.15f, Expected %.15f<<==", x, y);
            return false;
        }
    }
    return true;
}

// A mismatching complex element is reported by the part that differs (the real part first).
template <class V>
bool IsEqualCplx(const V& a, const V& b, float tolerance) {
    if (N(a) != N(b)) return false;
    for (int k = 0; k < N(a); ++k) {
        const double xr = D(a)[k].re, yr = D(b)[k].re, xi = D(a)[k].im, yi = D(b)[k].im;
        if (!Close(xr, yr, tolerance)) {
            std::printf("\n==>>%.15f, Expected %.15f<<==", xr, yr);
            return false;
        }
        if (!Close(xi, yi, tolerance)) {
            std::printf("\n==>>%.15f, Expected %.15f<<==", xi, yi);
            return false;
        }
    }
    return true;
}

FILE* OpenDump(const char* path) {
    FILE* f = path ? std::fopen(path, "w") : nullptr;
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    return f;
}

template <class V>
void DumpRealFile(const V& v, const char* path, bool verbose) {
    FILE* f = OpenDump(path);
    for (int k = 0; k < N(v); ++k)
        std::fprintf(f, "%10d        %.20f\n", k, static_cast<double>(D(v)[k]));
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
}

template <class V>
void DumpCplxFile(const V& v, const char* path, bool verbose) {
    FILE* f = OpenDump(path);
    for (int k = 0; k < N(v); ++k)
        std::fprintf(f, "%10d    %.20f  %.20f\n", k, static_cast<double>(D(v)[k].re),
                     static_cast<double>(D(v)[k].im));
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
}

inline void PrintElement(int k, float x) {
    std::printf("\n [%2d]= %g", k, static_cast<double>(x));
}
inline void PrintElement(int k, double x) {
    std::printf("\n [%2d]= %g", k, x);
}
inline void PrintElement(int k, Cplx32 z) {
    std::printf("\n [%2d]= %g  %g ", k, static_cast<double>(z.re), static_cast<double>(z.im));
}
inline void PrintElement(int k, Cplx64 z) {
    std::printf("\n [%2d]= %g  %g ", k, z.re, z.im);
}

// Long vectors print their first and last n elements around a dotted line.
template <class V>
void DumpConsole(const V& v, int n) {
    const int size = N(v);
    if (n >= 0 && static_cast<long long>(size) > 2LL * n) {
        for (int k = 0; k < n; ++k)
            PrintElement(k, D(v)[k]);
        std::printf("\n.................");
        for (int k = size - n; k < size; ++k)
            PrintElement(k, D(v)[k]);
    } else {
        for (int k = 0; k < size; ++k)
            PrintElement(k, D(v)[k]);
    }
}

// Real extremes. Empty views and ranges leave the outputs untouched.
template <class V, typename T>
void ExtremeIndex(const V& v, bool max, T& value, int& index, int start, int length) {
    const T* x = D(v) + start;
    const int i = max ? kernels::MaxIndex(x, length) : kernels::MinIndex(x, length);
    if (i < 0) return;
    value = x[i];
    index = i + start;
}

template <class V, typename T>
T ExtremeValue(const V& v, bool max, int start, int length) {
    T value = T(0);
    int index = 0;
    ExtremeIndex(v, max, value, index, start, length);
    return value;
}

template <class V, typename C>
void CplxExtreme(const V& v, bool max, C& value, int& index) {
    const int i = max ? kernels::MaxMagIndex(D(v), N(v)) : kernels::MinMagIndex(D(v), N(v));
    if (i < 0) return;
    value = D(v)[i];
    index = i;
}

}  // namespace

// =============================================================================================
// VecReal32

VecReal32::VecReal32() : BaseVector<float>(0) {}
VecReal32::VecReal32(int n) : BaseVector<float>(0) {
    Create(n);
}
VecReal32::VecReal32(const VecReal32& other) : BaseVector<float>(0) {
    Create(other.size);
    kernels::Copy(other.data, data, size);
}
VecReal32::VecReal32(const VecReal64& other) : BaseVector<float>(0) {
    Create(N(other));
    kernels::Convert(D(other), data, size);
}
VecReal32& VecReal32::operator=(const VecReal32& other) {
    if (this == &other) return *this;
    Del();
    Create(other.size);
    kernels::Copy(other.data, data, size);
    return *this;
}
VecReal32::~VecReal32() = default;

void VecReal32::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocReal32(n);
    if (!buffer) AllocFailed(n, 4, "Failed KivoAllocReal32");
}

void VecReal32::Import(const float* src, int n) {
    Resize(n);
    kernels::Copy(src, data, n);
}
void VecReal32::Import(const double* src, int n) {
    Resize(n);
    kernels::Convert(src, data, n);
}
void VecReal32::Import(const VecReal64& src) {
    Import(D(src), N(src));
}
void VecReal32::Export(float* dst, int n) const {
    kernels::Copy(data, dst, n);
}
void VecReal32::Export(double* dst, int n) const {
    kernels::Convert(data, dst, n);
}

void VecReal32::Add(const VecReal32& other) {
    kernels::AddInPlace(other.data, data, size);
}
void VecReal32::Sub(const VecReal32& other) {
    kernels::SubInPlace(other.data, data, size);
}
void VecReal32::Mul(const VecReal32& other) {
    kernels::MulInPlace(other.data, data, size);
}
void VecReal32::Div(const VecReal32& other) {
    if (kernels::DivInPlace(other.data, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
void VecReal32::Add(const float& value) {
    kernels::AddCInPlace(value, data, size);
}
void VecReal32::Sub(const float& value) {
    kernels::SubCInPlace(value, data, size);
}
void VecReal32::Mul(const float& value) {
    kernels::MulCInPlace(value, data, size);
}
void VecReal32::Div(const float& value) {
    if (!kernels::DivCInPlace(value, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
VecReal32& VecReal32::operator+=(const VecReal32& other) {
    return Add(other), *this;
}
VecReal32& VecReal32::operator-=(const VecReal32& other) {
    return Sub(other), *this;
}
VecReal32& VecReal32::operator*=(const VecReal32& other) {
    return Mul(other), *this;
}
VecReal32& VecReal32::operator/=(const VecReal32& other) {
    return Div(other), *this;
}
VecReal32& VecReal32::operator+=(const float& value) {
    return Add(value), *this;
}
VecReal32& VecReal32::operator-=(const float& value) {
    return Sub(value), *this;
}
VecReal32& VecReal32::operator*=(const float& value) {
    return Mul(value), *this;
}
VecReal32& VecReal32::operator/=(const float& value) {
    return Div(value), *this;
}

float VecReal32::Max() const {
    return ExtremeValue<VecReal32, float>(*this, true, 0, size);
}
float VecReal32::Min() const {
    return ExtremeValue<VecReal32, float>(*this, false, 0, size);
}
float VecReal32::Max(int start, int length) const {
    return ExtremeValue<VecReal32, float>(*this, true, start, length);
}
float VecReal32::Min(int start, int length) const {
    return ExtremeValue<VecReal32, float>(*this, false, start, length);
}
void VecReal32::Max(float& value, int& index) const {
    ExtremeIndex(*this, true, value, index, 0, size);
}
void VecReal32::Min(float& value, int& index) const {
    ExtremeIndex(*this, false, value, index, 0, size);
}
void VecReal32::Max(float& value, int& index, int start, int length) const {
    ExtremeIndex(*this, true, value, index, start, length);
}
void VecReal32::Min(float& value, int& index, int start, int length) const {
    ExtremeIndex(*this, false, value, index, start, length);
}
float VecReal32::Mean() const {
    return size > 0 ? static_cast<float>(kernels::Sum(data, size) / size) : 0.0f;
}
float VecReal32::Sum() const {
    return static_cast<float>(kernels::Sum(data, size));
}
float VecReal32::StdDev() const {
    return static_cast<float>(kernels::StdDev(data, size));
}
float VecReal32::Var() const {
    const float s = StdDev();
    return s * s;
}

bool VecReal32::IsEqual(const VecReal32& other, float tolerance) const {
    return IsEqualReal(*this, other, tolerance);
}
void VecReal32::Dump(const char* path, bool verbose) const {
    DumpRealFile(*this, path, verbose);
}
void VecReal32::Dump(int n) const {
    DumpConsole(*this, n);
}

// =============================================================================================
// VecReal64

VecReal64::VecReal64() : BaseVector<double>(0) {}
VecReal64::VecReal64(int n) : BaseVector<double>(0) {
    Create(n);
}
VecReal64::VecReal64(const VecReal64& other) : BaseVector<double>(0) {
    Create(other.size);
    kernels::Copy(other.data, data, size);
}
VecReal64::VecReal64(const VecReal32& other) : BaseVector<double>(0) {
    Create(N(other));
    kernels::Convert(D(other), data, size);
}
VecReal64& VecReal64::operator=(const VecReal64& other) {
    if (this == &other) return *this;
    Del();
    Create(other.size);
    kernels::Copy(other.data, data, size);
    return *this;
}
VecReal64& VecReal64::operator=(const VecReal32& other) {
    Del();
    Create(N(other));
    kernels::Convert(D(other), data, size);
    return *this;
}
VecReal64::~VecReal64() = default;

void VecReal64::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocReal64(n);
    if (!buffer) AllocFailed(n, 8, "Failed KivoAllocReal64");
}

void VecReal64::Import(const double* src, int n) {
    Resize(n);
    kernels::Copy(src, data, n);
}
void VecReal64::Import(const float* src, int n) {
    Resize(n);
    kernels::Convert(src, data, n);
}
void VecReal64::Import(const VecReal32& src) {
    Import(D(src), N(src));
}
void VecReal64::Export(double* dst, int n) const {
    kernels::Copy(data, dst, n);
}

void VecReal64::Add(const VecReal64& other) {
    kernels::AddInPlace(other.data, data, size);
}
void VecReal64::Sub(const VecReal64& other) {
    kernels::SubInPlace(other.data, data, size);
}
void VecReal64::Mul(const VecReal64& other) {
    kernels::MulInPlace(other.data, data, size);
}
void VecReal64::Div(const VecReal64& other) {
    if (kernels::DivInPlace(other.data, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
void VecReal64::Add(const double& value) {
    kernels::AddCInPlace(value, data, size);
}
void VecReal64::Sub(const double& value) {
    kernels::SubCInPlace(value, data, size);
}
void VecReal64::Mul(const double& value) {
    kernels::MulCInPlace(value, data, size);
}
void VecReal64::Div(const double& value) {
    if (!kernels::DivCInPlace(value, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
VecReal64& VecReal64::operator+=(const VecReal64& other) {
    return Add(other), *this;
}
VecReal64& VecReal64::operator-=(const VecReal64& other) {
    return Sub(other), *this;
}
VecReal64& VecReal64::operator*=(const VecReal64& other) {
    return Mul(other), *this;
}
VecReal64& VecReal64::operator/=(const VecReal64& other) {
    return Div(other), *this;
}
VecReal64& VecReal64::operator+=(const double& value) {
    return Add(value), *this;
}
VecReal64& VecReal64::operator-=(const double& value) {
    return Sub(value), *this;
}
VecReal64& VecReal64::operator*=(const double& value) {
    return Mul(value), *this;
}
VecReal64& VecReal64::operator/=(const double& value) {
    return Div(value), *this;
}

double VecReal64::Max() const {
    return ExtremeValue<VecReal64, double>(*this, true, 0, size);
}
double VecReal64::Min() const {
    return ExtremeValue<VecReal64, double>(*this, false, 0, size);
}
double VecReal64::Max(int start, int length) const {
    return ExtremeValue<VecReal64, double>(*this, true, start, length);
}
double VecReal64::Min(int start, int length) const {
    return ExtremeValue<VecReal64, double>(*this, false, start, length);
}
void VecReal64::Max(double& value, int& index) const {
    ExtremeIndex(*this, true, value, index, 0, size);
}
void VecReal64::Min(double& value, int& index) const {
    ExtremeIndex(*this, false, value, index, 0, size);
}
void VecReal64::Max(double& value, int& index, int start, int length) const {
    ExtremeIndex(*this, true, value, index, start, length);
}
void VecReal64::Min(double& value, int& index, int start, int length) const {
    ExtremeIndex(*this, false, value, index, start, length);
}
double VecReal64::Mean() const {
    return size > 0 ? kernels::Sum(data, size) / size : 0.0;
}
double VecReal64::Sum() const {
    return kernels::Sum(data, size);
}
double VecReal64::StdDev() const {
    return kernels::StdDev(data, size);
}
double VecReal64::Var() const {
    const double s = StdDev();
    return s * s;
}

bool VecReal64::IsEqual(const VecReal64& other, float tolerance) const {
    return IsEqualReal(*this, other, tolerance);
}
void VecReal64::Dump(const char* path, bool verbose) const {
    DumpRealFile(*this, path, verbose);
}
void VecReal64::Dump(int n) const {
    DumpConsole(*this, n);
}

// =============================================================================================
// VecCplx32

VecCplx32::VecCplx32() : BaseVector<Cplx32>(0) {}
VecCplx32::VecCplx32(int n) : BaseVector<Cplx32>(0) {
    Create(n);
}
VecCplx32::VecCplx32(const VecCplx32& other) : BaseVector<Cplx32>(0) {
    Create(other.size);
    kernels::Copy(other.data, data, size);
}
VecCplx32::VecCplx32(const VecCplx64& other) : BaseVector<Cplx32>(0) {
    Create(N(other));
    if (size > 0)
        kernels::Convert(reinterpret_cast<const double*>(D(other)), reinterpret_cast<float*>(data),
                         2 * size);
}
VecCplx32::VecCplx32(const VecReal32& re) : BaseVector<Cplx32>(0) {
    Create(N(re));
    kernels::RealToCplx(D(re), static_cast<const float*>(nullptr), data, size);
}
VecCplx32::VecCplx32(const VecReal32& re, const VecReal32& im) : BaseVector<Cplx32>(0) {
    Create(N(re));
    kernels::RealToCplx(D(re), D(im), data, size);
}
VecCplx32& VecCplx32::operator=(const VecCplx32& other) {
    if (this == &other) return *this;
    Del();
    Create(other.size);
    kernels::Copy(other.data, data, size);
    return *this;
}
VecCplx32::~VecCplx32() = default;

void VecCplx32::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocCplx32(n);
    if (!buffer) AllocFailed(n, 8, "Failed KivoAllocCplx32");
}

void VecCplx32::Import(const Cplx32* src, int n) {
    Resize(n);
    kernels::Copy(src, data, n);
}
void VecCplx32::Import(const float* src, int n) {
    Resize(n);
    if (n > 0) kernels::Copy(src, reinterpret_cast<float*>(data), 2 * n);
}
void VecCplx32::Import(const VecReal32& src) {
    Resize(N(src));
    kernels::RealToCplx(D(src), static_cast<const float*>(nullptr), data, size);
}
void VecCplx32::Import(const float* re, const float* im, int n) {
    Resize(n);
    kernels::RealToCplx(re, im, data, n);
}
void VecCplx32::Import(const VecReal32& re, const VecReal32& im) {
    Import(D(re), D(im), N(re));
}
void VecCplx32::Import(const double* re, const double* im, int n) {
    Resize(n);
    kernels::RealToCplx(re, im, data, n);
}

void VecCplx32::Export(Cplx32* dst, int n) const {
    kernels::Copy(data, dst, n);
}
void VecCplx32::Export(float* re, float* im, int n) const {
    kernels::CplxToReal(data, re, im, n);
}
void VecCplx32::Export(double* re, double* im, int n) const {
    kernels::CplxToReal(data, re, im, n);
}
void VecCplx32::GetReal(VecReal32& out) const {
    out.Resize(size);
    kernels::CplxToReal(data, D(out), static_cast<float*>(nullptr), size);
}
void VecCplx32::GetImag(VecReal32& out) const {
    out.Resize(size);
    kernels::CplxToReal(data, static_cast<float*>(nullptr), D(out), size);
}

void VecCplx32::Add(const VecCplx32& other) {
    kernels::AddInPlace(other.data, data, size);
}
void VecCplx32::Sub(const VecCplx32& other) {
    kernels::SubInPlace(other.data, data, size);
}
void VecCplx32::Mul(const VecCplx32& other) {
    kernels::MulInPlace(other.data, data, size);
}
void VecCplx32::Div(const VecCplx32& other) {
    if (kernels::DivInPlace(other.data, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
void VecCplx32::Add(const Cplx32& value) {
    kernels::AddCInPlace(value, data, size);
}
void VecCplx32::Sub(const Cplx32& value) {
    kernels::SubCInPlace(value, data, size);
}
void VecCplx32::Mul(const Cplx32& value) {
    kernels::MulCInPlace(value, data, size);
}
void VecCplx32::Mul(const float& value) {
    if (size > 0) kernels::MulCInPlace(value, reinterpret_cast<float*>(data), 2 * size);
}
void VecCplx32::Div(const Cplx32& value) {
    if (!kernels::DivCInPlace(value, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
void VecCplx32::Sub(const VecCplx32& other, int at, int from, int n) {
    kernels::SubInPlace(other.data + from, data + at, n);
}
VecCplx32& VecCplx32::operator+=(const VecCplx32& other) {
    return Add(other), *this;
}
VecCplx32& VecCplx32::operator-=(const VecCplx32& other) {
    return Sub(other), *this;
}
VecCplx32& VecCplx32::operator*=(const VecCplx32& other) {
    return Mul(other), *this;
}
VecCplx32& VecCplx32::operator/=(const VecCplx32& other) {
    return Div(other), *this;
}
VecCplx32& VecCplx32::operator+=(const Cplx32& value) {
    return Add(value), *this;
}
VecCplx32& VecCplx32::operator-=(const Cplx32& value) {
    return Sub(value), *this;
}
VecCplx32& VecCplx32::operator*=(const Cplx32& value) {
    return Mul(value), *this;
}
VecCplx32& VecCplx32::operator*=(const float& value) {
    return Mul(value), *this;
}
VecCplx32& VecCplx32::operator/=(const Cplx32& value) {
    return Div(value), *this;
}

Cplx32 VecCplx32::Sum() const {
    const Cplx64 s = kernels::Sum(data, size);
    return Cplx32{static_cast<float>(s.re), static_cast<float>(s.im)};
}
Cplx32 VecCplx32::Mean() const {
    if (size < 1) return Cplx32{0.0f, 0.0f};
    const Cplx64 s = kernels::Sum(data, size);
    return Cplx32{static_cast<float>(s.re / size), static_cast<float>(s.im / size)};
}
void VecCplx32::Max(Cplx32& value, int& index) const {
    CplxExtreme(*this, true, value, index);
}
void VecCplx32::Min(Cplx32& value, int& index) const {
    CplxExtreme(*this, false, value, index);
}
Cplx32 VecCplx32::Max() const {
    Cplx32 value{0.0f, 0.0f};
    int index = 0;
    Max(value, index);
    return value;
}
Cplx32 VecCplx32::Min() const {
    Cplx32 value{0.0f, 0.0f};
    int index = 0;
    Min(value, index);
    return value;
}

bool VecCplx32::IsEqual(const VecCplx32& other, float tolerance) const {
    return IsEqualCplx(*this, other, tolerance);
}
void VecCplx32::Dump(const char* path, bool verbose) const {
    DumpCplxFile(*this, path, verbose);
}
void VecCplx32::Dump(int n) const {
    DumpConsole(*this, n);
}

// =============================================================================================
// VecCplx64

VecCplx64::VecCplx64() : BaseVector<Cplx64>(0) {}
VecCplx64::VecCplx64(int n) : BaseVector<Cplx64>(0) {
    Create(n);
}
VecCplx64::VecCplx64(const VecCplx64& other) : BaseVector<Cplx64>(0) {
    Create(other.size);
    kernels::Copy(other.data, data, size);
}
VecCplx64::VecCplx64(const VecCplx32& other) : BaseVector<Cplx64>(0) {
    Create(N(other));
    if (size > 0)
        kernels::Convert(reinterpret_cast<const float*>(D(other)), reinterpret_cast<double*>(data),
                         2 * size);
}
VecCplx64::VecCplx64(const VecReal64& re) : BaseVector<Cplx64>(0) {
    Create(N(re));
    kernels::RealToCplx(D(re), static_cast<const double*>(nullptr), data, size);
}
VecCplx64::VecCplx64(const VecReal64& re, const VecReal64& im) : BaseVector<Cplx64>(0) {
    Create(N(re));
    kernels::RealToCplx(D(re), D(im), data, size);
}
VecCplx64& VecCplx64::operator=(const VecCplx64& other) {
    if (this == &other) return *this;
    Del();
    Create(other.size);
    kernels::Copy(other.data, data, size);
    return *this;
}
VecCplx64::~VecCplx64() = default;

void VecCplx64::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocCplx64(n);
    if (!buffer) AllocFailed(n, 16, "Failed KivoAllocCplx64");
}

void VecCplx64::Import(const Cplx64* src, int n) {
    Resize(n);
    kernels::Copy(src, data, n);
}
void VecCplx64::Import(const double* src, int n) {
    Resize(n);
    if (n > 0) kernels::Copy(src, reinterpret_cast<double*>(data), 2 * n);
}
void VecCplx64::Import(const VecReal64& src) {
    Resize(N(src));
    kernels::RealToCplx(D(src), static_cast<const double*>(nullptr), data, size);
}
void VecCplx64::Import(const double* re, const double* im, int n) {
    Resize(n);
    kernels::RealToCplx(re, im, data, n);
}
void VecCplx64::Import(const VecReal64& re, const VecReal64& im) {
    Import(D(re), D(im), N(re));
}
void VecCplx64::Import(const float* re, const float* im, int n) {
    Resize(n);
    kernels::RealToCplx(re, im, data, n);
}

void VecCplx64::Export(Cplx64* dst, int n) const {
    kernels::Copy(data, dst, n);
}
void VecCplx64::Export(double* re, double* im, int n) const {
    kernels::CplxToReal(data, re, im, n);
}
void VecCplx64::Export(float* re, float* im, int n) const {
    kernels::CplxToReal(data, re, im, n);
}
void VecCplx64::GetReal(VecReal64& out) const {
    out.Resize(size);
    kernels::CplxToReal(data, D(out), static_cast<double*>(nullptr), size);
}
void VecCplx64::GetImag(VecReal64& out) const {
    out.Resize(size);
    kernels::CplxToReal(data, static_cast<double*>(nullptr), D(out), size);
}

void VecCplx64::Add(const VecCplx64& other) {
    kernels::AddInPlace(other.data, data, size);
}
void VecCplx64::Sub(const VecCplx64& other) {
    kernels::SubInPlace(other.data, data, size);
}
void VecCplx64::Mul(const VecCplx64& other) {
    kernels::MulInPlace(other.data, data, size);
}
void VecCplx64::Div(const VecCplx64& other) {
    if (kernels::DivInPlace(other.data, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
void VecCplx64::Add(const Cplx64& value) {
    kernels::AddCInPlace(value, data, size);
}
void VecCplx64::Sub(const Cplx64& value) {
    kernels::SubCInPlace(value, data, size);
}
void VecCplx64::Mul(const Cplx64& value) {
    kernels::MulCInPlace(value, data, size);
}
void VecCplx64::Mul(const double& value) {
    if (size > 0) kernels::MulCInPlace(value, reinterpret_cast<double*>(data), 2 * size);
}
void VecCplx64::Div(const Cplx64& value) {
    if (!kernels::DivCInPlace(value, data, size)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
}
VecCplx64& VecCplx64::operator+=(const VecCplx64& other) {
    return Add(other), *this;
}
VecCplx64& VecCplx64::operator-=(const VecCplx64& other) {
    return Sub(other), *this;
}
VecCplx64& VecCplx64::operator*=(const VecCplx64& other) {
    return Mul(other), *this;
}
VecCplx64& VecCplx64::operator/=(const VecCplx64& other) {
    return Div(other), *this;
}
VecCplx64& VecCplx64::operator+=(const Cplx64& value) {
    return Add(value), *this;
}
VecCplx64& VecCplx64::operator-=(const Cplx64& value) {
    return Sub(value), *this;
}
VecCplx64& VecCplx64::operator*=(const Cplx64& value) {
    return Mul(value), *this;
}
VecCplx64& VecCplx64::operator*=(const double& value) {
    return Mul(value), *this;
}
VecCplx64& VecCplx64::operator/=(const Cplx64& value) {
    return Div(value), *this;
}

Cplx64 VecCplx64::Sum() const {
    return kernels::Sum(data, size);
}
Cplx64 VecCplx64::Mean() const {
    if (size < 1) return Cplx64{0.0, 0.0};
    const Cplx64 s = kernels::Sum(data, size);
    return Cplx64{s.re / size, s.im / size};
}
void VecCplx64::Max(Cplx64& value, int& index) const {
    CplxExtreme(*this, true, value, index);
}
void VecCplx64::Min(Cplx64& value, int& index) const {
    CplxExtreme(*this, false, value, index);
}
Cplx64 VecCplx64::Max() const {
    Cplx64 value{0.0, 0.0};
    int index = 0;
    Max(value, index);
    return value;
}
Cplx64 VecCplx64::Min() const {
    Cplx64 value{0.0, 0.0};
    int index = 0;
    Min(value, index);
    return value;
}

bool VecCplx64::IsEqual(const VecCplx64& other, float tolerance) const {
    return IsEqualCplx(*this, other, tolerance);
}
void VecCplx64::Dump(const char* path, bool verbose) const {
    DumpCplxFile(*this, path, verbose);
}
void VecCplx64::Dump(int n) const {
    DumpConsole(*this, n);
}

// =============================================================================================
// Self-tests

namespace {

// A file name of this process in the temporary directory, removed by the destructor.
struct TempFile {
    explicit TempFile(const char* tag) {
        path = (std::filesystem::temp_directory_path() /
                ("ombrel_selftest_" + std::to_string(::getpid()) + "_" + tag))
                   .string();
    }
    ~TempFile() {
        std::error_code ec;
        std::filesystem::remove(path, ec);
    }
    std::string path;
};

template <typename F>
int ThrownCode(F&& f) {
    try {
        f();
    } catch (const KivoException& e) {
        return e.code;
    }
    return 0;
}

}  // namespace

bool VecReal32::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecReal32";
    const float src[5] = {1.0f, -2.0f, 3.5f, 0.25f, 8.0f};
    {
        VecReal32 a;
        a.Import(src, 5);
        VecReal32 b(a);
        b[0] = 9.0f;
        VecReal32 c(2);
        c = a;
        const VecReal32& alias = c;
        c = alias;
        kernels::Record(recorder, ok, cls, "deep copy and self-assignment",
                        a[0] == 1.0f && b[0] == 9.0f && c.GetSize() == 5 && c[4] == 8.0f &&
                            c.GetCapacity() == 5);
    }
    {
        VecReal32 a, b;
        a.Import(src, 5);
        b.Import(src, 5);
        a += b;
        a -= 1.0f;
        a *= b;
        a /= 2.0f;
        // ((x + x) - 1) * x / 2
        bool match = true;
        for (int k = 0; k < 5; ++k)
            match = match && a[k] == (src[k] + src[k] - 1.0f) * src[k] / 2.0f;
        kernels::Record(recorder, ok, cls, "in-place arithmetic", match);
    }
    {
        VecReal32 v(4);
        v.SetZero();
        kernels::Record(recorder, ok, cls, "division by a zero constant throws 8001",
                        ThrownCode([&] { v.Div(0.0f); }) == KIVO_DIVIDE_BY_ZERO_ERROR);
        const float n[2] = {1.0f, 2.0f}, d[2] = {1.0f, 0.0f};
        VecReal32 a, b;
        a.Import(n, 2);
        b.Import(d, 2);
        const int code = ThrownCode([&] { a.Div(b); });
        kernels::Record(recorder, ok, cls, "division by a zero element throws 8001 after storing",
                        code == KIVO_DIVIDE_BY_ZERO_ERROR && a[0] == 1.0f && std::isinf(a[1]));
    }
    {
        const float x[8] = {0, 1, 2, 3, 4, 9, 6, 7};
        VecReal32 v;
        v.Import(x, 8);
        float value = 0.0f;
        int index = -1;
        v.Max(value, index, 3, 4);
        kernels::Record(recorder, ok, cls, "ranged Max returns a whole-vector index",
                        value == 9.0f && index == 5 && v.Max(3, 4) == 9.0f && v.Min() == 0.0f);
    }
    {
        const float x[4] = {1, 2, 3, 4};
        VecReal32 v;
        v.Import(x, 4);
        kernels::Record(recorder, ok, cls, "Sum, Mean, StdDev, Var",
                        v.Sum() == 10.0f && v.Mean() == 2.5f &&
                            std::fabs(v.StdDev() - 1.2909944f) < 1e-6f &&
                            std::fabs(v.Var() - 5.0f / 3.0f) < 1e-6f);
    }
    {
        TempFile file("r32");
        VecReal32 a, b;
        a.Import(src, 5);
        a.Store(file.path.c_str());
        b.Load(file.path.c_str());
        kernels::Record(recorder, ok, cls, "Store and Load round trip", b.IsEqual(a, 0.0f));
        VecReal64 wrong;
        kernels::Record(recorder, ok, cls, "a VecReal32 file does not load into VecReal64",
                        ThrownCode([&] { wrong.Load(file.path.c_str()); }) == KIVO_FILE_TYPE_ERROR);
    }
    return ok;
}

bool VecReal64::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecReal64";
    const double src[4] = {1.5, -2.0, 1e300, 0.125};
    {
        VecReal64 a;
        a.Import(src, 4);
        VecReal32 narrow(a);
        VecReal64 wide;
        wide = narrow;
        kernels::Record(recorder, ok, cls, "conversions saturate and widen",
                        narrow[2] == 3.40282347e38f && wide[0] == 1.5 && wide[3] == 0.125);
    }
    {
        VecReal64 a, b;
        a.Import(src, 4);
        b.Import(src, 4);
        a.Sub(b);
        kernels::Record(recorder, ok, cls, "Sub of itself gives zeros",
                        a.Max() == 0.0 && a.Min() == 0.0 && a.Sum() == 0.0);
        double value = 0.0;
        int index = -1;
        b.Min(value, index);
        kernels::Record(recorder, ok, cls, "Min with index", value == -2.0 && index == 1);
        kernels::Record(recorder, ok, cls, "division by a zero constant throws 8001",
                        ThrownCode([&] { b /= 0.0; }) == KIVO_DIVIDE_BY_ZERO_ERROR);
    }
    {
        const double x[3] = {2, 4, 9};
        VecReal64 v;
        v.Import(x, 3);
        kernels::Record(recorder, ok, cls, "Mean and StdDev",
                        v.Mean() == 5.0 && std::fabs(v.StdDev() - std::sqrt(13.0)) < 1e-12);
    }
    {
        TempFile file("r64");
        VecReal64 a, b;
        a.Import(src, 4);
        a.Store(file.path.c_str());
        b.Load(file.path.c_str());
        kernels::Record(recorder, ok, cls, "Store and Load round trip", b.IsEqual(a, 0.0f));
    }
    return ok;
}

bool VecCplx32::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecCplx32";
    {
        const Cplx32 z[3] = {{0, 0}, {3, 4}, {4, 3}};
        VecCplx32 v;
        v.Import(z, 3);
        Cplx32 value{};
        int index = -1;
        v.Max(value, index);
        kernels::Record(recorder, ok, cls, "Max by magnitude, ties to the first",
                        index == 1 && value.re == 3.0f && value.im == 4.0f);
        v.Min(value, index);
        kernels::Record(recorder, ok, cls, "Min by magnitude", index == 0 && value.re == 0.0f);
    }
    {
        const Cplx32 a[2] = {{1, 2}, {3, -1}}, b[2] = {{-2, 0.5f}, {0.25f, 4}};
        VecCplx32 x, y;
        x.Import(a, 2);
        y.Import(b, 2);
        x *= y;
        // (1+2j)(-2+0.5j) = -3 - 3.5j; (3-j)(0.25+4j) = 4.75 + 11.75j
        kernels::Record(
            recorder, ok, cls, "complex product",
            x[0].re == -3.0f && x[0].im == -3.5f && x[1].re == 4.75f && x[1].im == 11.75f);
        x /= y;
        kernels::Record(recorder, ok, cls, "complex quotient undoes the product",
                        std::fabs(x[0].re - 1.0f) < 1e-6f && std::fabs(x[1].im + 1.0f) < 1e-6f);
        kernels::Record(recorder, ok, cls, "division by 0+0j throws 8001",
                        ThrownCode([&] {
                            x /= Cplx32{0.0f, 0.0f};
                        }) == KIVO_DIVIDE_BY_ZERO_ERROR);
    }
    {
        const float re[3] = {1, 2, 3}, im[3] = {-1, -2, -3};
        VecCplx32 v;
        v.Import(re, im, 3);
        VecReal32 r, i;
        v.GetReal(r);
        v.GetImag(i);
        const Cplx32 s = v.Sum(), m = v.Mean();
        kernels::Record(recorder, ok, cls, "split, join, Sum and Mean",
                        r.GetSize() == 3 && r[2] == 3.0f && i[1] == -2.0f && s.re == 6.0f &&
                            s.im == -6.0f && m.re == 2.0f && m.im == -2.0f);
    }
    {
        TempFile file("c32");
        const Cplx32 z[3] = {{1, 2}, {3, 4}, {5, 6}};
        VecCplx32 v, w, part;
        v.Import(z, 3);
        v.Store(file.path.c_str(), 1.5f, -2.0f, 3.25f);
        int length = 0;
        float p1 = 0, p2 = 0, p3 = 0;
        w.Load(file.path.c_str(), length, p1, p2, p3);
        part.Load(file.path.c_str(), 1, 2);
        kernels::Record(recorder, ok, cls, "Store and Load with parameters and in part",
                        w.IsEqual(v, 0.0f) && length == 3 && p1 == 1.5f && p2 == -2.0f &&
                            p3 == 3.25f && part.GetSize() == 2 && part[0].re == 3.0f &&
                            part[1].im == 6.0f && std::filesystem::file_size(file.path) == 132);
    }
    return ok;
}

bool VecCplx64::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecCplx64";
    {
        const Cplx64 a[2] = {{1, 2}, {3, -1}};
        VecCplx64 x;
        x.Import(a, 2);
        VecCplx64 y(x);
        y *= 2.0;
        y -= Cplx64{1, 1};
        x += y;
        kernels::Record(recorder, ok, cls, "in-place arithmetic",
                        x[0].re == 2.0 && x[0].im == 5.0 && x[1].re == 8.0 && x[1].im == -4.0);
        VecCplx32 narrow(x);
        VecCplx64 wide(narrow);
        kernels::Record(recorder, ok, cls, "conversions", wide.IsEqual(x, 0.0f));
    }
    {
        VecReal64 re(2), im(2);
        re[0] = 1;
        re[1] = 0;
        im[0] = 0;
        im[1] = 0;
        VecCplx64 x(re, im);
        VecCplx64 y(re);
        kernels::Record(
            recorder, ok, cls, "division by a zero element throws 8001",
            ThrownCode([&] { x.Div(y); }) == KIVO_DIVIDE_BY_ZERO_ERROR && x[0].re == 1.0);
    }
    {
        TempFile file("c64");
        const Cplx64 z[2] = {{1e-300, 2}, {3, -4}};
        VecCplx64 v, w;
        v.Import(z, 2);
        v.Store(file.path.c_str());
        w.Load(file.path.c_str());
        kernels::Record(recorder, ok, cls, "Store and Load round trip", w.IsEqual(v, 0.0f));
    }
    return ok;
}

}  // namespace Kivo
