// The program's command line.
#pragma once

namespace tessalune::host {

// Runs the program and returns its exit code (TExitCode).
int RunCommandLine(int ACount, char** AArguments);

}  // namespace tessalune::host
