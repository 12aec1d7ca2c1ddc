#include "Errors.h"

#include <tessalune/frame/runtime/QSFiles.h>
#include <tessalune/frame/streams/QSPumpable.h>

#include <algorithm>
#include <new>

namespace tessalune::host {

std::string ErrorText(const std::exception_ptr& AError, const TObject* AWhere) {
  const std::string Who = AWhere != nullptr ? AWhere->Describe() + ": " : std::string();
  try {
    std::rethrow_exception(AError);
  } catch (const EQSFileException& Error) {
    return "cannot open " + Error.Detail();
  } catch (const std::bad_alloc&) {
    const auto* Source = dynamic_cast<const IPumpable*>(AWhere);
    return Who + "there is not enough memory for the blocks; " +
           (Source != nullptr && Source->BufferSize() > 1
                ? "a smaller BufferSize (now " + NumberText(Source->BufferSize()) + ") takes less"
                : "smaller blocks take less");
  } catch (...) {
    std::string Text = ExceptionText(AError);
    return Text.find(Who) == std::string::npos ? Who + Text : Text;
  }
}

void TErrors::Add(std::string AText) {
  const std::lock_guard Lock(FMutex);
  // A fault that each block meets anew is told once.
  if (std::find(FTexts.begin(), FTexts.end(), AText) == FTexts.end()) {
    FTexts.push_back(std::move(AText));
  }
  FIsEmpty = false;
  FWakeUp->Wake();
}

std::vector<std::string> TErrors::Texts() const {
  const std::lock_guard Lock(FMutex);
  return FTexts;
}

}  // namespace tessalune::host
