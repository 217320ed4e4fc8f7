// The `ombrel` program end to end: exit statuses and output.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace {

struct Result {
    int status;
    std::string out;
};

Result RunTool(const std::string& args) {
    const std::string cmd = std::string(OMBREL_TOOL_PATH) + " " + args + " 2>&1";
    Result r{-1, {}};
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0)
        r.out.append(buf, n);
    const int st = pclose(p);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

}  // namespace

TEST(OmbrelTool, Version) {
    const Result r = RunTool("--version");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("ombrel ", 0), 0u) << r.out;
}

TEST(OmbrelTool, HelpListsTheCommands) {
    const Result r = RunTool("--help");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("selftest"), std::string::npos) << r.out;
}

TEST(OmbrelTool, NoArgumentsIsAUsageError) {
    const Result r = RunTool("");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("usage"), std::string::npos) << r.out;
}

TEST(OmbrelTool, UnknownCommand) {
    const Result r = RunTool("frobnicate");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("unknown command 'frobnicate'"), std::string::npos) << r.out;
}

TEST(OmbrelTool, SelftestPassesAndPrintsTheDump) {
    const Result r = RunTool("selftest");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("---------Unit Test Result Dump----------------------"),
              std::string::npos);
    EXPECT_NE(r.out.find("ALL PASSED"), std::string::npos);
    EXPECT_EQ(r.out.find("**FAILURE**"), std::string::npos);
}

TEST(OmbrelTool, SelftestRejectsUnknownOptions) {
    const Result r = RunTool("selftest --bogus");
    EXPECT_EQ(r.status, 2);
}
