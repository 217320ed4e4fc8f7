// VecReal32, VecReal64, VecCplx32, VecCplx64: construction and copying, import/export,
// in-place arithmetic and statistics against slow double-precision references, dumps, errors.
#include <gtest/gtest.h>

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "support/TestUtil.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace Kivo;

namespace {

// A vector whose length is 0 keeps its buffer when destroyed (the storage template's release
// rule); tests that end with such a vector give the buffer back the documented way.
template <class V>
void ReleaseBuffer(V& v) {
    v.Resize(v.GetCapacity());
}

const int kLengths[] = {0, 1, 7, 33, 1000, 4097};

using ombrel_test::Catch;
using ombrel_test::ReadFile;

std::vector<float> RandomFloats(int n, unsigned seed) {
    return ombrel_test::RandomUniform(n, seed, -10.0f, 10.0f);
}
std::vector<double> RandomDoubles(int n, unsigned seed) {
    return ombrel_test::RandomUniform(n, seed, -10.0, 10.0);
}

VecReal32 MakeReal32(const std::vector<float>& x) {
    VecReal32 v;
    v.Import(x.data(), static_cast<int>(x.size()));
    return v;
}

template <typename F>
std::string Stdout(F&& f) {
    testing::internal::CaptureStdout();
    f();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

// ---- construction, copying, assignment ----------------------------------------------------------

TEST(Vector, DefaultAndSizedConstruction) {
    VecReal32 a;
    VecCplx64 b;
    EXPECT_EQ(a.GetSize(), 0);
    EXPECT_EQ(a.GetCapacity(), 0);
    EXPECT_EQ(b.GetSize(), 0);
    VecReal32 c(10);
    VecReal64 d(3);
    VecCplx32 e(0);
    VecCplx64 f(5);
    EXPECT_EQ(c.GetSize(), 10);
    EXPECT_EQ(c.GetCapacity(), 10);
    EXPECT_EQ(d.GetSize(), 3);
    EXPECT_EQ(e.GetSize(), 0);
    EXPECT_EQ(f.GetCapacity(), 5);
}

TEST(Vector, CopiesAreDeep) {
    VecReal32 a = MakeReal32({1, 2, 3});
    VecReal32 b(a);
    b[0] = 7;
    EXPECT_EQ(a[0], 1.0f);
    VecCplx32 c(2);
    c[0] = {1, 2};
    c[1] = {3, 4};
    VecCplx32 d(c);
    d[1].im = 9;
    EXPECT_EQ(c[1].im, 4.0f);
    VecReal64 e(2);
    e[0] = 0.5;
    e[1] = 1.5;
    VecReal64 f(e);
    f[0] = 2;
    EXPECT_EQ(e[0], 0.5);
    VecCplx64 g(1);
    g[0] = {1, 1};
    VecCplx64 h(g);
    h[0].re = 0;
    EXPECT_EQ(g[0].re, 1.0);
}

// Copying a narrowed vector copies its view only.
TEST(Vector, CopyTakesTheView) {
    VecReal32 a = MakeReal32({0, 1, 2, 3, 4, 5});
    a.Truncate(2, 3);
    VecReal32 b(a);
    ASSERT_EQ(b.GetSize(), 3);
    EXPECT_EQ(b[0], 2.0f);
    EXPECT_EQ(b[2], 4.0f);
}

TEST(Vector, AssignmentAlwaysReallocatesExactly) {
    VecReal32 big(100);
    VecReal32 small = MakeReal32({1, 2, 3});
    big = small;
    EXPECT_EQ(big.GetSize(), 3);
    EXPECT_EQ(big.GetCapacity(), 3);
    EXPECT_EQ(big[2], 3.0f);
    small[2] = 8;
    EXPECT_EQ(big[2], 3.0f);
    VecCplx64 x(50), y(2);
    y[0] = {1, 2};
    y[1] = {3, 4};
    x = y;
    EXPECT_EQ(x.GetCapacity(), 2);
    EXPECT_EQ(x[1].im, 4.0);
    VecReal64 w(10);
    w = small;  // widening assignment
    EXPECT_EQ(w.GetCapacity(), 3);
    EXPECT_EQ(w[2], 8.0);
}

TEST(Vector, SelfAssignmentLeavesTheVectorUnchanged) {
    VecReal32 a = MakeReal32({1, 2, 3});
    a.Resize(2);  // capacity 3, length 2: a reallocation would show
    const float* before = &a[0];
    VecReal32& alias = a;
    a = alias;
    EXPECT_EQ(&a[0], before);
    EXPECT_EQ(a.GetSize(), 2);
    EXPECT_EQ(a.GetCapacity(), 3);
    EXPECT_EQ(a[1], 2.0f);
    VecCplx32 c(3);
    c[0] = {5, 6};
    VecCplx32& calias = c;
    c = calias;
    EXPECT_EQ(c[0].im, 6.0f);
    VecReal64 d(1);
    d[0] = 4;
    VecReal64& dalias = d;
    d = dalias;
    EXPECT_EQ(d[0], 4.0);
    VecCplx64 e(1);
    e[0] = {7, 8};
    VecCplx64& ealias = e;
    e = ealias;
    EXPECT_EQ(e[0].re, 7.0);
}

TEST(Vector, EmptyVectorsCopyAndAssign) {
    VecReal32 a;
    VecReal32 b(a);
    VecReal32 c(5);
    c = a;
    EXPECT_EQ(b.GetSize(), 0);
    EXPECT_EQ(c.GetSize(), 0);
    EXPECT_EQ(c.GetCapacity(), 0);
    VecCplx32 d;
    VecCplx64 e(d);
    VecCplx32 f(e);
    EXPECT_EQ(f.GetSize(), 0);
    VecReal64 g(a);
    VecReal32 h(g);
    EXPECT_EQ(h.GetSize(), 0);
}

TEST(Vector, PrecisionConversions) {
    const double x[4] = {0.1, -1e39, 1e39, std::numeric_limits<double>::infinity()};
    VecReal64 d;
    d.Import(x, 4);
    VecReal32 f(d);
    EXPECT_EQ(f[0], 0.1f);
    EXPECT_EQ(f[1], -FLT_MAX);
    EXPECT_EQ(f[2], FLT_MAX);
    EXPECT_EQ(f[3], FLT_MAX);
    VecReal64 back(f);
    EXPECT_EQ(back[0], static_cast<double>(0.1f));

    VecCplx64 z(2);
    z[0] = {0.1, -0.2};
    z[1] = {1e40, -1e40};
    VecCplx32 zf(z);
    EXPECT_EQ(zf[0].re, 0.1f);
    EXPECT_EQ(zf[0].im, -0.2f);
    EXPECT_EQ(zf[1].re, FLT_MAX);
    EXPECT_EQ(zf[1].im, -FLT_MAX);
    VecCplx64 zd(zf);
    EXPECT_EQ(zd[0].im, static_cast<double>(-0.2f));
}

TEST(Vector, ComplexFromRealParts) {
    VecReal32 re = MakeReal32({1, 2, 3}), im = MakeReal32({-1, -2, -3, -4});
    VecCplx32 a(re);
    ASSERT_EQ(a.GetSize(), 3);
    EXPECT_EQ(a[2].re, 3.0f);
    EXPECT_EQ(a[2].im, 0.0f);
    VecCplx32 b(re, im);  // length of re governs
    ASSERT_EQ(b.GetSize(), 3);
    EXPECT_EQ(b[1].im, -2.0f);
    VecReal64 r64(re), i64(im);
    VecCplx64 c(r64), d(r64, i64);
    EXPECT_EQ(c[1].im, 0.0);
    EXPECT_EQ(d[2].im, -3.0);
}

// ---- allocation failure ------------------------------------------------------------------------

TEST(Vector, AllocationFailureWritesTheReportAndThrows8000) {
    std::remove("KivoMemoryAllocError.txt");
    KivoException e{};
    {
        kernels::ScopedAllocFailure fail;
        e = Catch([] { VecReal32 v(1000000); });
    }
    EXPECT_EQ(e.code, 8000);
    EXPECT_STREQ(e.message, "memory allocation error");
    EXPECT_NE(std::strstr(e.file, "src/math/Vector"), nullptr);
    const std::string report = ReadFile("KivoMemoryAllocError.txt");
    EXPECT_EQ(report.rfind("System tried to allocate 4000000 bytes.\nFailed KivoAllocReal32 \n", 0),
              0u)
        << report;

    struct Case {
        const char* note;
        const char* bytes;
        void (*make)();
    } cases[] = {
        {"Failed KivoAllocReal64", "80 bytes", [] { VecReal64 v(10); }},
        {"Failed KivoAllocCplx32", "80 bytes", [] { VecCplx32 v(10); }},
        {"Failed KivoAllocCplx64", "160 bytes", [] { VecCplx64 v(10); }},
    };
    for (const auto& c : cases) {
        std::remove("KivoMemoryAllocError.txt");
        kernels::ScopedAllocFailure fail;
        EXPECT_EQ(Catch(c.make).code, 8000);
        const std::string r = ReadFile("KivoMemoryAllocError.txt");
        EXPECT_NE(r.find(c.bytes), std::string::npos) << r;
        EXPECT_NE(r.find(std::string(c.note) + " \n"), std::string::npos) << r;
    }
}

TEST(Vector, AllocationFailureInAssignmentAndImportLeavesAnEmptyVector) {
    VecReal32 src = MakeReal32({1, 2, 3, 4});
    VecReal32 dst(2);
    {
        kernels::ScopedAllocFailure fail;
        EXPECT_EQ(Catch([&] { dst = src; }).code, 8000);
    }
    EXPECT_EQ(dst.GetSize(), 0);
    EXPECT_EQ(dst.GetCapacity(), 0);
    VecCplx32 c(1);
    VecReal32 room(8);
    {
        kernels::ScopedAllocFailure fail;
        EXPECT_EQ(Catch([&] { c.Import(src); }).code, 8000);
        // Within capacity nothing is allocated, so nothing can fail.
        room.Import(&src[0], 4);
        EXPECT_EQ(room.GetSize(), 4);
    }
    EXPECT_EQ(c.GetSize(), 0);
}

// ---- import and export --------------------------------------------------------------------------

TEST(Vector, ImportFollowsTheGrowthRule) {
    const float x[6] = {1, 2, 3, 4, 5, 6};
    VecReal32 v(10);
    const float* buffer = &v[0];
    v.ShiftLeft(3);
    v.Import(x, 4);  // within capacity: same buffer, view restarted
    EXPECT_EQ(&v[0], buffer);
    EXPECT_EQ(v.GetSize(), 4);
    EXPECT_EQ(v.GetCapacity(), 10);
    EXPECT_EQ(v[3], 4.0f);
    VecReal32 w(2);
    w.Import(x, 6);  // growth: exactly 6
    EXPECT_EQ(w.GetCapacity(), 6);
    EXPECT_EQ(w[5], 6.0f);
    w.Import(x, 0);
    EXPECT_EQ(w.GetSize(), 0);
    EXPECT_EQ(w.GetCapacity(), 6);
    ReleaseBuffer(w);
}

TEST(Vector, ImportFromTheVectorsOwnBuffer) {
    VecReal32 v = MakeReal32({0, 1, 2, 3, 4, 5});
    v.Import(&v[2], 3);
    ASSERT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v[0], 2.0f);
    EXPECT_EQ(v[2], 4.0f);
}

TEST(Vector, RealImportExportForms) {
    const double d[3] = {0.5, -1.25, 3e38};
    VecReal32 a;
    a.Import(d, 3);
    EXPECT_EQ(a[1], -1.25f);
    double out[4] = {9, 9, 9, 9};
    a.Export(out, 3);
    EXPECT_EQ(out[0], 0.5);
    EXPECT_EQ(out[2], static_cast<double>(3e38f));
    EXPECT_EQ(out[3], 9.0);
    a.Export(out, 0);  // nothing for n < 1
    a.Export(out, -5);
    EXPECT_EQ(out[0], 0.5);
    float f[3] = {};
    a.Export(f, 3);
    EXPECT_EQ(f[1], -1.25f);
    VecReal64 b;
    b.Import(a);
    EXPECT_EQ(b[1], -1.25);
    b.Import(f, 2);
    EXPECT_EQ(b.GetSize(), 2);
    b.Import(d, 3);
    VecReal32 c;
    c.Import(b);
    EXPECT_EQ(c[0], 0.5f);
    double e[3];
    b.Export(e, 3);
    EXPECT_EQ(e[2], 3e38);
}

TEST(Vector, ComplexImportExportForms) {
    const float inter[6] = {1, -1, 2, -2, 3, -3};
    VecCplx32 a;
    a.Import(inter, 3);
    ASSERT_EQ(a.GetSize(), 3);
    EXPECT_EQ(a[1].re, 2.0f);
    EXPECT_EQ(a[2].im, -3.0f);
    const Cplx32 z[2] = {{5, 6}, {7, 8}};
    a.Import(z, 2);
    EXPECT_EQ(a.GetSize(), 2);
    EXPECT_EQ(a[1].im, 8.0f);
    const float re[3] = {1, 2, 3}, im[3] = {4, 5, 6};
    a.Import(re, im, 3);
    EXPECT_EQ(a[2].im, 6.0f);
    const double dre[2] = {0.1, 0.2}, dim[2] = {1e39, -0.3};
    a.Import(dre, dim, 2);
    EXPECT_EQ(a[0].re, 0.1f);
    EXPECT_EQ(a[0].im, FLT_MAX);
    VecReal32 r = MakeReal32({9, 8}), i = MakeReal32({7, 6});
    a.Import(r);
    EXPECT_EQ(a[1].re, 8.0f);
    EXPECT_EQ(a[1].im, 0.0f);
    a.Import(r, i);
    EXPECT_EQ(a[1].im, 6.0f);

    Cplx32 zc[2];
    a.Export(zc, 2);
    EXPECT_EQ(zc[0].re, 9.0f);
    float fr[2], fi[2];
    a.Export(fr, fi, 2);
    EXPECT_EQ(fr[1], 8.0f);
    EXPECT_EQ(fi[0], 7.0f);
    double dr[2], di[2];
    a.Export(dr, di, 2);
    EXPECT_EQ(dr[0], 9.0);
    EXPECT_EQ(di[1], 6.0);
    VecReal32 gr(100), gi;
    a.GetReal(gr);
    a.GetImag(gi);
    EXPECT_EQ(gr.GetSize(), 2);
    EXPECT_EQ(gr.GetCapacity(), 100);  // import rule: kept
    EXPECT_EQ(gr[1], 8.0f);
    EXPECT_EQ(gi[0], 7.0f);

    VecCplx64 b;
    const double inter64[4] = {1, 2, 3, 4};
    b.Import(inter64, 2);
    EXPECT_EQ(b[1].re, 3.0);
    const Cplx64 z64[1] = {{-1, -2}};
    b.Import(z64, 1);
    EXPECT_EQ(b[0].im, -2.0);
    b.Import(dre, dim, 2);
    EXPECT_EQ(b[0].im, 1e39);
    b.Import(re, im, 3);
    EXPECT_EQ(b[2].re, 3.0);
    VecReal64 r64(r), i64(i);
    b.Import(r64);
    EXPECT_EQ(b[0].im, 0.0);
    b.Import(r64, i64);
    EXPECT_EQ(b[0].im, 7.0);
    Cplx64 bz[2];
    b.Export(bz, 2);
    EXPECT_EQ(bz[1].re, 8.0);
    double br[2], bi[2];
    b.Export(br, bi, 2);
    EXPECT_EQ(bi[1], 6.0);
    float sr[2], si[2];
    b.Export(sr, si, 2);
    EXPECT_EQ(sr[0], 9.0f);
    VecReal64 g;
    b.GetReal(g);
    EXPECT_EQ(g[1], 8.0);
    b.GetImag(g);
    EXPECT_EQ(g[1], 6.0);
}

// ---- arithmetic against double references -------------------------------------------------------

TEST(Vector, RealArithmeticAgainstDoubleReference) {
    for (int n : kLengths) {
        auto x = RandomFloats(n, 1 + n), y = RandomFloats(n, 2 + n);
        for (auto& v : y)
            if (v == 0.0f) v = 1.0f;
        VecReal32 a = MakeReal32(x), b = MakeReal32(y);
        a += b;
        a *= b;
        a -= 2.5f;
        a /= b;
        a *= 0.75f;
        a += 1.0f;
        a -= b;
        a /= 3.0f;
        for (int k = 0; k < n; ++k) {
            // Each step rounds once to float, exactly as the double value rounded to float.
            float r = static_cast<float>(static_cast<double>(x[k]) + y[k]);
            r = static_cast<float>(static_cast<double>(r) * y[k]);
            r = static_cast<float>(static_cast<double>(r) - 2.5);
            r = static_cast<float>(static_cast<double>(r) / y[k]);
            r = static_cast<float>(static_cast<double>(r) * 0.75);
            r = static_cast<float>(static_cast<double>(r) + 1.0);
            r = static_cast<float>(static_cast<double>(r) - y[k]);
            r = static_cast<float>(static_cast<double>(r) / 3.0);
            ASSERT_EQ(a[k], r) << "n=" << n << " k=" << k;
        }
        auto p = RandomDoubles(n, 3 + n), q = RandomDoubles(n, 4 + n);
        VecReal64 c(n), d(n);
        for (int k = 0; k < n; ++k) {
            c[k] = p[k];
            d[k] = q[k];
        }
        c.Add(d);
        c.Mul(d);
        c.Sub(0.5);
        c.Div(d);
        c.Mul(2.0);
        c.Add(1.0);
        c.Sub(d);
        c.Div(4.0);
        for (int k = 0; k < n; ++k) {
            long double r = ((static_cast<long double>(p[k]) + q[k]) * q[k] - 0.5L) / q[k];
            r = (r * 2 + 1 - q[k]) / 4;
            ASSERT_NEAR(c[k], static_cast<double>(r), 1e-12 * (1 + std::fabs(r)));
        }
    }
}

TEST(Vector, ComplexArithmeticAgainstDoubleReference) {
    for (int n : kLengths) {
        auto x = RandomFloats(2 * n, 10 + n), y = RandomFloats(2 * n, 20 + n);
        VecCplx32 a, b;
        a.Import(x.data(), n);
        b.Import(y.data(), n);
        VecCplx32 prod(a), quot(a), sum(a), diff(a), scaled(a), cprod(a), cquot(a), cadd(a),
            csub(a);
        prod *= b;
        quot /= b;
        sum += b;
        diff -= b;
        scaled *= 1.5f;
        const Cplx32 c{0.75f, -2.0f};
        cprod *= c;
        cquot /= c;
        cadd += c;
        csub -= c;
        for (int k = 0; k < n; ++k) {
            const double ar = x[2 * k], ai = x[2 * k + 1], br = y[2 * k], bi = y[2 * k + 1];
            // Products of floats are exact in double; the float result rounds each part of
            // (ac - bd, ad + bc) after each of the three operations.
            EXPECT_EQ(prod[k].re,
                      static_cast<float>(static_cast<double>(static_cast<float>(ar * br)) -
                                         static_cast<float>(ai * bi)));
            EXPECT_EQ(prod[k].im,
                      static_cast<float>(static_cast<double>(static_cast<float>(ar * bi)) +
                                         static_cast<float>(ai * br)));
            const double den = br * br + bi * bi;
            EXPECT_NEAR(quot[k].re, (ar * br + ai * bi) / den, 1e-5 * (1 + std::hypot(ar, ai)));
            EXPECT_NEAR(quot[k].im, (ai * br - ar * bi) / den, 1e-5 * (1 + std::hypot(ar, ai)));
            EXPECT_EQ(sum[k].re, static_cast<float>(ar + br));
            EXPECT_EQ(diff[k].im, static_cast<float>(ai - bi));
            EXPECT_EQ(scaled[k].re, static_cast<float>(ar * 1.5));
            EXPECT_EQ(scaled[k].im, static_cast<float>(ai * 1.5));
            EXPECT_NEAR(cprod[k].re, ar * 0.75 - ai * -2.0,
                        1e-5 * (1 + std::fabs(ar) + std::fabs(ai)));
            EXPECT_NEAR(cprod[k].im, ar * -2.0 + ai * 0.75,
                        1e-5 * (1 + std::fabs(ar) + std::fabs(ai)));
            const double cden = 0.75 * 0.75 + 4.0;
            EXPECT_NEAR(cquot[k].re, (ar * 0.75 + ai * -2.0) / cden,
                        1e-5 * (1 + std::fabs(ar) + std::fabs(ai)));
            EXPECT_NEAR(cquot[k].im, (ai * 0.75 - ar * -2.0) / cden,
                        1e-5 * (1 + std::fabs(ar) + std::fabs(ai)));
            EXPECT_EQ(cadd[k].re, static_cast<float>(ar + 0.75));
            EXPECT_EQ(csub[k].im, static_cast<float>(ai + 2.0));
        }
        // Double precision.
        auto p = RandomDoubles(2 * n, 30 + n), q = RandomDoubles(2 * n, 40 + n);
        VecCplx64 u, v;
        u.Import(p.data(), n);
        v.Import(q.data(), n);
        VecCplx64 up(u), uq(u), us(u), ud(u), uc(u), ucd(u), um(u);
        up.Mul(v);
        uq.Div(v);
        us.Add(v);
        ud.Sub(v);
        uc.Mul(Cplx64{2, 1});
        ucd.Div(Cplx64{2, 1});
        um.Mul(0.5);
        u.Add(Cplx64{1, -1});
        u.Sub(Cplx64{0.5, 0.5});
        for (int k = 0; k < n; ++k) {
            const long double ar = p[2 * k], ai = p[2 * k + 1], br = q[2 * k], bi = q[2 * k + 1];
            const double tol = 1e-12 * (1 + std::fabs(static_cast<double>(ar * br)) +
                                        std::fabs(static_cast<double>(ai * bi)));
            EXPECT_NEAR(up[k].re, static_cast<double>(ar * br - ai * bi), tol);
            EXPECT_NEAR(up[k].im, static_cast<double>(ar * bi + ai * br), tol);
            const long double den = br * br + bi * bi;
            EXPECT_NEAR(uq[k].re, static_cast<double>((ar * br + ai * bi) / den),
                        1e-10 * (1 + std::fabs(uq[k].re)));
            EXPECT_NEAR(uq[k].im, static_cast<double>((ai * br - ar * bi) / den),
                        1e-10 * (1 + std::fabs(uq[k].im)));
            EXPECT_EQ(us[k].re, p[2 * k] + q[2 * k]);
            EXPECT_EQ(ud[k].im, p[2 * k + 1] - q[2 * k + 1]);
            EXPECT_NEAR(uc[k].re, static_cast<double>(ar * 2 - ai),
                        1e-12 * (1 + std::fabs(uc[k].re)));
            EXPECT_NEAR(uc[k].im, static_cast<double>(ar + ai * 2),
                        1e-12 * (1 + std::fabs(uc[k].im)));
            EXPECT_NEAR(ucd[k].re, static_cast<double>((ar * 2 + ai) / 5),
                        1e-12 * (1 + std::fabs(ucd[k].re)));
            EXPECT_NEAR(ucd[k].im, static_cast<double>((ai * 2 - ar) / 5),
                        1e-12 * (1 + std::fabs(ucd[k].im)));
            EXPECT_EQ(um[k].im, p[2 * k + 1] * 0.5);
            EXPECT_EQ(u[k].re, (p[2 * k] + 1) - 0.5);
            EXPECT_EQ(u[k].im, (p[2 * k + 1] - 1) - 0.5);
        }
    }
}

TEST(Vector, OperatorsReturnTheTarget) {
    VecReal32 a = MakeReal32({1, 2});
    VecReal32 b = MakeReal32({3, 4});
    EXPECT_EQ(&(a += b), &a);
    EXPECT_EQ(&(a -= 1.0f), &a);
    EXPECT_EQ(&(a *= b), &a);
    EXPECT_EQ(&(a /= 2.0f), &a);
    VecCplx32 c(1);
    c[0] = {1, 1};
    EXPECT_EQ(&(c *= 2.0f), &c);
    EXPECT_EQ(&(c *= Cplx32{1, 0}), &c);
    EXPECT_EQ(c[0].re, 2.0f);
    VecCplx64 d(1);
    d[0] = {1, 1};
    EXPECT_EQ(&(d *= 3.0), &d);
    EXPECT_EQ(d[0].im, 3.0);
}

// The target's length governs; the other operand may be longer.
TEST(Vector, TargetLengthGoverns) {
    VecReal32 a = MakeReal32({1, 2}), b = MakeReal32({10, 20, 30});
    a += b;
    EXPECT_EQ(a.GetSize(), 2);
    EXPECT_EQ(a[1], 22.0f);
    // A narrowed target works on its view only.
    VecReal32 c = MakeReal32({1, 1, 1, 1});
    c.Truncate(1, 2);
    c += b;
    c.Resize(4);
    EXPECT_EQ(c[0], 1.0f);
    EXPECT_EQ(c[1], 11.0f);
    EXPECT_EQ(c[2], 21.0f);
    EXPECT_EQ(c[3], 1.0f);
}

TEST(Vector, SubtractStretch) {
    VecCplx32 a(5), b(5);
    for (int k = 0; k < 5; ++k) {
        a[k] = {10.0f * k, 1.0f};
        b[k] = {static_cast<float>(k), 0.5f};
    }
    a.Sub(b, 1, 3, 2);  // a[1] -= b[3], a[2] -= b[4]
    EXPECT_EQ(a[0].re, 0.0f);
    EXPECT_EQ(a[1].re, 7.0f);
    EXPECT_EQ(a[1].im, 0.5f);
    EXPECT_EQ(a[2].re, 16.0f);
    EXPECT_EQ(a[3].re, 30.0f);
    EXPECT_EQ(a[3].im, 1.0f);
    a.Sub(b, 0, 0, 0);
    EXPECT_EQ(a[0].re, 0.0f);
}

TEST(Vector, ArithmeticAllocatesNothing) {
    VecCplx32 a(4097), b(4097);
    a.SetZero();
    b.SetZero();
    VecReal32 r(4097), s(4097);
    r.SetZero();
    s.SetZero();
    s += 1.0f;
    const long long before = kernels::AllocationCount();
    a += b;
    a *= b;
    a -= Cplx32{1, 1};
    a *= 2.0f;
    r *= s;
    r /= s;
    r.Sum();
    r.StdDev();
    a.Mean();
    EXPECT_EQ(kernels::AllocationCount(), before);
}

// ---- division by zero ---------------------------------------------------------------------------

TEST(Vector, DivisionByZeroConstantThrows8001) {
    VecReal32 v(4);
    v.SetZero();
    v += 3.0f;
    const KivoException e = Catch([&] { v.Div(0.0f); });
    EXPECT_EQ(e.code, 8001);
    EXPECT_STREQ(e.message, "divide-by-zero error");
    EXPECT_NE(std::strstr(e.file, "src/math/Vector"), nullptr);
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(v[k], 3.0f);  // the kernel divided nothing
    EXPECT_EQ(Catch([&] { v /= 0.0f; }).code, 8001);
    VecReal64 d(2);
    EXPECT_EQ(Catch([&] { d /= 0.0; }).code, 8001);
    VecCplx32 c(2);
    EXPECT_EQ(Catch([&] { c /= Cplx32{0, 0}; }).code, 8001);
    VecCplx64 z(2);
    EXPECT_EQ(Catch([&] { z.Div(Cplx64{0, 0}); }).code, 8001);
    VecReal32 empty;
    EXPECT_EQ(Catch([&] { empty.Div(0.0f); }).code, 8001);
}

TEST(Vector, ZeroDivisorGivesAnInfinityOfTheDividendsSign) {
    // Whatever the sign of the zero: -2 / -0 is -Inf and 5 / -0 is +Inf, unlike IEEE division.
    const float inf = std::numeric_limits<float>::infinity();
    for (int n : {2, 9, 37}) {  // short, and long enough for the vector loop
        VecReal32 a(n), b(n);
        for (int i = 0; i < n; ++i) {
            a[i] = (i % 2) ? 5.0f : -2.0f;
            b[i] = (i % 3 == 0) ? -0.0f : 0.0f;
        }
        EXPECT_EQ(Catch([&] { a.Div(b); }).code, 8001);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(a[i], (i % 2) ? inf : -inf) << i;
    }
    VecReal64 c(3), d(3);
    c[0] = -2, c[1] = 5, c[2] = 0;
    d[0] = -0.0, d[1] = -0.0, d[2] = -0.0;
    EXPECT_EQ(Catch([&] { c.Div(d); }).code, 8001);
    EXPECT_EQ(c[0], -std::numeric_limits<double>::infinity());
    EXPECT_EQ(c[1], std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(c[2]));
}

TEST(Vector, DivisionByZeroElementThrowsAfterStoringAllQuotients) {
    VecReal32 a = MakeReal32({1, 2}), b = MakeReal32({1, 0});
    const KivoException e = Catch([&] { a.Div(b); });
    EXPECT_EQ(e.code, 8001);
    EXPECT_STREQ(e.message, "divide-by-zero error");
    EXPECT_EQ(a[0], 1.0f);
    EXPECT_EQ(a[1], std::numeric_limits<float>::infinity());
    // The zero may come first: later quotients are still stored.
    VecReal32 c = MakeReal32({-1, 6}), d = MakeReal32({0, 3});
    EXPECT_EQ(Catch([&] { c /= d; }).code, 8001);
    EXPECT_EQ(c[0], -std::numeric_limits<float>::infinity());
    EXPECT_EQ(c[1], 2.0f);
    VecReal64 p(2), q(2);
    p[0] = 0;
    p[1] = 5;
    q[0] = 0;
    q[1] = 2;
    EXPECT_EQ(Catch([&] { p /= q; }).code, 8001);
    EXPECT_TRUE(std::isnan(p[0]));
    EXPECT_EQ(p[1], 2.5);
    VecCplx32 x(2), y(2);
    x[0] = {1, 1};
    x[1] = {4, 2};
    y[0] = {0, 0};
    y[1] = {2, 0};
    EXPECT_EQ(Catch([&] { x /= y; }).code, 8001);
    EXPECT_EQ(x[1].re, 2.0f);
    EXPECT_EQ(x[1].im, 1.0f);
    VecCplx64 u(1), w(1);
    u[0] = {1, 0};
    w[0] = {0, 0};
    EXPECT_EQ(Catch([&] { u /= w; }).code, 8001);
    // No zero, no throw.
    VecReal32 f = MakeReal32({1, 2}), g = MakeReal32({2, 4});
    EXPECT_EQ(Catch([&] { f /= g; }).code, 0);
}

// ---- statistics ---------------------------------------------------------------------------------

TEST(Vector, RealStatisticsAgainstSlowReference) {
    for (int n : kLengths) {
        if (n == 0) continue;
        auto x = RandomFloats(n, 50 + n);
        VecReal32 v = MakeReal32(x);
        long double sum = 0;
        for (float f : x)
            sum += f;
        const long double mean = sum / n;
        long double ss = 0;
        for (float f : x)
            ss += (f - mean) * (f - mean);
        EXPECT_EQ(v.Sum(), static_cast<float>(sum)) << n;
        EXPECT_EQ(v.Mean(), static_cast<float>(mean)) << n;
        if (n > 1) {
            const float sd = static_cast<float>(std::sqrt(static_cast<double>(ss / (n - 1))));
            EXPECT_NEAR(v.StdDev(), sd, 1e-6f * sd);
            EXPECT_EQ(v.Var(), v.StdDev() * v.StdDev());
        }
        int imax = 0, imin = 0;
        for (int k = 1; k < n; ++k) {
            if (x[k] > x[imax]) imax = k;
            if (x[k] < x[imin]) imin = k;
        }
        float value = 0;
        int index = -1;
        v.Max(value, index);
        EXPECT_EQ(index, imax);
        EXPECT_EQ(value, x[imax]);
        EXPECT_EQ(v.Max(), x[imax]);
        v.Min(value, index);
        EXPECT_EQ(index, imin);
        EXPECT_EQ(v.Min(), x[imin]);

        auto d = RandomDoubles(n, 60 + n);
        VecReal64 w(n);
        long double dsum = 0;
        for (int k = 0; k < n; ++k) {
            w[k] = d[k];
            dsum += d[k];
        }
        EXPECT_NEAR(w.Sum(), static_cast<double>(dsum), 1e-12 * n);
        EXPECT_NEAR(w.Mean(), static_cast<double>(dsum / n), 1e-12);
        if (n > 1) {
            long double dss = 0;
            for (int k = 0; k < n; ++k)
                dss += (d[k] - dsum / n) * (d[k] - dsum / n);
            EXPECT_NEAR(w.StdDev(), std::sqrt(static_cast<double>(dss / (n - 1))), 1e-12);
            EXPECT_EQ(w.Var(), w.StdDev() * w.StdDev());
        }
    }
}

TEST(Vector, StatisticsUseSampleNormalisation) {
    VecReal32 v = MakeReal32({2, 4, 4, 4, 5, 5, 7, 9});
    // mean 5, sum of squared deviations 32, n - 1 = 7
    EXPECT_EQ(v.Mean(), 5.0f);
    EXPECT_EQ(v.StdDev(), static_cast<float>(std::sqrt(32.0 / 7.0)));
    VecReal32 one = MakeReal32({3});
    EXPECT_EQ(one.StdDev(), 0.0f);
    EXPECT_EQ(one.Var(), 0.0f);
    // Double accumulation: a float running sum would lose the ones.
    std::vector<float> big(1001, 1.0f);
    big[0] = 16777216.0f;
    EXPECT_EQ(MakeReal32(big).Sum(), 16778216.0f);
}

TEST(Vector, RangedExtremesReturnWholeVectorIndices) {
    VecReal32 v = MakeReal32({0, 1, 2, 3, 4, 9, 6, 7});
    float value = 0;
    int index = -1;
    v.Max(value, index, 3, 4);
    EXPECT_EQ(index, 5);
    EXPECT_EQ(value, 9.0f);
    EXPECT_EQ(v.Max(3, 4), 9.0f);
    EXPECT_EQ(v.Max(0, 3), 2.0f);
    v.Min(value, index, 3, 4);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(v.Min(4, 3), 4.0f);
    VecReal64 w(5);
    for (int k = 0; k < 5; ++k)
        w[k] = -k;
    double dv = 0;
    w.Max(dv, index, 2, 3);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(w.Min(1, 2), -2.0);
    w.Min(dv, index, 1, 4);
    EXPECT_EQ(index, 4);
    EXPECT_EQ(w.Max(), 0.0);
}

TEST(Vector, RealExtremeTiesGoToTheFirst) {
    VecReal32 v = MakeReal32({1, 7, 7, -2, -2});
    float value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 1);
    v.Min(value, index);
    EXPECT_EQ(index, 3);
}

