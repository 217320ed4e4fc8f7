// Cycle-counting stopwatches for measuring signal-processing calls.
#pragma once

#include <ombrel/Export.h>

namespace Kivo {

class UnitTestRecorder;

/// Reads the processor's cycle counter and removes its own measured read overhead (the mean of
/// ten back-to-back reads) from every result. On x86-64 the counter is the time-stamp counter;
/// elsewhere it is a monotonic nanosecond clock and the frequency is 1000 MHz.
class OMBREL_API KivoTimer {
  public:
    KivoTimer();
    virtual ~KivoTimer();

    /// Starts the measurement; returns the low 32 bits of the counter.
    int StartTimer();
    /// Counter now minus start minus overhead; `start` is not moved, so repeated calls all
    /// measure from the same start.
    unsigned long long GetElapsedTimeInCycle();
    float GetElapsedTimeInUs();
    float ConvertTimeToUs(unsigned long long cycles);
    /// Counter frequency in MHz, measured once per process against the monotonic clock.
    float GetCPUFreq();

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    unsigned long long MeasOverhead();

    unsigned long long overhead;
    unsigned long long start;
    unsigned long long stop;
    long long cyclesPerMicrosecond;
};

/// Reads the counter directly; calibrated once per process (a 200 ms sleep against the
/// monotonic clock, done by the first KivoTimer2 constructed; thread-safe).
class OMBREL_API KivoTimer2 {
  public:
    KivoTimer2();

    static void InitTimer();
    void Start();
    /// elapsed = now - start.
    void Stop();
    /// elapsed += now - start. `start` is not moved, so each split adds the whole time since
    /// Start: two splits count that time twice. Kept that way on purpose.
    void Split();
    double GetUsec();
    static float GetCPUFreq();
    static long long rdtsc();

    static bool UnitTest(UnitTestRecorder& recorder);

    static bool m_bInitialized;
    static float m_CPUInMHz;
    static double m_uSecMultFactor;

  private:
    long long start;
    long long last;
    long long elapsed;
};

}  // namespace Kivo
