// The library's exception class, and where an exception goes that no caller waits for.
#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>

namespace tessalune {

class TObject;

// Every failure that the library raises. The text says what failed, where, what was expected and,
// where there is a choice, what would do.
class EQSException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An exception that leaves a handler goes through Notify to whoever pumped. On a thread that
// nobody waits for (a source's clock thread, a filter's own thread) it is handed to the process's
// one hook instead; it never ends the process. ASender is the component whose thread it was, alive
// during the call, or null if there is none. The hook runs on that thread; what it throws is
// dropped. Without a hook of the host's, a line goes to the standard error stream.
using TUnhandledExceptionHook = std::function<void(TObject* ASender, std::exception_ptr AError)>;

// Sets the hook and returns the one before; an empty function restores the default. Any thread.
TUnhandledExceptionHook SetUnhandledExceptionHook(TUnhandledExceptionHook AHook);

// Hands the exception in flight to the hook; call it inside a catch block.
void ReportUnhandledException(TObject* ASender) noexcept;

// Runs one step of something that has to come to its end; what the step throws goes to the hook.
template <class TStep>
void RunReported(TObject* ASender, TStep&& AStep) noexcept {
  try {
    AStep();
  } catch (...) {
    ReportUnhandledException(ASender);
  }
}

// The text of an exception, for a message.
std::string ExceptionText(const std::exception_ptr& AError);

}  // namespace tessalune
