// Helpers for the classes' static UnitTest functions.
#pragma once

#include <ombrel/infra/UnitTestRecorder.h>

namespace Kivo::kernels {

/// Records one outcome and folds it into the running result of a UnitTest.
inline void Record(UnitTestRecorder& r, bool& allPassed, const char* className,
                   const char* testName, bool passed) {
    r.AddTestRecord(className, testName, passed);
    allPassed = allPassed && passed;
}

}  // namespace Kivo::kernels
