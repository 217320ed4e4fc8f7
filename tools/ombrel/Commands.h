// Subcommands of the `ombrel` program. Each returns the process exit status.
#pragma once

namespace ombrel_tool {

int RunSelftest(int argc, char** argv);

}  // namespace ombrel_tool
