// `ombrel`: the command-line face of the library.
#include <ombrel/Ombrel.h>

#include "Commands.h"
#include "Options.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace {

struct Command {
    const char* name;
    int (*run)(int, char**);
    const char* summary;
};

constexpr Command kCommands[] = {
    {"demo", ombrel_tool::RunDemo,
     "measure a synthesised capture (two tones and noise) and compare with the truth"},
    {"spectrum", ombrel_tool::RunSpectrum,
     "compute a spectrum trace (CSV, optional PNG plot) from a cf32/cs16 capture file"},
    {"synth", ombrel_tool::RunSynth,
     "write a test capture: tones and white noise (--out FILE --rate HZ --samples N ...)"},
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
    for (const Command& c : kCommands) {
        if (std::strcmp(cmd, c.name) != 0) continue;
        try {
            return c.run(argc - 2, argv + 2);
        } catch (const ombrel_tool::UsageError& e) {
            std::fprintf(stderr, "ombrel %s: %s\n", c.name, e.what());
            return 2;
        } catch (const ombrel_tool::InputError& e) {
            std::fprintf(stderr, "ombrel %s: %s\n", c.name, e.what());
            return 1;
        } catch (const Kivo::KivoException& e) {
            std::fprintf(stderr, "ombrel %s: %s (KivoErrorCode %d)\n", c.name, e.message, e.code);
            return 1;
        } catch (const std::bad_alloc&) {
            std::fprintf(stderr, "ombrel %s: out of memory\n", c.name);
            return 1;
        }
    }
    std::fprintf(stderr, "ombrel: unknown command '%s' (see 'ombrel --help')\n", cmd);
    return 2;
}
