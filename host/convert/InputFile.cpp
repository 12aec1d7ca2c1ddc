#include "InputFile.h"

#include <tessalune/frame/runtime/QSException.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace tessalune::host {
namespace {

constexpr std::size_t ChunkBytes = 1 << 16;
// A whole number of samples of each type, so that nobody misses a rest.
constexpr std::int64_t Endless = std::numeric_limits<std::int64_t>::max() / 1024 * 1024;

bool IsPlain(TFileHandle AFile) {
  struct stat Status {};
  return ::fstat(AFile, &Status) == 0 && S_ISREG(Status.st_mode);
}

}  // namespace

TInputFile::TInputFile(const std::string& AFileName)
    : FName(AFileName == "-" ? "the standard input" : '"' + AFileName + '"'),
      FHandle(AFileName == "-" ? ::dup(STDIN_FILENO) : FileOpen(AFileName)) {
  if (FHandle == ClosedFile) {
    throw EQSException("cannot read " + FName + ": " + std::strerror(errno));
  }
  FIsStream = !IsPlain(FHandle);
  if (!FIsStream) FStart = std::max<std::int64_t>(::lseek(FHandle, 0, SEEK_CUR), 0);
  FSize = FIsStream ? Endless : std::max<std::int64_t>(FileSize(FHandle) - FStart, 0);
}

std::size_t TInputFile::Read(void* AData, std::size_t ABytes) {
  const std::size_t Count = FileRead(FHandle, AData, ABytes);
  FPosition += static_cast<std::int64_t>(Count);
  return Count;
}

std::int64_t TInputFile::Skip(std::int64_t ABytes) {
  const std::int64_t Before = FPosition;
  if (!FIsStream) {
    FPosition += std::min(ABytes, Left());
    if (!FileSeek(FHandle, FStart + FPosition)) Fail(std::strerror(errno));
    return FPosition - Before;
  }
  std::vector<char> Bytes(ChunkBytes);
  while (ABytes > FPosition - Before) {
    const auto Ask = std::min<std::int64_t>(ABytes - (FPosition - Before), ChunkBytes);
    if (Read(Bytes.data(), static_cast<std::size_t>(Ask)) < static_cast<std::size_t>(Ask)) break;
  }
  return FPosition - Before;
}

TFileHandle TInputFile::SeekableHandle() {
  if (!FIsStream) return FHandle;
  const TFileHandle Copy = NamelessFile();
  if (Copy == ClosedFile || !CopyRest(FHandle, Copy) || !FileSeek(Copy, 0)) {
    const int Reason = errno;
    if (Copy != ClosedFile) FileClose(Copy);
    Fail(std::string("no room to keep it while it is read: ") + std::strerror(Reason));
  }
  FileClose(std::exchange(FHandle, Copy));
  FIsStream = false;
  FSize = FileSize(FHandle);
  return FHandle;
}

void TInputFile::Fail(const std::string& AReason) const {
  throw EQSException(FName + ": " + AReason);
}

TFileHandle NamelessFile() {
  std::FILE* const File = std::tmpfile();
  if (File == nullptr) return ClosedFile;
  const TFileHandle Handle = ::dup(::fileno(File));
  std::fclose(File);
  return Handle;
}

bool CopyRest(TFileHandle AFrom, TFileHandle ATo) {
  std::vector<char> Bytes(ChunkBytes);
  while (const std::size_t Count = FileRead(AFrom, Bytes.data(), Bytes.size())) {
    if (FileWrite(ATo, Bytes.data(), Count) != Count) return false;
  }
  return true;
}

}  // namespace tessalune::host
