// Spectrum: edge cases, levels of tones on bins, a whole trace against a slow reference, and no
// allocation per block.
#include <ombrel/Ombrel.h>

#include "kernels/Allocator.h"
#include "support/AllocCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <random>
#include <thread>
#include <vector>

using namespace Kivo;

namespace {

constexpr double kPi = 3.14159265358979323846;

VecCplx32 Tone(int n, double bin, double amplitude, double phase = 0.25) {
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i) {
        const double ph = 2.0 * kPi * bin * i / n + phase;
        v[i] = Cplx32{static_cast<float>(amplitude * std::cos(ph)),
                      static_cast<float>(amplitude * std::sin(ph))};
    }
    return v;
}

VecCplx32 Noise(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<float> g(0.0f, 0.1f);
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx32{g(rng), g(rng)};
    return v;
}

// Read access to Spectrum's work vectors, which the class keeps private: naming a private member
// in an explicit instantiation is allowed, and the friend function hands out the pointer.
template <class Tag, typename Tag::Type Member>
struct MemberOf {
    friend typename Tag::Type Get(Tag) { return Member; }
};
struct MagnitudeTag {
    using Type = VecReal32 Spectrum::*;
    friend Type Get(MagnitudeTag);
};
struct ShiftedTag {
    using Type = VecReal32 Spectrum::*;
    friend Type Get(ShiftedTag);
};
struct SpectrumCplxTag {
    using Type = VecCplx32 Spectrum::*;
    friend Type Get(SpectrumCplxTag);
};
template struct MemberOf<MagnitudeTag, &Spectrum::magnitude>;
template struct MemberOf<ShiftedTag, &Spectrum::shifted>;
template struct MemberOf<SpectrumCplxTag, &Spectrum::spectrumCplx>;

bool SameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

int PeakIndex(const VecReal32& t) {
    int best = 0;
    for (int i = 1; i < t.GetSize(); ++i)
        if (t[i] > t[best]) best = i;
    return best;
}

}  // namespace

TEST(Spectrum, ZeroBlockGivesTheFloorNotMinusInfinity) {
    const int n = 256;
    Spectrum s(n, WT_HANN, 0.0f);
    VecCplx32 zeros(n);
    zeros.SetZero();
    VecReal32 trace;
    s.Apply(trace, zeros);
    ASSERT_EQ(trace.GetSize(), n);
    const float tiny = 1e-40f;
    EXPECT_EQ(static_cast<double>(tiny), 9.99994610111476e-41);
    const double expected = 20.0 * std::log10(static_cast<double>(tiny));  // about -800 dB
    EXPECT_NEAR(expected, -800.0, 0.001);
    for (int i = 0; i < n; ++i)
        ASSERT_NEAR(trace[i], expected, 1e-3) << i;
}

