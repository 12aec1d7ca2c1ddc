#include "OutputFile.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSFiles.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace tessalune::host {
namespace {

// The file that a chain of symbolic links leads to, so that the links stay.
std::string Resolved(const std::string& AFileName) {
  std::error_code Ignored;
  const auto Path = std::filesystem::canonical(AFileName, Ignored);
  return Path.empty() ? AFileName : Path.string();
}

}  // namespace

TOutputFile::TOutputFile(std::string AFileName) : FFileName(Resolved(AFileName)) {
  std::error_code Ignored;
  const auto Status = std::filesystem::status(FFileName, Ignored);
  if (std::filesystem::is_directory(Status)) Fail("it is a folder; name a file");
  if (std::filesystem::exists(Status) && !std::filesystem::is_regular_file(Status)) {
    FDescriptor = ::open(FFileName.c_str(), O_WRONLY | O_CLOEXEC);
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
