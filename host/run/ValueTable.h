// Values as a table: "time,name,value", and "imaginary" behind it if some of them are complex.
#pragma once

#include "Values.h"

#include <host/convert/OutputFile.h>

#include <string>
#include <vector>

namespace tessalune::host {

// One row a value, in the order in which they come. What cannot be written is an EQSException.
// Calls from one thread at a time.
class TValueTable {
 public:
  // The table has columns for what AWatched can send.
  TValueTable(std::string AFileName, const std::vector<TWatched>& AWatched);

  void Add(const TWatched& AWatched, double ATime, const TValue& AValue);
  // Brings what is there to the file and gives it its name.
  void Finish();

 private:
  TOutputFile FFile;
  bool FHasImaginary;
  std::string FText;
};

}  // namespace tessalune::host
