// Subcommands of the `ombrel` program. Each returns the process exit status; a bad command line
// throws UsageError (status 2), bad input or output InputError (status 1).
#pragma once

namespace ombrel_tool {

int RunSelftest(int argc, char** argv);
int RunSpectrum(int argc, char** argv);
int RunDemo(int argc, char** argv);
int RunSynth(int argc, char** argv);

}  // namespace ombrel_tool