TEST(Spectrum, EveryNonZeroUnitIsLinear) {
    const int n = 128;
    const VecCplx32 x = Noise(n, 3);
    Spectrum s(n, WT_BLACKMAN_HARRIS, 0.0f);
    VecReal32 ref;
    s.SetUnit(static_cast<PowerUnit>(1));
    s.Apply(ref, x);
    for (int u : {2, 3, 7, -1, 1000}) {
        VecReal32 t;
        s.SetUnit(static_cast<PowerUnit>(u));
        s.Apply(t, x);
        ASSERT_EQ(t.GetSize(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(t[i], ref[i]) << "unit " << u << " bin " << i;
    }
    // And linear really is the magnitude: dB of it is the dB trace.
    VecReal32 db;
    s.SetUnit(POWER_UNIT_DB);
    s.Apply(db, x);
    for (int i = 0; i < n; ++i)
        ASSERT_NEAR(db[i], 20.0 * std::log10(static_cast<double>(ref[i]) + 1e-40), 1e-4) << i;
}

TEST(Spectrum, ToneOnBinZeroPeaksAtTheCentre) {
    for (int n : {64, 65, 1000, 4096}) {
        Spectrum s(n, WT_UNIFORM, 0.0f);
        VecReal32 t;
        s.Apply(t, Tone(n, 0.0, 1.0));
        EXPECT_EQ(PeakIndex(t), n / 2) << n;
    }
}

TEST(Spectrum, DoublingTheInputAddsSixDecibelsEverywhere) {
    const int n = 512;
    VecCplx32 x = Noise(n, 9);
    VecCplx32 x2(x);
    x2.Mul(2.0f);
    Spectrum s(n, WT_HANN, 0.0f);
    VecReal32 a, b;
    s.Apply(a, x);
    s.Apply(b, x2);
    for (int i = 0; i < n; ++i)
        ASSERT_NEAR(b[i] - a[i], 20.0 * std::log10(2.0), 1e-3) << i;
}

TEST(Spectrum, ToneOnABinReadsItsAmplitudeInDecibels) {
    for (WindowType w : {WT_FLAT_TOP, WT_UNIFORM}) {
        for (int n : {1024, 4096}) {
            for (double bin : {0.0, 17.0, -300.0}) {
                const double a = 0.37;
                Spectrum s(n, w, 0.0f);
                VecReal32 t;
                s.Apply(t, Tone(n, bin, a));
                const int index = n / 2 + static_cast<int>(bin);
                EXPECT_EQ(PeakIndex(t), index);
                EXPECT_NEAR(t[index], 20.0 * std::log10(a), 0.01) << "window " << w << " n " << n;
            }
        }
    }
}

TEST(Spectrum, WholeTraceAgainstASlowReference) {
    const int n = 300;  // not a power of two
    const VecCplx32 x = Noise(n, 21);
    for (WindowType w :
         {WT_UNIFORM, WT_BLACKMAN_HARRIS, WT_FLAT_TOP, WT_HANN, WT_GAUSS, WT_KAISER}) {
        WindowFactory f;
        Window* win = f.MakeWindow(w, n, 0.0f);
        VecReal32 coeff;
        win->GetCoefficients(coeff);
        delete win;
        // Direct DFT in long double of the windowed block, magnitude, zero frequency centred.
        std::vector<long double> ref(n);
        for (int k = 0; k < n; ++k) {
            std::complex<long double> acc = 0;
            for (int i = 0; i < n; ++i) {
                const long double ph =
                    -2.0L * kPi * static_cast<long double>((static_cast<long long>(k) * i) % n) / n;
                acc += std::complex<long double>(x[i].re * coeff[i], x[i].im * coeff[i]) *
                       std::polar(1.0L, ph);
            }
            ref[(k + n / 2) % n] = std::abs(acc);
        }
        Spectrum s(n, w, 0.0f);
        VecReal32 db, lin;
        s.Apply(db, x);
        s.SetUnit(POWER_UNIT_LINEAR);
        s.Apply(lin, x);
        long double peak = 0;
        for (long double v : ref)
            peak = std::max(peak, v);
        for (int i = 0; i < n; ++i) {
            ASSERT_NEAR(lin[i], static_cast<double>(ref[i]), 2e-6 * static_cast<double>(peak))
                << "window " << w << " bin " << i;
            if (ref[i] > 1e-3L * peak) {
                ASSERT_NEAR(db[i], 20.0 * std::log10(static_cast<double>(ref[i])), 2e-3)
                    << "window " << w << " bin " << i;
            }
        }
    }
}

// The dB trace is computed in one pass per half of the transform; it must equal, bit for bit, the
// public operations applied one after the other (magnitude, shift, + 1e-40, Log10, * 20), and
// leave the work vectors as those steps leave them. Odd and even lengths, real and complex blocks,
// an all-zero block.
TEST(Spectrum, DbTraceAndWorkVectorsEqualTheStepByStepComputation) {
    for (int n : {1, 2, 3, 8, 9, 255, 256, 1000, 4096, 4097}) {
        for (bool real : {false, true}) {
            VecCplx32 x = Noise(n, 7 + n);
            VecReal32 xr(n);
            for (int i = 0; i < n; ++i)
                xr[i] = x[i].re;
            if (n == 256) {
                // All zeros: every bin is the floor, through the special-value path of log10.
                x.SetZero();
                xr.SetZero();
            }
            Spectrum s(n, WT_BLACKMAN_HARRIS, 0.0f);
            VecReal32 trace;
            if (real)
                s.Apply(trace, xr);
            else
                s.Apply(trace, x);
            const VecCplx32& bins = s.*Get(SpectrumCplxTag{});
            VecReal32 mag, shifted, db;
            if (real)
                DSPUtils::Mag(mag, bins);
            else
                MathUtils::Abs(mag, bins);
            DSPUtils::FFTShift(shifted, mag);
            shifted.Add(1e-40f);
            MathUtils::Log10(db, shifted);
            db.Mul(20.0f);
            ASSERT_EQ(trace.GetSize(), n);
            const VecReal32& memberMag = s.*Get(MagnitudeTag{});
            const VecReal32& memberShifted = s.*Get(ShiftedTag{});
            ASSERT_EQ(memberShifted.GetSize(), n);
            for (int i = 0; i < n; ++i) {
                ASSERT_TRUE(SameBits(trace[i], db[i]))
                    << n << (real ? " real" : " cplx") << " " << i;
                ASSERT_TRUE(SameBits(memberMag[i], mag[i])) << n << " " << i;
                ASSERT_TRUE(SameBits(memberShifted[i], shifted[i])) << n << " " << i;
            }
        }
    }
}

TEST(Spectrum, RealBlockMatchesTheComplexPath) {
    const int n = 256;
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecReal32 real(n);
    VecCplx32 cplx(n);
    for (int i = 0; i < n; ++i) {
        real[i] = u(rng);
        cplx[i] = Cplx32{real[i], 0.0f};
    }
    Spectrum s(n, WT_HANN, 0.0f);
    s.SetUnit(POWER_UNIT_LINEAR);
    VecReal32 a, b;
    s.Apply(a, real);
    s.Apply(b, cplx);
    ASSERT_EQ(a.GetSize(), n);
    for (int i = 0; i < n; ++i)
        ASSERT_NEAR(a[i], b[i], 1e-5f) << i;
    // A real spectrum is symmetric about the centre.
    for (int k = 1; k < n / 2; ++k)
        ASSERT_NEAR(a[n / 2 + k], a[n / 2 - k], 1e-5f) << k;
}

TEST(Spectrum, NoAllocationPerBlockAfterTheFirstCall) {
    const int n = 4096;
    const VecCplx32 x = Noise(n, 1);
    VecReal32 xr(n);
    for (int i = 0; i < n; ++i)
        xr[i] = x[i].re;
    for (int unit : {0, 2}) {
        Spectrum s(n, WT_FLAT_TOP, 0.0f);
        s.SetUnit(static_cast<PowerUnit>(unit));
        VecReal32 trace;
        s.Apply(trace, x);  // first calls size the outputs
        s.Apply(trace, xr);
        const long long kivo = kernels::AllocationCount();
        const long long news = ombrel_test::NewCount();
        for (int r = 0; r < 5; ++r) {
            s.Apply(trace, x);
            s.Apply(trace, xr);
        }
        EXPECT_EQ(kernels::AllocationCount(), kivo) << "unit " << unit;
        EXPECT_EQ(ombrel_test::NewCount(), news) << "unit " << unit;
    }
}

TEST(Spectrum, CopiesComputeTheSameAndOutliveTheSource) {
    const int n = 200;
    const VecCplx32 x = Noise(n, 4);
    auto* source = new Spectrum(n, WT_KAISER, 0.0f);
    source->SetUnit(POWER_UNIT_LINEAR);
    Spectrum copy(*source);
    Spectrum assigned(16, WT_HANN, 0.0f);
    assigned = *source;
    VecReal32 a, b, c;
    source->Apply(a, x);
    delete source;  // the copies keep the shared window and transform alive
    copy.Apply(b, x);
    assigned.Apply(c, x);
    EXPECT_EQ(copy.GetSize(), n);
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(a[i], b[i]);
        ASSERT_EQ(a[i], c[i]);
    }
}

// Copies made for other threads: each runs its own blocks at the same time as the source, and
// every thread gets what one object computing alone gets.
TEST(Spectrum, CopiesRunInParallelThreads) {
    const int n = 1024;
    Spectrum source(n, WT_FLAT_TOP, 0.0f);
    std::vector<VecCplx32> blocks;
    std::vector<VecReal32> expected(8);
    for (int b = 0; b < 8; ++b) {
        blocks.push_back(Noise(n, 100 + b));
        source.Apply(expected[b], blocks[b]);
    }
    std::vector<Spectrum> copies(3, source);
    std::vector<int> mismatches(copies.size() + 1, 0);
    auto work = [&](Spectrum& s, int& bad) {
        VecReal32 t;
        for (int r = 0; r < 50; ++r)
            for (int b = 0; b < 8; ++b) {
                s.Apply(t, blocks[b]);
                for (int i = 0; i < n; ++i)
                    bad += t[i] != expected[b][i];
            }
    };
    std::vector<std::thread> threads;
    for (size_t c = 0; c < copies.size(); ++c)
        threads.emplace_back(work, std::ref(copies[c]), std::ref(mismatches[c]));
    work(source, mismatches.back());
    for (std::thread& t : threads)
        t.join();
    for (size_t c = 0; c < mismatches.size(); ++c)
        EXPECT_EQ(mismatches[c], 0) << "thread " << c;
}

TEST(Spectrum, BlockOfAnotherLengthIsReportedNotCorrupting) {
    Spectrum s(64, WT_HANN, 0.0f);
    VecReal32 t;
    EXPECT_THROW(s.Apply(t, Noise(65, 2)), KivoException);
    EXPECT_THROW(s.Apply(t, Noise(10, 2)), KivoException);
    s.Apply(t, Noise(64, 2));  // still usable
    EXPECT_EQ(t.GetSize(), 64);
}
