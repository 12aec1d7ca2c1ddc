#include <tessalune/frame/runtime/QSFiles.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

namespace tessalune {
namespace {

// A signal may cut a call short, and Linux moves at most 2 GiB in one.
template <class TByte, class TCall>
std::size_t MoveAll(TByte* AData, std::size_t ABytes, TCall ACall) {
  constexpr std::size_t AtOnce = std::size_t{1} << 30;
  std::size_t Done = 0;
  while (Done < ABytes) {
    errno = 0;
    const auto Moved = ACall(AData + Done, std::min(ABytes - Done, AtOnce));
    if (Moved < 0 && errno == EINTR) continue;
    if (Moved <= 0) break;
    Done += static_cast<std::size_t>(Moved);
  }
  return Done;
}

}  // namespace

// Made under another name and moved, so that the old file goes only when the new one is there.
// Where the folder takes no new names, the old file may still be emptied.
TFileHandle FileCreate(const std::string& AFileName) {
  constexpr int Flags = O_WRONLY | O_CREAT | O_CLOEXEC;
  struct stat Status {};
  const bool IsThere = lstat(AFileName.c_str(), &Status) == 0;
  if (IsThere && S_ISREG(Status.st_mode)) {
    // Who may move files in the folder may not be allowed to write to this one.
    const int Old = open(AFileName.c_str(), O_WRONLY | O_CLOEXEC);
    if (Old < 0) return ClosedFile;
    close(Old);
    const std::string Fresh = AFileName + ".new" + std::to_string(getpid());
    const int File = open(Fresh.c_str(), Flags | O_EXCL, 0666);
    if (File >= 0 && rename(Fresh.c_str(), AFileName.c_str()) == 0) return File;
    if (File >= 0) {
      close(File);
      unlink(Fresh.c_str());
    }
  }
  return open(AFileName.c_str(), Flags | O_TRUNC, 0666);
}

TFileHandle FileOpen(const std::string& AFileName) {
  const int File = open(AFileName.c_str(), O_RDONLY | O_CLOEXEC);
  if (File < 0) return ClosedFile;
  struct stat Status {};
  if (fstat(File, &Status) == 0 && S_ISDIR(Status.st_mode)) {
    close(File);
    errno = EISDIR;
    return ClosedFile;
  }
  return File;
}

std::size_t FileRead(TFileHandle AFile, void* AData, std::size_t ABytes) {
  return MoveAll(static_cast<char*>(AData), ABytes,
                 [AFile](char* AAt, std::size_t ACount) { return read(AFile, AAt, ACount); });
}

std::size_t FileWrite(TFileHandle AFile, const void* AData, std::size_t ABytes) {
  return MoveAll(
      static_cast<const char*>(AData), ABytes,
      [AFile](const char* AAt, std::size_t ACount) { return write(AFile, AAt, ACount); });
}

bool FileSeek(TFileHandle AFile, std::int64_t APosition) {
  return lseek(AFile, APosition, SEEK_SET) == APosition;
}

std::int64_t FilePosition(TFileHandle AFile) { return lseek(AFile, 0, SEEK_CUR); }

std::int64_t FileSize(TFileHandle AFile) {
  struct stat Status {};
  return fstat(AFile, &Status) == 0 && S_ISREG(Status.st_mode) ? Status.st_size : 0;
}

void FileClose(TFileHandle AFile) { close(AFile); }

}  // namespace tessalune
