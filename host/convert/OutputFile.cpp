#include "OutputFile.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSFiles.h>

#include <fcntl.h>
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

}  // namespace

TOutputFile::TOutputFile(std::string AFileName) : FFileName(std::move(AFileName)) {
  std::error_code Ignored;
  if (std::filesystem::is_directory(FFileName, Ignored)) Fail("it is a folder; name a file");
  if (!IsReplaceable(FFileName)) {
    FDescriptor = ::open(FFileName.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    // A pipe or a printer takes no readers' side.
    if (FDescriptor < 0) FDescriptor = ::open(FFileName.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    FTemporaryName = FFileName + ".part" + std::to_string(::getpid());
    FDescriptor = ::open(FTemporaryName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  }
  if (FDescriptor < 0) {
    FTemporaryName.clear();
    Fail(std::strerror(errno));
  }
}

TOutputFile::~TOutputFile() {
  if (FDescriptor >= 0) ::close(FDescriptor);
  if (!FTemporaryName.empty()) ::unlink(FTemporaryName.c_str());
}

void TOutputFile::Write(const void* AData, std::size_t ABytes) {
  if (FileWrite(FDescriptor, AData, ABytes) != ABytes) Fail(std::strerror(errno));
}

void TOutputFile::Commit() {
  const int Closed = ::close(FDescriptor);
  FDescriptor = -1;
  if (Closed != 0) Fail(std::strerror(errno));
  if (FTemporaryName.empty()) return;
  if (std::rename(FTemporaryName.c_str(), FFileName.c_str()) != 0) Fail(std::strerror(errno));
  FTemporaryName.clear();
}

void TOutputFile::Fail(const std::string& AReason) const {
  throw EQSException("cannot write \"" + FFileName + "\": " + AReason);
}

}  // namespace tessalune::host
