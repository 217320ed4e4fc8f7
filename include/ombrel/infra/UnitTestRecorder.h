// Recorder of the self-test outcomes that every class's static UnitTest reports.
#pragma once

#include <ombrel/Export.h>

namespace Kivo {

/// One outcome: class name, test name (kept as the pointers given) and passed/failed.
struct UTRG {
    const char* className;
    const char* testName;
    bool passed;
};

/// Prints each outcome as it arrives on standard output, keeps them in arrival order and prints
/// summaries, a full dump or the failures only. Record indices are positions in the whole list.
class OMBREL_API UnitTestRecorder {
  public:
    UnitTestRecorder();
    UnitTestRecorder(const UnitTestRecorder& other);
    UnitTestRecorder& operator=(const UnitTestRecorder& other);
    virtual ~UnitTestRecorder();

    /// Appends and prints the record; counts a failure when `passed` is false. Always true.
    bool AddTestRecord(const char* className, const char* testName, bool passed);
    /// "\n#%3d. %s:%s :%s" with index, outcome, class name and test name.
    void DisplayRecord(int index, UTRG record);
    void DisplayBriefSummary();
    void DisplaySummary();
    void Dump();
    void DumpFailure();

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    UTRG* records;  // arrival order; grown geometrically
    int numRecords;
    int numFailures;
    int recordCapacity;
};

}  // namespace Kivo
