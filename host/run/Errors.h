// What goes wrong in a run, on whatever thread.
#pragma once

#include "WakeUp.h"

#include <tessalune/frame/runtime/VBComponent.h>

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tessalune::host {

// An exception in the words that help its reader most. AWhere is what was at work; null: unknown.
std::string ErrorText(const std::exception_ptr& AError, const TObject* AWhere);

// The errors of a run. Outlives the run, since components keep handlers.
class TErrors {
 public:
  explicit TErrors(std::shared_ptr<TWakeUp> AWakeUp) : FWakeUp(std::move(AWakeUp)) {}

  void Add(std::string AText);
  bool IsEmpty() const { return FIsEmpty; }
  std::vector<std::string> Texts() const;
  // Runs ADo; what it throws is an error of the run.
  template <class TDo>
  void Catch(const TObject* AWhere, TDo ADo) {
    try {
      ADo();
    } catch (...) {
      Add(ErrorText(std::current_exception(), AWhere));
    }
  }

 private:
  const std::shared_ptr<TWakeUp> FWakeUp;
  mutable std::mutex FMutex;
  std::vector<std::string> FTexts;
  std::atomic<bool> FIsEmpty{true};
};

}  // namespace tessalune::host
