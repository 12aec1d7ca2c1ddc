#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace tessalune {
namespace {

std::mutex& HookMutex() {
  static auto* Mutex = new std::mutex;
  return *Mutex;
}

TUnhandledExceptionHook& Hook() {
  static auto* Function = new TUnhandledExceptionHook;
  return *Function;
}

}  // namespace

TUnhandledExceptionHook SetUnhandledExceptionHook(TUnhandledExceptionHook AHook) {
  const std::lock_guard Lock(HookMutex());
  return std::exchange(Hook(), std::move(AHook));
}

void ReportUnhandledException(TObject* ASender) noexcept {
  try {
    const std::exception_ptr Error = std::current_exception();
    TUnhandledExceptionHook Function;
    {
      const std::lock_guard Lock(HookMutex());
      Function = Hook();
    }
    if (Function) {
      Function(ASender, Error);
    } else {
      const std::string Who = ASender != nullptr ? ASender->Describe() + ": " : std::string();
      std::fprintf(stderr, "tessalune: %s%s\n", Who.c_str(), ExceptionText(Error).c_str());
    }
  } catch (...) {
    // A hook that throws has nobody left to tell.
  }
}

std::string ExceptionText(const std::exception_ptr& AError) {
  try {
    std::rethrow_exception(AError);
  } catch (const std::exception& Error) {
    return Error.what();
  } catch (...) {
    return "an exception of an unknown type";
  }
}

}  // namespace tessalune