TEST(Vector, ComplexExtremesBySquaredMagnitude) {
    VecCplx32 v(3);
    v[0] = {0, 0};
    v[1] = {3, 4};
    v[2] = {4, 3};
    Cplx32 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(value.re, 3.0f);
    EXPECT_EQ(value.im, 4.0f);
    EXPECT_EQ(v.Max().re, 3.0f);
    v.Min(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(v.Min().im, 0.0f);
    VecCplx32 zeros(4);
    zeros.SetZero();
    zeros.Max(value, index);
    EXPECT_EQ(index, 0);
    VecCplx64 w(3);
    w[0] = {1, 1};
    w[1] = {0, -2};
    w[2] = {-1, -1};
    Cplx64 wv{};
    w.Max(wv, index);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(wv.im, -2.0);
    w.Min(wv, index);
    EXPECT_EQ(index, 0);  // tie between 0 and 2 goes to the first
    EXPECT_EQ(w.Max().im, -2.0);
    EXPECT_EQ(w.Min().re, 1.0);
}

TEST(Vector, ComplexSumAndMean) {
    for (int n : kLengths) {
        auto x = RandomFloats(2 * n, 70 + n);
        VecCplx32 v;
        v.Import(x.data(), n);
        long double re = 0, im = 0;
        for (int k = 0; k < n; ++k) {
            re += x[2 * k];
            im += x[2 * k + 1];
        }
        EXPECT_EQ(v.Sum().re, static_cast<float>(re));
        EXPECT_EQ(v.Sum().im, static_cast<float>(im));
        if (n > 0) {
            EXPECT_EQ(v.Mean().re, static_cast<float>(re / n));
            EXPECT_EQ(v.Mean().im, static_cast<float>(im / n));
        }
        VecCplx64 w(v);
        EXPECT_NEAR(w.Sum().re, static_cast<double>(re), 1e-9);
        if (n > 0) {
            EXPECT_NEAR(w.Mean().im, static_cast<double>(im / n), 1e-12);
        }
    }
}

// Every member on an empty vector: harmless, neutral results, outputs untouched.
TEST(Vector, EmptyVectorsEverywhere) {
    VecReal32 a, b;
    a += b;
    a -= b;
    a *= b;
    a /= b;
    a += 1.0f;
    a -= 1.0f;
    a *= 2.0f;
    a /= 2.0f;
    EXPECT_EQ(a.Sum(), 0.0f);
    EXPECT_EQ(a.Mean(), 0.0f);
    EXPECT_EQ(a.StdDev(), 0.0f);
    EXPECT_EQ(a.Var(), 0.0f);
    EXPECT_EQ(a.Max(), 0.0f);
    EXPECT_EQ(a.Min(), 0.0f);
    float value = 42;
    int index = 42;
    a.Max(value, index);
    a.Min(value, index);
    EXPECT_EQ(value, 42.0f);
    EXPECT_EQ(index, 42);
    EXPECT_TRUE(a.IsEqual(b, 0.0f));
    VecCplx32 c, d;
    c += d;
    c *= d;
    c /= d;
    c *= 3.0f;
    c += Cplx32{1, 1};
    c *= Cplx32{1, 1};
    c /= Cplx32{1, 1};
    Cplx32 z{5, 5};
    c.Max(z, index);
    c.Min(z, index);
    EXPECT_EQ(z.re, 5.0f);
    EXPECT_EQ(index, 42);
    EXPECT_EQ(c.Sum().re, 0.0f);
    EXPECT_EQ(c.Mean().im, 0.0f);
    EXPECT_EQ(c.Max().re, 0.0f);
    VecReal32 re(3);
    c.GetReal(re);
    EXPECT_EQ(re.GetSize(), 0);
    ReleaseBuffer(re);
    VecReal64 e;
    EXPECT_EQ(e.Mean(), 0.0);
    EXPECT_EQ(e.StdDev(), 0.0);
    EXPECT_EQ(e.Max(), 0.0);
    VecCplx64 f;
    EXPECT_EQ(f.Mean().re, 0.0);
    EXPECT_EQ(f.Min().re, 0.0);
    EXPECT_EQ(Stdout([&] { a.Dump(3); }), "");
}

// ---- comparison and dumps -----------------------------------------------------------------------

TEST(Vector, IsEqualPrintsTheFirstMismatch) {
    VecReal32 a = MakeReal32({1.0f}), b = MakeReal32({1.1f});
    bool equal = true;
    const std::string out = Stdout([&] { equal = a.IsEqual(b, 0.05f); });
    EXPECT_FALSE(equal);
    char want[128];
    std::snprintf(want, sizeof want, "\n==>>%.15f, Expected %.15f<<==", 1.0,
                  static_cast<double>(1.1f));
    EXPECT_EQ(out, want);
    EXPECT_TRUE(a.IsEqual(b, 0.2f));
    EXPECT_FALSE(a.IsEqual(MakeReal32({1.0f, 2.0f}), 1.0f));  // lengths differ, nothing printed
    VecReal32 e1, e2;
    EXPECT_TRUE(e1.IsEqual(e2, 0.0f));
    // NaN and infinities compare as values a user would expect.
    VecReal32 n1 = MakeReal32({std::nanf(""), INFINITY}),
              n2 = MakeReal32({std::nanf(""), INFINITY});
    EXPECT_TRUE(n1.IsEqual(n2, 0.0f));
    VecReal32 n3 = MakeReal32({0.0f, INFINITY});
    EXPECT_FALSE(Stdout([&] { equal = n1.IsEqual(n3, 1e30f); }).empty());
    EXPECT_FALSE(equal);

    VecCplx32 c(1), d(1);
    c[0] = {1, 2};
    d[0] = {1, 2.5f};
    const std::string cout = Stdout([&] { equal = c.IsEqual(d, 0.1f); });
    EXPECT_FALSE(equal);
    std::snprintf(want, sizeof want, "\n==>>%.15f, Expected %.15f<<==", 2.0, 2.5);
    EXPECT_EQ(cout, want);
    VecReal64 p(1), q(1);
    p[0] = 1.0;
    q[0] = 1.0 + 1e-9;
    EXPECT_TRUE(p.IsEqual(q, 1e-6f));
    VecCplx64 u(1), w(1);
    u[0] = {0, 0};
    w[0] = {0, 1e-3};
    EXPECT_TRUE(u.IsEqual(w, 1e-2f));
}

TEST(Vector, ConsoleDumpAbridgesLongVectors) {
    VecReal32 five = MakeReal32({0, 1, 2, 3, 4});
    EXPECT_EQ(Stdout([&] { five.Dump(2); }),
              "\n [ 0]= 0\n [ 1]= 1\n.................\n [ 3]= 3\n [ 4]= 4");
    VecReal32 four = MakeReal32({0.5f, 1, 2, 3});
    EXPECT_EQ(Stdout([&] { four.Dump(2); }), "\n [ 0]= 0.5\n [ 1]= 1\n [ 2]= 2\n [ 3]= 3");
    VecCplx32 c(1);
    c[0] = {1.5f, -2};
    EXPECT_EQ(Stdout([&] { c.Dump(1); }), "\n [ 0]= 1.5  -2 ");
    VecReal64 d(12);
    for (int k = 0; k < 12; ++k)
        d[k] = k;
    EXPECT_EQ(Stdout([&] { d.Dump(1); }), "\n [ 0]= 0\n.................\n [11]= 11");
    VecCplx64 z(3);
    for (int k = 0; k < 3; ++k)
        z[k] = {1.0 * k, k == 0 ? 0.0 : -1.0 * k};
    EXPECT_EQ(Stdout([&] { z.Dump(1); }), "\n [ 0]= 0  0 \n.................\n [ 2]= 2  -2 ");
}

TEST(Vector, FileDumpFormats) {
    VecReal32 r = MakeReal32({0.5f, -1.0f});
    const std::string printed = Stdout([&] { r.Dump("real.txt", true); });
    EXPECT_EQ(printed, "\n====real.txt saved");
    char line[128];
    std::string want;
    std::snprintf(line, sizeof line, "%10d        %.20f\n", 0, 0.5);
    want += line;
    std::snprintf(line, sizeof line, "%10d        %.20f\n", 1, -1.0);
    want += line;
    EXPECT_EQ(ReadFile("real.txt"), want);
    EXPECT_EQ(Stdout([&] { r.Dump("quiet.txt", false); }), "");

    VecCplx64 c(1);
    c[0] = {0.1, -2};
    c.Dump("cplx.txt", false);
    std::snprintf(line, sizeof line, "%10d    %.20f  %.20f\n", 0, 0.1, -2.0);
    EXPECT_EQ(ReadFile("cplx.txt"), line);
    VecReal64 d(1);
    d[0] = 3;
    d.Dump("r64.txt", false);
    std::snprintf(line, sizeof line, "%10d        %.20f\n", 0, 3.0);
    EXPECT_EQ(ReadFile("r64.txt"), line);
    VecCplx32 e(1);
    e[0] = {1, 2};
    e.Dump("c32.txt", false);
    std::snprintf(line, sizeof line, "%10d    %.20f  %.20f\n", 0, 1.0, 2.0);
    EXPECT_EQ(ReadFile("c32.txt"), line);

    const KivoException err = Catch([&] { r.Dump("no/such/dir/x.txt", false); });
    EXPECT_EQ(err.code, 8024);
    EXPECT_STREQ(err.message, "error opening file");
    EXPECT_EQ(Catch([&] { e.Dump("no/such/dir/x.txt", true); }).code, 8024);
}

// ---- self-tests ---------------------------------------------------------------------------------

TEST(Vector, UnitTestsPass) {
    UnitTestRecorder recorder;
    std::string out = Stdout([&] {
        EXPECT_TRUE(VecReal32::UnitTest(recorder));
        EXPECT_TRUE(VecReal64::UnitTest(recorder));
        EXPECT_TRUE(VecCplx32::UnitTest(recorder));
        EXPECT_TRUE(VecCplx64::UnitTest(recorder));
    });
    EXPECT_EQ(out.find("FAILURE"), std::string::npos) << out;
}
