// main() of every test program: each process (CTest runs one test per process, two at a time)
// works in a fresh scratch directory, so tests that write files in the current directory (the
// memory report, dumps, vector files) never see each other's files. The directory is removed at
// exit.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    char tmpl[] = "/tmp/ombrel-test-XXXXXX";
    const char* dir = mkdtemp(tmpl);
    if (dir == nullptr || chdir(dir) != 0) {
        std::perror("ombrel tests: cannot create a scratch directory");
        return 2;
    }
    const int status = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::current_path("/", ignored);
    std::filesystem::remove_all(dir, ignored);
    return status;
}
