// Every class's static UnitTest, run through one recorder: any recorded failure fails here.
#include "AllUnitTests.h"

#include <gtest/gtest.h>

#include <string>

TEST(AllUnitTests, EveryClassSelfTestPasses) {
    Kivo::UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool ok = ombrel_tool::RunAllUnitTests(recorder);
    recorder.DisplaySummary();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ok) << out;
    EXPECT_EQ(out.find("**FAILURE**"), std::string::npos) << out;
    EXPECT_NE(out.find("ALL PASSED"), std::string::npos) << out;
}
