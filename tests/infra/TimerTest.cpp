// Cycle timers: measuring from one start, split accumulation, once-per-process calibration.
#include <ombrel/infra/Timer.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

using Kivo::KivoTimer;
using Kivo::KivoTimer2;

namespace {
double SecondsOf(void (*f)()) {
    const auto t0 = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}
}  // namespace

// Runs first in this process (gtest keeps file order): no KivoTimer2 exists yet.
TEST(KivoTimer2, CalibrationSleepsOnlyForTheFirstTimer) {
    ASSERT_FALSE(KivoTimer2::m_bInitialized);
    const double first = SecondsOf([] { KivoTimer2 t; });
    const double second = SecondsOf([] { KivoTimer2 t; });
    EXPECT_GE(first, 0.195);
    EXPECT_LT(second, 0.05);
    EXPECT_TRUE(KivoTimer2::m_bInitialized);
    EXPECT_GT(KivoTimer2::GetCPUFreq(), 1.0f);
    EXPECT_NEAR(KivoTimer2::m_uSecMultFactor * KivoTimer2::m_CPUInMHz, 1.0, 1e-6);
}

TEST(KivoTimer2, ConcurrentFirstUseIsSafe) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            KivoTimer2 t;
            t.Start();
            t.Stop();
        });
    for (auto& t : threads)
        t.join();
    EXPECT_GT(KivoTimer2::GetCPUFreq(), 1.0f);
}

TEST(KivoTimer2, StopMeasuresASleep) {
    KivoTimer2 t;
    t.Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    t.Stop();
    EXPECT_GE(t.GetUsec(), 19000.0);
    EXPECT_LT(t.GetUsec(), 2.0e6);
}

TEST(KivoTimer2, TwoSplitsAddTheTimeFromStartTwice) {
    KivoTimer2 t;
    t.Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    t.Split();
    const double one = t.GetUsec();
    t.Split();
    const double two = t.GetUsec();
    // The second split adds the whole time since Start again (at least the first amount).
    EXPECT_GE(two, 2.0 * one);
    EXPECT_LT(two, 2.0 * one + 20000.0);
}

TEST(KivoTimer2, CopiesMemberwise) {
    KivoTimer2 t;
    t.Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    t.Stop();
    KivoTimer2 c = t;
    EXPECT_EQ(c.GetUsec(), t.GetUsec());
}

TEST(KivoTimer, ElapsedTwiceFromOneStart) {
    KivoTimer t;
    t.StartTimer();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const unsigned long long a = t.GetElapsedTimeInCycle();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const unsigned long long b = t.GetElapsedTimeInCycle();
    EXPECT_GT(b, a);
    // b measures from the same start: about twice a, certainly more than 1.5 a.
    EXPECT_GT(static_cast<double>(b), 1.5 * static_cast<double>(a));
    const float us = t.ConvertTimeToUs(a);
    EXPECT_GE(us, 9000.0f);
    EXPECT_LT(us, 1.0e6f);
}

TEST(KivoTimer, FrequencyAndMicroseconds) {
    KivoTimer t;
    const float mhz = t.GetCPUFreq();
    EXPECT_GE(mhz, 1.0f);
    EXPECT_EQ(mhz, static_cast<float>(static_cast<int>(mhz)));  // whole MHz
    EXPECT_FLOAT_EQ(t.ConvertTimeToUs(static_cast<unsigned long long>(mhz) * 1000ULL), 1000.0f);
    t.StartTimer();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_GE(t.GetElapsedTimeInUs(), 4500.0f);
}

TEST(KivoTimer, StartTimerReturnsTheLow32Bits) {
    KivoTimer t;
    const long long a = KivoTimer2::rdtsc();
    const int low = t.StartTimer();
    const long long b = KivoTimer2::rdtsc();
    // The low word of a counter read between a and b (unless it wrapped in between).
    const unsigned lo = static_cast<unsigned>(low);
    const unsigned la = static_cast<unsigned>(a & 0xFFFFFFFF);
    const unsigned lb = static_cast<unsigned>(b & 0xFFFFFFFF);
    if (la <= lb) {
        EXPECT_GE(lo, la);
        EXPECT_LE(lo, lb);
    }
}
