#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSThread.h>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace tessalune {
namespace {

constexpr std::size_t StackBytes = std::size_t{64} << 20;

int NiceOf(TThreadPriority APriority) {
  switch (APriority) {
    case TThreadPriority::tpIdle:
      return 19;
    case TThreadPriority::tpLowest:
      return 10;
    case TThreadPriority::tpLower:
      return 5;
    case TThreadPriority::tpNormal:
      return 0;
    case TThreadPriority::tpHigher:
      return -5;
    case TThreadPriority::tpHighest:
      return -10;
    case TThreadPriority::tpTimeCritical:
      return -20;
  }
  return 0;
}

}  // namespace

struct IThread::TStart {
  TRef<IThread> Thread;
  std::function<void()> Work;
};

void IThread::Launch(const char* AName, std::function<void()> AWork) {
  const std::lock_guard Lock(FMutex);
  auto Start = std::make_unique<TStart>(TStart{TRef<IThread>(this), std::move(AWork)});
  pthread_attr_t Attributes;
  pthread_attr_init(&Attributes);
  pthread_attr_setstacksize(&Attributes, StackBytes);
  pthread_attr_setdetachstate(&Attributes, PTHREAD_CREATE_DETACHED);
  const int Error = pthread_create(&FHandle, &Attributes, &IThread::Main, Start.get());
  pthread_attr_destroy(&Attributes);
  if (Error != 0) {
    throw EQSException(std::string("the system gives no further thread (") + std::strerror(Error) +
                       "); end other threads, or switch Threading off in some filters");
  }
  static_cast<void>(Start.release());
  FLaunched = true;
  pthread_setname_np(FHandle, AName);
}

void* IThread::Main(void* AStart) {
  const std::unique_ptr<TStart> Start(static_cast<TStart*>(AStart));
  {
    const std::lock_guard Lock(Start->Thread->FMutex);
    Start->Thread->FSystemId = static_cast<int>(syscall(SYS_gettid));
    Start->Thread->ApplyPriority();
  }
  Start->Work();
  const std::lock_guard Lock(Start->Thread->FMutex);
  Start->Thread->FSystemId = 0;
  Start->Thread->FLaunched = false;  // the system may give the handle to another thread
  return nullptr;
}

void IThread::SetPriority(TThreadPriority APriority) {
  const std::lock_guard Lock(FMutex);
  FPriority = APriority;
  ApplyPriority();
}

// A level that the process may not have is left at what it is: threads differ by urgency only.
void IThread::ApplyPriority() {
  if (FSystemId == 0) return;
  const sched_param None{};
  const bool Idle = FPriority == TThreadPriority::tpIdle;
  sched_setscheduler(FSystemId, Idle ? SCHED_IDLE : SCHED_OTHER, &None);
  setpriority(PRIO_PROCESS, static_cast<id_t>(FSystemId), NiceOf(FPriority));
}

bool IThread::IsCurrent() const {
  const std::lock_guard Lock(FMutex);
  return FLaunched && pthread_equal(pthread_self(), FHandle) != 0;
}

namespace {

// The lowest address that a frame may have on this thread; 0 until it was looked up.
constinit thread_local std::uintptr_t LowestFrame __attribute__((tls_model("initial-exec"))) = 0;

std::uintptr_t FindLowestFrame() noexcept {
  constexpr std::uintptr_t Reserve = std::uintptr_t{192} << 10;
  pthread_attr_t Attributes;
  void* Base = nullptr;
  std::size_t Size = 0;
  if (pthread_getattr_np(pthread_self(), &Attributes) != 0) return 1;
  pthread_attr_getstack(&Attributes, &Base, &Size);
  pthread_attr_destroy(&Attributes);
  return reinterpret_cast<std::uintptr_t>(Base) + Reserve;
}

}  // namespace

bool IsStackNearlyFull() noexcept {
  if (LowestFrame == 0) LowestFrame = FindLowestFrame();
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) < LowestFrame;
}

}  // namespace tessalune
