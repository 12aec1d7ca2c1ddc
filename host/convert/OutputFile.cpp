#include "OutputFile.h"

#include "InputFile.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSFiles.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tessalune::host {
namespace {

// Whether the name stands for a plain file, or for nothing yet, that another file can take the
// place of. A symbolic link, which may lead to a stream that others write to, and a device cannot.
bool IsReplaceable(const std::string& AFileName) {
  std::error_code Ignored;
  const auto Status = std::filesystem::symlink_status(AFileName, Ignored);
  return !std::filesystem::exists(Status) || std::filesystem::is_regular_file(Status);
}

constexpr const char* Ending = ".part";

// Whoever writes a temporary file holds its lock; a file that nobody holds was left by a process
// that was killed.
bool IsHeld(int AFile) { return ::flock(AFile, LOCK_EX | LOCK_NB) != 0; }

void ClearAbandoned(const std::filesystem::path& AFileName) {
  const std::string Start = AFileName.filename().string() + Ending;
  std::error_code Error;
  const auto Folder = AFileName.has_parent_path() ? AFileName.parent_path() : ".";
  for (const auto& Entry : std::filesystem::directory_iterator(Folder, Error)) {
    const std::string Name = Entry.path().filename().string();
    if (!Name.starts_with(Start) || Name.size() == Start.size() ||
        Name.find_first_not_of("0123456789", Start.size()) != std::string::npos) {
      continue;
    }
    const int File = ::open(Entry.path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (File < 0) continue;
    if (!IsHeld(File)) ::unlink(Entry.path().c_str());
    ::close(File);
  }
}

// A file that is there and held. Between its making and its lock another process may take it for
// abandoned; then it has no name any more, and is made again.
int OpenTemporary(const std::string& AName) {
  for (;;) {
    const int File = ::open(AName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (File < 0) return File;
    ::flock(File, LOCK_EX);
    struct stat Status {};
    if (::fstat(File, &Status) != 0 || Status.st_nlink > 0) return File;
    ::close(File);
  }
}

}  // namespace

TOutputFile::TOutputFile(std::string AFileName) : FFileName(std::move(AFileName)) {
  std::error_code Ignored;
  if (FFileName == "-") {
    FDescriptor = ::dup(STDOUT_FILENO);
  } else if (std::filesystem::is_directory(FFileName, Ignored)) {
    Fail("it is a folder; name a file");
  } else if (!IsReplaceable(FFileName)) {
    FDescriptor = ::open(FFileName.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    // A pipe or a printer takes no readers' side.
    if (FDescriptor < 0) FDescriptor = ::open(FFileName.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    ClearAbandoned(FFileName);
    FTemporaryName = FFileName + Ending + std::to_string(::getpid());
    FDescriptor = OpenTemporary(FTemporaryName);
  }
  if (FDescriptor < 0) {
    FTemporaryName.clear();
    Fail(std::strerror(errno));
  }
}

TOutputFile::~TOutputFile() {
  if (FDescriptor >= 0) ::close(FDescriptor);
  if (FKept >= 0) ::close(FKept);
  if (!FTemporaryName.empty()) ::unlink(FTemporaryName.c_str());
}

int TOutputFile::SeekableDescriptor() {
  if (!FTemporaryName.empty()) return FDescriptor;
  if (FKept < 0 && (FKept = NamelessFile()) < 0) Fail(std::strerror(errno));
  return FKept;
}

void TOutputFile::Write(const void* AData, std::size_t ABytes) {
  if (FileWrite(FDescriptor, AData, ABytes) != ABytes) Fail(std::strerror(errno));
}

void TOutputFile::Commit() {
  if (FKept >= 0 && (!FileSeek(FKept, 0) || !CopyRest(FKept, FDescriptor))) {
    Fail(std::strerror(errno));
  }
  const int Closed = ::close(FDescriptor);
  FDescriptor = -1;
  if (Closed != 0) Fail(std::strerror(errno));
  if (FTemporaryName.empty()) return;
  if (std::rename(FTemporaryName.c_str(), FFileName.c_str()) != 0) Fail(std::strerror(errno));
  FTemporaryName.clear();
}

void TOutputFile::Fail(const std::string& AReason) const {
  const std::string Name = FFileName == "-" ? "the standard output" : '"' + FFileName + '"';
  throw EQSException("cannot write " + Name + ": " + AReason);
}

}  // namespace tessalune::host
