// A file that is read from its start to its end.
#pragma once

#include <tessalune/frame/runtime/QSFiles.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tessalune::host {

// Opens a file for reading; raises EQSException with the reason. The name "-" means the standard
// input. What is no plain file, such as a pipe, is a stream: its end shows only when it comes.
class TInputFile {
 public:
  explicit TInputFile(const std::string& AFileName);
  TInputFile(const TInputFile&) = delete;
  ~TInputFile() { FileClose(FHandle); }

  // For messages: the name in quotes, or "the standard input".
  const std::string& Name() const { return FName; }
  bool IsStream() const { return FIsStream; }
  // Of a stream: more than any file has.
  std::int64_t Size() const { return FSize; }
  // From the start, in bytes.
  std::int64_t Position() const { return FPosition; }
  std::int64_t Left() const { return FSize - FPosition; }
  // As many bytes as there are, ABytes at most.
  std::size_t Read(void* AData, std::size_t ABytes);
  // Passes over as many bytes as there are, ABytes at most.
  std::int64_t Skip(std::int64_t ABytes);
  // For a library that does the reading and goes back and forth; a stream is read to its end first.
  TFileHandle SeekableHandle();
  // Raises EQSException about what stands in the file.
  [[noreturn]] void Fail(const std::string& AReason) const;

 private:
  std::string FName;
  TFileHandle FHandle;
  bool FIsStream;
  std::int64_t FStart = 0;  // of what is ours in the file
  std::int64_t FSize = 0;
  std::int64_t FPosition = 0;
};

// A file without a name, for reading and writing, that goes when it is closed; ClosedFile if there
// can be none, with the system's reason in errno.
TFileHandle NamelessFile();
// Copies all that follows in one to the other; false if writing fails, with the reason in errno.
bool CopyRest(TFileHandle AFrom, TFileHandle ATo);

}  // namespace tessalune::host
