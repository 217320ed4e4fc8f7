// Self-test recorder: its printed output compared byte for byte.
#include <ombrel/infra/UnitTestRecorder.h>

#include <gtest/gtest.h>

#include <string>

using Kivo::UnitTestRecorder;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {
const std::string kAllPassed32 = "\n================================";
const std::string kFailed31 = "\n===============================";
}  // namespace

TEST(UnitTestRecorder, EmptySummaryPrints32SignsAndZeroTotal) {
    UnitTestRecorder r;
    CaptureStdout();
    r.DisplayBriefSummary();
    EXPECT_EQ(GetCapturedStdout(), kAllPassed32 + "\n Total Tests 0, ALL PASSED\n");
    CaptureStdout();
    r.DisplaySummary();
    EXPECT_EQ(GetCapturedStdout(), kAllPassed32 + "\n Total Tests 0, ALL PASSED\n");
}

TEST(UnitTestRecorder, AddTestRecordPrintsAndReturnsTrueAlsoOnFailure) {
    UnitTestRecorder r;
    CaptureStdout();
    const bool a = r.AddTestRecord("VecReal32", "Add", true);
    const bool b = r.AddTestRecord("VecReal32", "Div", false);
    EXPECT_EQ(GetCapturedStdout(),
              "\n#  0.   SUCCESS  :VecReal32 :Add\n#  1. **FAILURE**:VecReal32 :Div");
    EXPECT_TRUE(a);
    EXPECT_TRUE(b);
}

TEST(UnitTestRecorder, DisplayRecordFormat) {
    UnitTestRecorder r;
    CaptureStdout();
    r.DisplayRecord(7, Kivo::UTRG{"A", "b", true});
    r.DisplayRecord(123, Kivo::UTRG{"C", "d", false});
    r.DisplayRecord(1234, Kivo::UTRG{"E", "f", true});
    EXPECT_EQ(GetCapturedStdout(),
              "\n#  7.   SUCCESS  :A :b\n#123. **FAILURE**:C :d\n#1234.   SUCCESS  :E :f");
}

TEST(UnitTestRecorder, DumpFailureWithoutFailuresPrintsHeadingAndTwoNewlines) {
    UnitTestRecorder r;
    CaptureStdout();
    r.AddTestRecord("X", "y", true);
    r.DumpFailure();
    EXPECT_EQ(GetCapturedStdout(),
              "\n#  0.   SUCCESS  :X :y\nFailure Test cases----------------------\n\n");
}

TEST(UnitTestRecorder, FailureSummaryPrints31SignsAndDumpsFailures) {
    UnitTestRecorder r;
    CaptureStdout();
    r.AddTestRecord("A", "one", true);
    r.AddTestRecord("A", "two", false);
    r.AddTestRecord("B", "three", true);
    r.AddTestRecord("B", "four", false);
    GetCapturedStdout();
    CaptureStdout();
    r.DisplayBriefSummary();
    EXPECT_EQ(GetCapturedStdout(), kFailed31 + "\n 2 out of Tests 4 FAILED\n");
    CaptureStdout();
    r.DisplaySummary();
    EXPECT_EQ(GetCapturedStdout(), kFailed31 + "\n 2 out of Tests 4 FAILED\n" +
                                       "\nFailure Test cases----------------------" +
                                       "\n#  1. **FAILURE**:A :two\n#  3. **FAILURE**:B :four\n\n");
}

TEST(UnitTestRecorder, DumpNumbersRecordsByTheirPositionInTheWholeList) {
    UnitTestRecorder r;
    CaptureStdout();
    r.AddTestRecord("A", "one", true);
    r.AddTestRecord("A", "two", false);
    r.AddTestRecord("B", "three", true);
    GetCapturedStdout();
    CaptureStdout();
    r.Dump();
    EXPECT_EQ(GetCapturedStdout(),
              "\n\n---------Unit Test Result Dump----------------------"
              "\n#  0.   SUCCESS  :A :one\n#  1. **FAILURE**:A :two\n#  2.   SUCCESS  :B :three" +
                  kFailed31 + "\n 1 out of Tests 3 FAILED\n" +
                  "\nFailure Test cases----------------------\n#  1. **FAILURE**:A :two\n\n");
}

TEST(UnitTestRecorder, DumpWhenAllPassed) {
    UnitTestRecorder r;
    CaptureStdout();
    r.AddTestRecord("A", "one", true);
    r.Dump();
    EXPECT_EQ(GetCapturedStdout(),
              "\n#  0.   SUCCESS  :A :one"
              "\n\n---------Unit Test Result Dump----------------------"
              "\n#  0.   SUCCESS  :A :one" +
                  kAllPassed32 + "\n Total Tests 1, ALL PASSED\n");
}

TEST(UnitTestRecorder, CopiesAreIndependent) {
    UnitTestRecorder r;
    CaptureStdout();
    for (int i = 0; i < 100; ++i)
        r.AddTestRecord("A", "x", i % 10 != 0);
    UnitTestRecorder copy(r);
    UnitTestRecorder assigned;
    assigned = r;
    assigned = assigned;  // self-assignment keeps the records
    r.AddTestRecord("A", "extra", false);
    GetCapturedStdout();
    CaptureStdout();
    copy.DisplayBriefSummary();
    assigned.DisplayBriefSummary();
    r.DisplayBriefSummary();
    EXPECT_EQ(GetCapturedStdout(), kFailed31 + "\n 10 out of Tests 100 FAILED\n" + kFailed31 +
                                       "\n 10 out of Tests 100 FAILED\n" + kFailed31 +
                                       "\n 11 out of Tests 101 FAILED\n");
}

TEST(UnitTestRecorder, KeepsThePointersGiven) {
    UnitTestRecorder r;
    static const char cls[] = "Cls";
    static char name[] = "name";
    CaptureStdout();
    r.AddTestRecord(cls, name, false);
    name[0] = 'N';  // not copied: the dump shows the text as it is now
    GetCapturedStdout();
    CaptureStdout();
    r.DumpFailure();
    EXPECT_EQ(GetCapturedStdout(),
              "\nFailure Test cases----------------------\n#  0. **FAILURE**:Cls :Name\n\n");
}
