#include <ombrel/infra/Timer.h>
#include <ombrel/infra/UnitTestRecorder.h>

#include "kernels/SelfTest.h"

#include <ctime>
#include <mutex>
#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#define OMBREL_HAVE_TSC 1
#endif

namespace Kivo {

namespace {

long long MonotonicNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

// The processor's cycle counter: the time-stamp counter on x86, a nanosecond clock elsewhere.
unsigned long long ReadCounter() {
#if defined(OMBREL_HAVE_TSC)
    return __rdtsc();
#else
    return static_cast<unsigned long long>(MonotonicNs());
#endif
}

void SleepMs(long ms) {
    timespec req{ms / 1000, (ms % 1000) * 1000000L};
    while (nanosleep(&req, &req) != 0) {
    }
}

// Counter frequency in whole MHz, measured once per process over 20 ms of the monotonic clock.
int CounterMHz() {
#if defined(OMBREL_HAVE_TSC)
    static std::once_flag once;
    static int mhz = 0;
    std::call_once(once, [] {
        const long long n0 = MonotonicNs();
        const unsigned long long c0 = ReadCounter();
        SleepMs(20);
        const long long n1 = MonotonicNs();
        const unsigned long long c1 = ReadCounter();
        const double perUs = static_cast<double>(c1 - c0) * 1000.0 / static_cast<double>(n1 - n0);
        mhz = static_cast<int>(perUs + 0.5);
        if (mhz <= 0) mhz = 1;
    });
    return mhz;
#else
    return 1000;
#endif
}

std::once_flag gTimer2Once;

}  // namespace

// ---------------------------------------------------------------------------------------------
KivoTimer::KivoTimer() : overhead(0), start(0), stop(0), cyclesPerMicrosecond(0) {
    overhead = MeasOverhead();
    cyclesPerMicrosecond = static_cast<long long>(GetCPUFreq());
}

KivoTimer::~KivoTimer() = default;

int KivoTimer::StartTimer() {
    start = ReadCounter();
    return static_cast<int>(start & 0xFFFFFFFFULL);
}

unsigned long long KivoTimer::GetElapsedTimeInCycle() {
    stop = ReadCounter();
    return stop - start - overhead;
}

float KivoTimer::GetElapsedTimeInUs() {
    return static_cast<float>(GetElapsedTimeInCycle()) / static_cast<float>(cyclesPerMicrosecond);
}

float KivoTimer::ConvertTimeToUs(unsigned long long cycles) {
    return static_cast<float>(cycles) / static_cast<float>(cyclesPerMicrosecond);
}

float KivoTimer::GetCPUFreq() {
    return static_cast<float>(CounterMHz());
}

unsigned long long KivoTimer::MeasOverhead() {
    long long sum = 0;
    for (int i = 0; i < 10; ++i) {
        const int a = StartTimer();
        const int b = StartTimer();
        // Difference of the 32-bit readings, sign-extended, as the counter may wrap in 32 bits.
        sum += static_cast<long long>(
            static_cast<int>(static_cast<unsigned>(b) - static_cast<unsigned>(a)));
    }
    return static_cast<unsigned long long>(sum / 10);
}

// ---------------------------------------------------------------------------------------------
bool KivoTimer2::m_bInitialized = false;
float KivoTimer2::m_CPUInMHz = 0.0f;
double KivoTimer2::m_uSecMultFactor = 0.0;

KivoTimer2::KivoTimer2() : start(0), last(0), elapsed(0) {
    InitTimer();
}

void KivoTimer2::InitTimer() {
    // call_once rather than the bare flag: two threads creating the first timers calibrate once.
    std::call_once(gTimer2Once, [] {
        const long long c0 = MonotonicNs();
        const long long t0 = rdtsc();
        SleepMs(200);
        const long long c1 = MonotonicNs();
        const long long t1 = rdtsc();
        const double cyclesPerSecond =
            1e9 * static_cast<double>(t1 - t0) / static_cast<double>(c1 - c0);
        m_CPUInMHz = static_cast<float>(cyclesPerSecond * 1e-6);
        m_uSecMultFactor = 1e6 / cyclesPerSecond;
        m_bInitialized = true;
    });
}

void KivoTimer2::Start() {
    start = rdtsc();
}

void KivoTimer2::Stop() {
    last = rdtsc();
    elapsed = last - start;
}

void KivoTimer2::Split() {
    last = rdtsc();
    elapsed += last - start;
}

double KivoTimer2::GetUsec() {
    return static_cast<double>(elapsed) * m_uSecMultFactor;
}

float KivoTimer2::GetCPUFreq() {
    return m_CPUInMHz;
}

long long KivoTimer2::rdtsc() {
    return static_cast<long long>(ReadCounter());
}

// ---------------------------------------------------------------------------------------------
bool KivoTimer::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    KivoTimer t;
    kernels::Record(recorder, ok, "KivoTimer", "GetCPUFreq positive", t.GetCPUFreq() > 0.0f);
    t.StartTimer();
    SleepMs(2);
    const unsigned long long a = t.GetElapsedTimeInCycle();
    const unsigned long long b = t.GetElapsedTimeInCycle();
    kernels::Record(recorder, ok, "KivoTimer", "elapsed measured from one start", b >= a);
    const float us = t.ConvertTimeToUs(a);
    kernels::Record(recorder, ok, "KivoTimer", "2 ms sleep in microseconds",
                    us >= 1500.0f && us < 2.0e6f);
    return ok;
}

bool KivoTimer2::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    KivoTimer2 t;
    kernels::Record(recorder, ok, "KivoTimer2", "calibrated",
                    m_bInitialized && m_CPUInMHz > 0.0f && m_uSecMultFactor > 0.0);
    t.Start();
    SleepMs(2);
    t.Stop();
    const double once = t.GetUsec();
    kernels::Record(recorder, ok, "KivoTimer2", "2 ms sleep", once >= 1500.0 && once < 2.0e6);
    t.elapsed = 0;
    t.Split();
    const long long first = t.elapsed;
    t.Split();
    kernels::Record(recorder, ok, "KivoTimer2", "Split adds the time since Start",
                    t.elapsed >= 2 * first);
    return ok;
}

}  // namespace Kivo
