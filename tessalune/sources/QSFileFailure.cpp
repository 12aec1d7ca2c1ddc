#include <tessalune/sources/QSFileFailure.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace tessalune {

void ReportCannotOpen(TLockComponent& ASender, const TEvent<TQSErrorEvent>& AOnError,
                      const std::string& AFileName, int AReason) {
  constexpr std::int32_t Code = -1;
  const std::string Message = "Can't open file : " + AFileName + " .";
  bool Handled = false;
  AOnError(ASender, Message, Code, Handled);
  if (Handled || ASender.HasState(csDesigning)) return;
  std::array<char, 32> Numbers;
  const auto Unsigned = static_cast<unsigned>(Code);
  std::snprintf(Numbers.data(), Numbers.size(), " - %u - %X", Unsigned, Unsigned);
  throw EQSFileException(Message + Numbers.data(), ASender.Describe() + ": the file \"" +
                                                       AFileName + "\": " + std::strerror(AReason));
}

}  // namespace tessalune
