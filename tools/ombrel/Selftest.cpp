#include "AllUnitTests.h"
#include "Commands.h"

#include <cstdio>
#include <cstring>

namespace ombrel_tool {

int RunSelftest(int argc, char** argv) {
    bool quiet = false;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--brief") == 0) {
            quiet = true;
        } else {
            std::fprintf(stderr, "ombrel selftest: unknown option '%s'\n", argv[i]);
            return 2;
        }
    }
    Kivo::UnitTestRecorder recorder;
    bool ok = false;
    try {
        ok = RunAllUnitTests(recorder);
    } catch (const Kivo::KivoException& e) {
        std::fprintf(stderr, "\nombrel selftest: uncaught exception %d \"%s\" at %s:%d\n", e.code,
                     e.message, e.file, e.line);
        return 1;
    }
    if (quiet)
        recorder.DisplaySummary();
    else
        recorder.Dump();
    std::fflush(stdout);
    return ok ? 0 : 1;
}

}  // namespace ombrel_tool
