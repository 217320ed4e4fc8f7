// `ombrel`: the command-line face of the library.
#include <ombrel/Ombrel.h>

#include "Commands.h"

#include <cstdio>
#include <cstring>

namespace {

struct Command {
    const char* name;
    int (*run)(int, char**);
    const char* summary;
};

constexpr Command kCommands[] = {
    {"selftest", ombrel_tool::RunSelftest,
     "run every class's self-test, print the results; exit status 1 on any failure"},
};

void PrintHelp(FILE* out) {
    std::fprintf(out,
                 "usage: ombrel <command> [options]\n"
                 "       ombrel --version | --help\n\ncommands:\n");
    for (const Command& c : kCommands)
        std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
    std::fprintf(out, "\n'ombrel <command> --help' describes a command's options.\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintHelp(stderr);
        return 2;
    }
    const char* cmd = argv[1];
    if (std::strcmp(cmd, "--help") == 0 || std::strcmp(cmd, "-h") == 0 ||
        std::strcmp(cmd, "help") == 0) {
        PrintHelp(stdout);
        return 0;
    }
    if (std::strcmp(cmd, "--version") == 0) {
        std::printf("ombrel %s\n", Kivo::OmbrelVersion());
        return 0;
    }
    for (const Command& c : kCommands)
        if (std::strcmp(cmd, c.name) == 0) return c.run(argc - 2, argv + 2);
    std::fprintf(stderr, "ombrel: unknown command '%s' (see 'ombrel --help')\n", cmd);
    return 2;
}
