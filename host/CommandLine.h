// The program's command line.
#pragma once

namespace tessalune::host {

enum TExitCode : int {
  ecDone = 0,
  ecFailed = 1,    // a run or a conversion failed
  ecMistake = 2,   // the command line or the graph has mistakes; nothing was run
  ecSignal = 128,  // plus the signal's number: interrupted, with files closed and results told
};

// Runs the program and returns its exit code.
int RunCommandLine(int ACount, char** AArguments);

}  // namespace tessalune::host
