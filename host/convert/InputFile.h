// A file that is read from its start to its end.
#pragma once

#include <tessalune/frame/runtime/QSFiles.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tessalune::host {

// Opens a file for reading; raises EQSException with the reason.
class TInputFile {
 public:
  explicit TInputFile(std::string AFileName);
  TInputFile(const TInputFile&) = delete;
  ~TInputFile() { FileClose(FHandle); }

  const std::string& FileName() const { return FFileName; }
  std::int64_t Size() const { return FSize; }
  // For a library that does the reading.
  TFileHandle Handle() const { return FHandle; }
  // From the start, in bytes.
  std::int64_t Position() const { return FPosition; }
  std::int64_t Left() const { return FSize - FPosition; }
  // As many bytes as there are, ABytes at most.
  std::size_t Read(void* AData, std::size_t ABytes);
  // Raises EQSException about what stands in the file.
  [[noreturn]] void Fail(const std::string& AReason) const;

 private:
  const std::string FFileName;
  TFileHandle FHandle;
  std::int64_t FSize = 0;
  std::int64_t FPosition = 0;
};

}  // namespace tessalune::host
