// Window functions: coefficient computation, normalisation, application and noise figures.
#define KIVO_SOURCE_UNIT "src/dsp/Window"

#include <ombrel/dsp/Window.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>

#include "kernels/Error.h"
#include "kernels/SelfTest.h"
#include "kernels/SignalKernels.h"
#include "kernels/VectorAccess.h"
#include "kernels/VectorKernels.h"
#include "kernels/WindowKernels.h"

#include <cmath>
#include <limits>

namespace Kivo {

namespace {

constexpr float kUniformRbw = 0.89f;
constexpr float kHannRbw = 1.44f;
constexpr float kBlackmanHarrisRbw = 1.9f;
constexpr float kFlatTopRbw = 3.77f;
constexpr float kGaussRbw = 1.86f;
constexpr float kGaussAlpha = 3.5f;
constexpr float kKaiserStandardRbw = 2.2292f;
constexpr float kKaiserStandardBeta = 16.71f;
constexpr float kKaiserNarrowRbw = 2.0859f;
constexpr float kKaiserNarrowBeta = 14.6f;

// Raw float views of the vectors' current elements (complex ones as interleaved re, im).
float* Floats(const VecReal32& v) {
    return kernels::VectorAccess::Data(v);
}
float* Floats(const VecCplx32& v) {
    return reinterpret_cast<float*>(kernels::VectorAccess::Data(v));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Window (uniform)

Window::Window() : Window(kUniformRbw) {}

Window::Window(float rbwScalingFactor)
    : coefficients(), size(0), parameter(0.0f), rbwScaling(rbwScalingFactor), reserved(0) {}

Window::Window(int n) : Window(kUniformRbw) {
    Window::SetParameters(n);
}

Window::Window(int n, float param) : Window(kUniformRbw) {
    parameter = param;
    Window::SetParameters(n);
}

Window::Window(const Window& other) = default;
Window& Window::operator=(const Window& other) = default;
Window::~Window() = default;

void Window::SetParameters(int n) {
    if (n <= 0) {
        MakeEmpty();
        return;
    }
    size = n;
    coefficients.Resize(2 * n);
    // 1.0f / N in single precision for all 2N values: no normalisation pass, the sum is 1
    // within the rounding of 1/N.
    const float v = 1.0f / static_cast<float>(n);
    float* c = Floats(coefficients);
    for (int i = 0; i < 2 * n; ++i)
        c[i] = v;
}

void Window::SetParameters(int n, float) {
    Window::SetParameters(n);
}

void Window::MakeEmpty() {
    size = 0;
    // Assigning an empty vector releases the storage; a plain Resize(0) would keep the buffer
    // and leave it unreleased for good (vectors free only while their length is non-zero).
    coefficients = VecReal32();
}

void Window::StoreNormalised(const VecReal32& temp) {
    coefficients.Resize(2 * size);
    float* c = Floats(coefficients);
    kernels::Duplicate(Floats(temp), size, c, 2);
    const float scale = GetNBScaleFactor();
    // A zero scale (only an all-zero shape from a derived class can give one) still divides as
    // IEEE does: x / ±0 and x * ±Inf agree for every x, NaN for x = 0 included.
    if (!kernels::DivCInPlace(scale, c, 2 * size))
        kernels::MulCInPlace(std::copysign(std::numeric_limits<float>::infinity(), scale), c,
                             2 * size);
}

float Window::GetNBScaleFactor() const {
    return 0.5f * static_cast<float>(kernels::Sum(Floats(coefficients), 2 * size));
}

void Window::Apply(VecReal32& out, const VecReal32& in) const {
    const int n = in.GetSize();
    if (n != size) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    if (&out != &in) {
        if (n == 0) {
            out = in;  // releases out's storage rather than stranding it at length 0
            return;
        }
        out.Resize(n);
    }
    kernels::MulStride2(Floats(out), Floats(in), Floats(coefficients), n);
}

void Window::Apply(VecCplx32& out, const VecCplx32& in) const {
    const int n = in.GetSize();
    if (n != size) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    if (&out == &in) {
        kernels::MulInPlace(Floats(coefficients), Floats(out), 2 * n);
        return;
    }
    if (n == 0) {
        out = in;
        return;
    }
    out.Resize(n);
    // The copy and the multiplication are one pass: out = in * w over the 2N interleaved
    // floats, each product rounded once exactly as a copy followed by an in-place multiply.
    kernels::Mul(Floats(in), Floats(coefficients), Floats(out), 2 * n);
}

void Window::Apply(VecCplx32& data) const {
    Apply(data, data);
}

void Window::GetCoefficients(VecReal32& out) const {
    if (size == 0) {
        out = VecReal32();
        return;
    }
    out.Resize(size);
    const float* c = Floats(coefficients);
    float* o = Floats(out);
    for (int i = 0; i < size; ++i)
        o[i] = c[2 * i];
}

float Window::GetENBW() const {
    return kernels::NormalisedEnergyTimesCount(Floats(coefficients), 2 * size);
}

float Window::GetPowerAdjustIndB() const {
    return static_cast<float>(10.0 * std::log10(static_cast<double>(GetENBW())));
}

// ---------------------------------------------------------------------------------------------
// Shapes evaluated from their first half

namespace {

// Computes a symmetric shape of `n` points into a temporary; the caller stores it normalised.
VecReal32 SymmetricTemp(int n, kernels::SymmetricShape shape, float param) {
    VecReal32 temp(n);
    kernels::SymmetricWindow(Floats(temp), n, shape, param);
    return temp;
}

}  // namespace

HannWindow::HannWindow() : Window(kHannRbw) {}
HannWindow::HannWindow(int n) : Window(kHannRbw) {
    HannWindow::SetParameters(n);
}
HannWindow::~HannWindow() = default;

void HannWindow::SetParameters(int n) {
    if (n <= 0) return MakeEmpty();
    size = n;
    StoreNormalised(SymmetricTemp(n, kernels::SymmetricShape::Hann, 0.0f));
}

void HannWindow::SetParameters(int n, float) {
    parameter = 0.0f;
    SetParameters(n);
}

BlackmanHarrisWindow::BlackmanHarrisWindow() : Window(kBlackmanHarrisRbw) {}
BlackmanHarrisWindow::BlackmanHarrisWindow(int n) : Window(kBlackmanHarrisRbw) {
    BlackmanHarrisWindow::SetParameters(n);
}
BlackmanHarrisWindow::~BlackmanHarrisWindow() = default;

void BlackmanHarrisWindow::SetParameters(int n) {
    if (n <= 0) return MakeEmpty();
    size = n;
    StoreNormalised(SymmetricTemp(n, kernels::SymmetricShape::BlackmanHarris, 0.0f));
}

void BlackmanHarrisWindow::SetParameters(int n, float) {
    parameter = 0.0f;
    SetParameters(n);
}

FlatTopWindow::FlatTopWindow() : Window(kFlatTopRbw) {}
FlatTopWindow::FlatTopWindow(int n) : Window(kFlatTopRbw) {
    FlatTopWindow::SetParameters(n);
}
FlatTopWindow::~FlatTopWindow() = default;

void FlatTopWindow::SetParameters(int n) {
    if (n <= 0) return MakeEmpty();
    size = n;
    StoreNormalised(SymmetricTemp(n, kernels::SymmetricShape::FlatTop, 0.0f));
}

void FlatTopWindow::SetParameters(int n, float) {
    parameter = 0.0f;
    SetParameters(n);
}

GaussWindow::GaussWindow() : Window(kGaussRbw) {
    parameter = kGaussAlpha;
}
GaussWindow::GaussWindow(int n) : Window(kGaussRbw) {
    GaussWindow::SetParameters(n);
}
GaussWindow::~GaussWindow() = default;

void GaussWindow::SetParameters(int n) {
    GaussWindow::SetParameters(n, kGaussAlpha);
}

void GaussWindow::SetParameters(int n, float alpha) {
    parameter = alpha;
    if (n <= 0) return MakeEmpty();
    size = n;
    StoreNormalised(SymmetricTemp(n, kernels::SymmetricShape::Gauss, alpha));
}

// ---------------------------------------------------------------------------------------------
// Kaiser

KaiserWindow::KaiserWindow(int n) : Window(kUniformRbw), mode(KAISER_MODE_STANDARD) {
    KaiserWindow::SetParameters(n);
}

KaiserWindow::KaiserWindow(int n, float beta) : Window(kUniformRbw), mode(KAISER_MODE_STANDARD) {
    KaiserWindow::SetParameters(n, beta);
}

KaiserWindow::KaiserWindow(int n, KaiserWindowModeTag m)
    : Window(kUniformRbw), mode(KAISER_MODE_STANDARD) {
    KaiserWindow::SetParameters(n, m);
}

KaiserWindow::KaiserWindow(KaiserWindowModeTag m) : Window(kUniformRbw), mode(m) {
    rbwScaling = (m == KAISER_MODE_NARROW) ? kKaiserNarrowRbw : kKaiserStandardRbw;
}

KaiserWindow::~KaiserWindow() = default;

void KaiserWindow::SetMode(KaiserWindowModeTag m) {
    mode = m;
    if (m == KAISER_MODE_NARROW) {
        parameter = kKaiserNarrowBeta;
        rbwScaling = kKaiserNarrowRbw;
    } else {
        parameter = kKaiserStandardBeta;
        rbwScaling = kKaiserStandardRbw;
    }
}

void KaiserWindow::SetParameters(int n) {
    SetParameters(n, KAISER_MODE_STANDARD);
}

void KaiserWindow::SetParameters(int n, KaiserWindowModeTag m) {
    SetMode(m);
    if (n <= 0) return MakeEmpty();
    size = n;
    Compute();
}

void KaiserWindow::SetParameters(int n, float beta) {
    parameter = beta;
    if (n <= 0) return MakeEmpty();
    size = n;
    Compute();
}

void KaiserWindow::Compute() {
    const int n = size;
    VecReal32 temp(n);
    float* t = Floats(temp);
    for (int i = 0; i < n; ++i)
        t[i] = 1.0f;
    // alpha in single precision, as the window routine takes it; one point has no spread
    // (alpha would be 2 beta / 0) and is the window [1] whatever alpha is.
    const float alpha = n > 1 ? 2.0f * parameter / static_cast<float>(n - 1)
                              : std::numeric_limits<float>::infinity();
    if (kernels::WinKaiserInPlace(t, n, alpha) != kernels::kWinStsNoErr) {
        // I0(beta) is past the single-precision range (beta above about 92): the double
        // routine covers any beta, and its values are converted back to float.
        VecReal64 wide(n);
        double* w = kernels::VectorAccess::Data(wide);
        for (int i = 0; i < n; ++i)
            w[i] = 1.0;
        kernels::WinKaiserInPlace(w, n, static_cast<double>(alpha));
        for (int i = 0; i < n; ++i)
            t[i] = static_cast<float>(w[i]);
    }
    StoreNormalised(temp);
}

// ---------------------------------------------------------------------------------------------
// Self-tests

namespace {

bool SymmetricUnitSum(const Window& w) {
    VecReal32 c;
    w.GetCoefficients(c);
    const int n = c.GetSize();
    if (n != w.GetSize()) return false;
    double s = 0.0;
    for (int i = 0; i < n; ++i) {
        if (c[i] != c[n - 1 - i]) return false;
        s += c[i];
    }
    return std::fabs(s - 1.0) < 1e-5;
}

// N sum(w^2) / (sum w)^2 evaluated directly in double.
double DirectEnbw(const Window& w) {
    VecReal32 c;
    w.GetCoefficients(c);
    double s = 0.0;
    double s2 = 0.0;
    for (int i = 0; i < c.GetSize(); ++i) {
        s += c[i];
        s2 += static_cast<double>(c[i]) * c[i];
    }
    return c.GetSize() * s2 / (s * s);
}

bool ShapeChecks(UnitTestRecorder& r, const char* cls, Window& w, float rbw) {
    bool ok = true;
    bool all = true;
    for (int n : {8, 9, 1024, 1025}) {
        w.SetParameters(n);
        all = all && SymmetricUnitSum(w) && std::fabs(w.GetENBW() - DirectEnbw(w)) < 1e-4;
    }
    kernels::Record(r, ok, cls, "symmetric, unit sum and ENBW for N = 8, 9, 1024, 1025", all);
    kernels::Record(r, ok, cls, "RBW scaling factor", w.GetEffectiveRBWScaling() == rbw);
    VecCplx32 x(1025);
    for (int i = 0; i < 1025; ++i)
        x[i] = Cplx32{1.0f, -2.0f};
    VecCplx32 y;
    w.Apply(y, x);
    VecReal32 c;
    w.GetCoefficients(c);
    bool applied = y.GetSize() == 1025;
    for (int i = 0; applied && i < 1025; ++i)
        applied = y[i].re == c[i] && y[i].im == -2.0f * c[i];
    kernels::Record(r, ok, cls, "Apply multiplies both parts by the window", applied);
    return ok;
}

}  // namespace

bool Window::UnitTest(UnitTestRecorder& r) {
    bool ok = true;
    const char* cls = "Window";
    Window w(4);
    VecReal32 c;
    w.GetCoefficients(c);
    bool quarter = c.GetSize() == 4;
    for (int i = 0; quarter && i < 4; ++i)
        quarter = c[i] == 0.25f;
    kernels::Record(r, ok, cls, "uniform N = 4 holds 0.25", quarter);
    kernels::Record(
        r, ok, cls, "uniform ENBW 1, power adjustment 0 dB",
        std::fabs(w.GetENBW() - 1.0f) < 1e-6f && std::fabs(w.GetPowerAdjustIndB()) < 1e-5f);
    Window u;
    ok = ShapeChecks(r, cls, u, kUniformRbw) && ok;
    Window e(5);
    e.SetParameters(-3);
    kernels::Record(r, ok, cls, "size 0 or less gives an empty window", e.GetSize() == 0);
    bool threw = false;
    try {
        VecCplx32 x(3), y;
        w.Apply(y, x);
    } catch (const KivoException& ex) {
        threw = ex.code == KIVO_INVALID_INPUT_PARAMETER;
    }
    kernels::Record(r, ok, cls, "Apply rejects a block of another length", threw);
    return ok;
}

bool HannWindow::UnitTest(UnitTestRecorder& r) {
    bool ok = true;
    const char* cls = "HannWindow";
    HannWindow w(5);
    VecReal32 c;
    w.GetCoefficients(c);
    const float expect[5] = {0.0f, 0.25f, 0.5f, 0.25f, 0.0f};
    bool five = c.GetSize() == 5;
    for (int i = 0; five && i < 5; ++i)
        five = std::fabs(c[i] - expect[i]) < 1e-7f;
    kernels::Record(r, ok, cls, "N = 5 is 0, 0.25, 0.5, 0.25, 0", five);
    HannWindow big(65536);
    kernels::Record(r, ok, cls, "ENBW near 1.5 at large N",
                    std::fabs(big.GetENBW() - 1.5f) < 1e-3f);
    HannWindow s;
    ok = ShapeChecks(r, cls, s, kHannRbw) && ok;
    return ok;
}

bool BlackmanHarrisWindow::UnitTest(UnitTestRecorder& r) {
    BlackmanHarrisWindow w;
    bool ok = ShapeChecks(r, "BlackmanHarrisWindow", w, kBlackmanHarrisRbw);
    BlackmanHarrisWindow big(65536);
    // Four-term Blackman-Harris: 2.0044 bins of noise bandwidth.
    kernels::Record(r, ok, "BlackmanHarrisWindow", "ENBW near 2.0044 at large N",
                    std::fabs(big.GetENBW() - 2.0044f) < 1e-3f);
    return ok;
}

bool FlatTopWindow::UnitTest(UnitTestRecorder& r) {
    FlatTopWindow w;
    bool ok = ShapeChecks(r, "FlatTopWindow", w, kFlatTopRbw);
    FlatTopWindow f(1025);
    VecReal32 c;
    f.GetCoefficients(c);
    kernels::Record(r, ok, "FlatTopWindow", "ends slightly negative",
                    c[0] < 0.0f && c[1024] < 0.0f);
    return ok;
}

bool GaussWindow::UnitTest(UnitTestRecorder& r) {
    GaussWindow w;
    bool ok = ShapeChecks(r, "GaussWindow", w, kGaussRbw);
    GaussWindow a(64), b(64);
    b.SetParameters(64, 2.0f);
    VecReal32 ca, cb;
    a.GetCoefficients(ca);
    b.GetCoefficients(cb);
    // A smaller alpha is a wider bell: flatter centre, higher ends.
    kernels::Record(r, ok, "GaussWindow", "alpha changes the width",
                    cb[0] > ca[0] && cb[32] < ca[32]);
    return ok;
}

bool KaiserWindow::UnitTest(UnitTestRecorder& r) {
    KaiserWindow w(KAISER_MODE_STANDARD);
    bool ok = ShapeChecks(r, "KaiserWindow", w, kKaiserStandardRbw);
    const char* cls = "KaiserWindow";
    KaiserWindow narrow(256, KAISER_MODE_NARROW);
    KaiserWindow beta(256, 14.6f);
    VecReal32 cn, cb;
    narrow.GetCoefficients(cn);
    beta.GetCoefficients(cb);
    bool same = cn.GetSize() == 256 && cb.GetSize() == 256;
    for (int i = 0; same && i < 256; ++i)
        same = cn[i] == cb[i];
    kernels::Record(r, ok, cls, "narrow mode is beta 14.6 with factor 2.0859",
                    same && narrow.GetEffectiveRBWScaling() == kKaiserNarrowRbw &&
                        beta.GetEffectiveRBWScaling() == kUniformRbw);
    KaiserWindow huge(64, 200.0f);
    VecReal32 ch;
    huge.GetCoefficients(ch);
    bool finite = ch.GetSize() == 64;
    for (int i = 0; finite && i < 64; ++i)
        finite = std::isfinite(ch[i]);
    kernels::Record(r, ok, cls, "large beta computed through double precision", finite);
    return ok;
}

}  // namespace Kivo
