#include "CommandLine.h"

int main(int ACount, char** AArguments) {
  return tessalune::host::RunCommandLine(ACount, AArguments);
}
