#include <ombrel/infra/UnitTestRecorder.h>

#include "kernels/SelfTest.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace Kivo {

UnitTestRecorder::UnitTestRecorder()
    : records(nullptr), numRecords(0), numFailures(0), recordCapacity(0) {}

UnitTestRecorder::UnitTestRecorder(const UnitTestRecorder& other)
    : records(nullptr),
      numRecords(other.numRecords),
      numFailures(other.numFailures),
      recordCapacity(other.numRecords) {
    if (numRecords > 0) {
        records = new UTRG[numRecords];
        std::memcpy(records, other.records, sizeof(UTRG) * numRecords);
    }
}

UnitTestRecorder& UnitTestRecorder::operator=(const UnitTestRecorder& other) {
    if (this == &other) return *this;
    UTRG* copy = nullptr;
    if (other.numRecords > 0) {
        copy = new UTRG[other.numRecords];
        std::memcpy(copy, other.records, sizeof(UTRG) * other.numRecords);
    }
    delete[] records;
    records = copy;
    numRecords = other.numRecords;
    numFailures = other.numFailures;
    recordCapacity = other.numRecords;
    return *this;
}

UnitTestRecorder::~UnitTestRecorder() {
    delete[] records;
}

bool UnitTestRecorder::AddTestRecord(const char* className, const char* testName, bool passed) {
    if (numRecords == recordCapacity) {
        const int grown = recordCapacity ? recordCapacity * 2 : 64;
        UTRG* bigger = new UTRG[grown];
        if (numRecords) std::memcpy(bigger, records, sizeof(UTRG) * numRecords);
        delete[] records;
        records = bigger;
        recordCapacity = grown;
    }
    const UTRG record{className, testName, passed};
    records[numRecords] = record;
    DisplayRecord(numRecords, record);
    if (!passed) ++numFailures;
    ++numRecords;
    return true;
}

void UnitTestRecorder::DisplayRecord(int index, UTRG record) {
    std::printf("\n#%3d. %s:%s :%s", index, record.passed ? "  SUCCESS  " : "**FAILURE**",
                record.className, record.testName);
}

void UnitTestRecorder::DisplayBriefSummary() {
    if (numFailures) {
        std::printf("\n===============================");
        std::printf("\n %d out of Tests %d FAILED\n", numFailures, numRecords);
    } else {
        std::printf("\n================================");
        std::printf("\n Total Tests %d, ALL PASSED\n", numRecords);
    }
}

void UnitTestRecorder::DisplaySummary() {
    DisplayBriefSummary();
    if (numFailures) DumpFailure();
}

void UnitTestRecorder::Dump() {
    std::printf("\n\n---------Unit Test Result Dump----------------------");
    for (int i = 0; i < numRecords; ++i)
        DisplayRecord(i, records[i]);
    DisplaySummary();
}

void UnitTestRecorder::DumpFailure() {
    std::printf("\nFailure Test cases----------------------");
    for (int i = 0; i < numRecords; ++i)
        if (!records[i].passed) DisplayRecord(i, records[i]);
    std::printf("\n\n");
}

namespace {

// Sends standard output to /dev/null while alive, so that the deliberate failure recorded by the
// recorder's own self-test does not show up as a "**FAILURE**" line in a passing self-test run.
class SilencedStdout {
  public:
    SilencedStdout() {
        std::fflush(stdout);
        saved = dup(STDOUT_FILENO);
        const int null = open("/dev/null", O_WRONLY);
        if (saved >= 0 && null >= 0) dup2(null, STDOUT_FILENO);
        if (null >= 0) close(null);
    }
    ~SilencedStdout() {
        std::fflush(stdout);
        if (saved >= 0) {
            dup2(saved, STDOUT_FILENO);
            close(saved);
        }
    }
    SilencedStdout(const SilencedStdout&) = delete;
    SilencedStdout& operator=(const SilencedStdout&) = delete;

  private:
    int saved;
};

}  // namespace

bool UnitTestRecorder::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    UnitTestRecorder inner;
    bool returned = false;
    {
        SilencedStdout quiet;
        returned = inner.AddTestRecord("UnitTestRecorder", "inner failure", false);
        inner.AddTestRecord("UnitTestRecorder", "inner success", true);
    }
    kernels::Record(recorder, ok, "UnitTestRecorder", "AddTestRecord returns true on failure",
                    returned);
    kernels::Record(recorder, ok, "UnitTestRecorder", "counts",
                    inner.numRecords == 2 && inner.numFailures == 1);
    UnitTestRecorder copy(inner);
    kernels::Record(
        recorder, ok, "UnitTestRecorder", "copy keeps records",
        copy.numRecords == 2 && copy.records[1].passed && copy.records != inner.records);
    return ok;
}

}  // namespace Kivo
