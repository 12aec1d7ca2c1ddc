// A file that comes into being whole or not at all.
#pragma once

#include <cstddef>
#include <string>

namespace tessalune::host {

// Written under a temporary name beside the wanted one, which it takes at Commit; until then, what
// stands under the wanted name is untouched. Without a Commit the temporary file is removed; one
// that a process left which was killed goes when the same name is written again. The name "-" means
// the standard output; it and what else is no plain file (a pipe, a terminal) is written to
// directly. Raises EQSException, with the system's reason.
class TOutputFile {
 public:
  explicit TOutputFile(std::string AFileName);
  TOutputFile(const TOutputFile&) = delete;
  ~TOutputFile();

  // The descriptor, for a library that does the writing and goes back and forth; it stays this
  // object's. What cannot go back gets all at Commit.
  int SeekableDescriptor();
  void Write(const void* AData, std::size_t ABytes);
  void Commit();

  [[noreturn]] void Fail(const std::string& AReason) const;

 private:
  const std::string FFileName;
  std::string FTemporaryName;  // empty if there is none
  int FDescriptor = -1;
  int FKept = -1;  // what goes to FDescriptor at the end
};

}  // namespace tessalune::host
