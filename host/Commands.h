// What the program's commands do, once the command line has been read.
#pragma once

#include "convert/Convert.h"
#include "measure/Measure.h"
#include "reference/Reference.h"
#include "run/Reporter.h"

#include <string>
#include <vector>

namespace tessalune::host {

enum TExitCode : int {
  ecDone = 0,
  ecFailed = 1,    // a run or a conversion failed
  ecMistake = 2,   // the command line or the graph has mistakes; nothing was run
  ecSignal = 128,  // plus the signal's number: interrupted, with files closed and results told
};

// What the command line says, for all commands.
struct TOptions {
  std::string Graph;
  std::string Class;
  std::vector<std::string> Packages;
  std::string FormatOutput;
  std::vector<std::string> Assignments;
  bool Strict = false;
  TRunSettings Run;
  std::vector<std::string> Watch;
  std::string WatchFile;
  TOutputStyle Style;
  TConvertOptions Convert;
  TReferenceOptions Reference;
  TMeasureOptions Measure;
};

// Each returns the exit code. What fails in a way that the command has no words for is an
// exception.
int RunGraph(const TOptions& AOptions);
int ValidateGraph(const TOptions& AOptions);
int FormatGraph(const TOptions& AOptions);
int ListClasses(const TOptions& AOptions);
int DescribeClass(const TOptions& AOptions);
int WriteClassPages(const TOptions& AOptions);
int ConvertFile(const TOptions& AOptions);

// Texts for the standard output and the standard error stream.
void Print(const std::string& AText);
void PrintError(const std::string& AText);

}  // namespace tessalune::host
