// File calls: plain, unbuffered, with 64-bit positions. File names are UTF-8.
#pragma once

#include <tessalune/frame/runtime/QSException.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace tessalune {

using TFileHandle = int;
constexpr TFileHandle ClosedFile = -1;

// Both give ClosedFile on failure, with the system's reason in errno.
// An empty file for writing, in the place of the one that stood under the name; who has that one
// open keeps it. If it cannot be made, or the old one is not ours to write to, what stood there
// stays. A link or a device is written to as it stands.
TFileHandle FileCreate(const std::string& AFileName);
TFileHandle FileOpen(const std::string& AFileName);  // for reading; a folder is a failure

// The bytes read: fewer than asked for only at the file's end, with 0 in errno, or on an error,
// with the reason there.
std::size_t FileRead(TFileHandle AFile, void* AData, std::size_t ABytes);
// The bytes written: fewer than asked for on an error, with the reason in errno.
std::size_t FileWrite(TFileHandle AFile, const void* AData, std::size_t ABytes);
// From the start of the file; false if the position cannot be taken.
bool FileSeek(TFileHandle AFile, std::int64_t APosition);
std::int64_t FilePosition(TFileHandle AFile);  // -1 for what has none
// In bytes; 0 for what has no length.
std::int64_t FileSize(TFileHandle AFile);
void FileClose(TFileHandle AFile);

// A file that could not be opened. what() has the fixed form "%s - %u - %x" of message and code,
// the last in capital digits; Detail says whose file it is and what the system gave as the reason.
class EQSFileException final : public EQSException {
 public:
  EQSFileException(const std::string& AText, std::string ADetail)
      : EQSException(AText), FDetail(std::move(ADetail)) {}
  const std::string& Detail() const { return FDetail; }

 private:
  std::string FDetail;
};

}  // namespace tessalune
