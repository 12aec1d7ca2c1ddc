// Events: one handler, set on any thread, called on another.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace tessalune {

class TObject;

// The handlers that a host gives. Sender is the component that fires; it is alive during the call.
using TNotifyEvent = std::function<void(TObject& ASender)>;
using TQSSignalProgressEvent =
    std::function<void(TObject& ASender, std::int64_t ATotal, std::int64_t APosition)>;
using TQSRealNotifyEvent = std::function<void(TObject& ASender, double AValue)>;
using TQSErrorEvent = std::function<void(TObject& ASender, const std::string& AMessage,
                                         std::int32_t AErrorCode, bool& AHandled)>;

// An event's place in a component. Firing calls the handler that is set at that moment; replacing
// it does not wait for a call in progress, which ends on the handler with which it began.
template <class THandler>
class TEvent {
 public:
  void Set(THandler AHandler) {
    auto Handler = AHandler ? std::make_shared<const THandler>(std::move(AHandler)) : nullptr;
    const std::lock_guard Lock(FMutex);
    FAssigned.store(Handler != nullptr, std::memory_order_relaxed);
    FHandler.swap(Handler);
  }

  bool IsAssigned() const noexcept { return FAssigned.load(std::memory_order_relaxed); }

  template <class... TArgs>
  void operator()(TArgs&&... AArgs) const {
    if (!IsAssigned()) return;
    std::shared_ptr<const THandler> Handler;
    {
      const std::lock_guard Lock(FMutex);
      Handler = FHandler;
    }
    if (Handler) (*Handler)(std::forward<TArgs>(AArgs)...);
  }

 private:
  mutable std::mutex FMutex;
  std::shared_ptr<const THandler> FHandler;
  std::atomic<bool> FAssigned{false};
};

}  // namespace tessalune
