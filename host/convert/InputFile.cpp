#include "InputFile.h"

#include <tessalune/frame/runtime/QSException.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace tessalune::host {

TInputFile::TInputFile(std::string AFileName)
    : FFileName(std::move(AFileName)), FHandle(FileOpen(FFileName)) {
  if (FHandle == ClosedFile) {
    throw EQSException("cannot read \"" + FFileName + "\": " + std::strerror(errno));
  }
  FSize = FileSize(FHandle);
}

std::size_t TInputFile::Read(void* AData, std::size_t ABytes) {
  const std::size_t Count = FileRead(FHandle, AData, ABytes);
  FPosition += static_cast<std::int64_t>(Count);
  return Count;
}

void TInputFile::Fail(const std::string& AReason) const {
  throw EQSException('"' + FFileName + "\": " + AReason);
}

}  // namespace tessalune::host
