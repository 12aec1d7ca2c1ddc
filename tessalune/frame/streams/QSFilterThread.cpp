#include <tessalune/frame/containers/QSRing.h>
#include <tessalune/frame/streams/QSFilterThread.h>

#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::uint32_t> SizeInfo{.Name = "Size",
                                                .Default = 16,
                                                .Bounds = {.Min = 1U},
                                                .Design = {.Min = 1U, .Max = 1000U},
                                                .Doc = "How many blocks may wait."};
constexpr TPropertyInfo<TQSQueueFullMode> FullModeInfo{
    .Name = "FullMode",
    .Default = TQSQueueFullMode::fmBlock,
    .Doc =
        "What happens to a block that meets a full queue: whoever delivers it waits, or it is "
        "dropped."};
constexpr TPropertyInfo<bool> EnabledInfo{
    .Name = "Enabled", .Default = false, .Doc = "Compute on a thread of the filter's own."};
constexpr TPropertyInfo<TThreadPriority> PriorityInfo{.Name = "Priority",
                                                      .Default = TThreadPriority::tpNormal,
                                                      .Effect = TTakesEffect::AtOnce,
                                                      .Doc = "The thread's priority."};

}  // namespace

const TPublishedTable& TQSThreadingQueue::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSThreadingQueue", .Doc = "The queue before a filter's thread."},
                      nullptr)
          .Property(SizeInfo, &TQSThreadingQueue::Size, &TQSThreadingQueue::SetSize)
          .Property(FullModeInfo, &TQSThreadingQueue::FullMode, &TQSThreadingQueue::SetFullMode);
  return Table;
}

void TQSThreadingQueue::SetSize(std::uint32_t AValue) { NotifySetter(SizeInfo, FSize, AValue); }
void TQSThreadingQueue::SetFullMode(TQSQueueFullMode AValue) {
  NotifySetter(FullModeInfo, FFullMode, AValue);
}

TQSThreading::TQSThreading(TRef<IChangeNotifyLock> ALock, TLockComponent& AOwner,
                           std::function<void()> APriorityNotify)
    : TLockPersistent(ALock, "Threading"),
      FOwner(AOwner),
      FPriorityNotify(std::move(APriorityNotify)),
      FQueue(ALock, "Threading.Queue") {}

const TPublishedTable& TQSThreading::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSThreading", .Doc = "A filter's own thread."}, nullptr)
          .Property(EnabledInfo, &TQSThreading::Enabled, &TQSThreading::SetEnabled)
          .Property(PriorityInfo, &TQSThreading::Priority, &TQSThreading::SetPriority)
          .Object("Queue", &TQSThreading::Queue, "The queue before the thread.")
          .Event("OnQueueFull", &TQSThreading::SetOnQueueFull, {},
                 "A block met a full queue; fires on the delivering thread.");
  return Table;
}

void TQSThreading::SetEnabled(bool AValue) { NotifySetter(EnabledInfo, FEnabled, AValue); }
void TQSThreading::SetPriority(TThreadPriority AValue) {
  NotifySetter(PriorityInfo, FPriority, AValue, FPriorityNotify);
}
void TQSThreading::SetOnQueueFull(TNotifyEvent AHandler) {
  NotifySetter("OnQueueFull", FOnQueueFull, std::move(AHandler));
}
void TQSThreading::FireQueueFull() { FOnQueueFull(FOwner); }

namespace {

class TQSFilterThread final : public IQSFilterThread {
 public:
  TQSFilterThread(TLockComponent& AOwner, TRef<TCallGate> AGate, TQSThreading& AThreading,
                  std::function<void(IKLNotifyOperation&)> AWork)
      : FOwner(AOwner), FGate(std::move(AGate)), FThreading(AThreading), FWork(std::move(AWork)) {}

  void Launch() {
    SetPriority(FThreading.Priority());
    IThread::Launch("tessalune-filter", [this] { Run(); });
  }

  bool FlushQueue() override {
    if (IsCurrent()) return false;
    std::unique_lock Lock(FMutex);
    return WaitUntilReady(TWaitKind::Drain, Lock, FWorkedOff, WaitsForThis(),
                          [this] { return FRing.Count() == 0 && !FBusy; });
  }

  bool PushOperation(TRef<IKLNotifyOperation> AOperation) override {
    const bool IsBlock = AOperation->IsType<TKLSuppliedOperation>();
    if (IsBlock && !IsCurrent() && !MakeRoom()) return true;
    const std::lock_guard Lock(FMutex);
    // What came now might find nobody any more who works it off.
    if (FEnded) return false;
    FRing.Push(std::move(AOperation));
    FPushed.notify_one();
    return true;
  }

  void Terminate() override {
    const std::lock_guard Lock(FMutex);
    FEnded = true;
    FPushed.notify_one();
  }

 private:
  // True if the block may be pushed; false if it is to be dropped.
  bool MakeRoom() {
    const auto HasRoom = [this] { return FRing.Count() < FThreading.Queue().Size(); };
    std::unique_lock Lock(FMutex);
    if (HasRoom()) return true;
    Lock.unlock();
    FThreading.FireQueueFull();
    if (FThreading.Queue().FullMode() == TQSQueueFullMode::fmDropData) return false;
    Lock.lock();
    // Without room after all, the thread waits for this one: then the queue has to take more.
    static_cast<void>(WaitUntilReady(TWaitKind::Room, Lock, FWorkedOff, WaitsForThis(), HasRoom));
    return true;
  }

  TWaitsFor WaitsForThis() {
    return [this](TThreadKey AThread, const TCallFrame*) {
      const std::lock_guard Lock(FMutex);
      return AThread == FKey;
    };
  }

  void Run() {
    std::unique_lock Lock(FMutex);
    FKey = CurrentThreadKey();
    for (;;) {
      FPushed.wait(Lock, [this] { return FRing.Count() > 0 || FEnded; });
      if (FRing.Count() == 0) return;
      TRef<IKLNotifyOperation> Operation = FRing.Pop();
      FBusy = true;
      FWorkedOff.notify_all();
      Lock.unlock();
      WorkOff(*Operation);
      // What the block holds of the host's may do anything when it goes.
      Operation = nullptr;
      Lock.lock();
      FBusy = false;
      FWorkedOff.notify_all();
    }
  }

  void WorkOff(IKLNotifyOperation& AOperation) {
    const TCallScope Call(*FGate);
    if (!Call) return;
    try {
      FWork(AOperation);
    } catch (...) {
      ReportUnhandledException(&FOwner);
    }
  }

  TLockComponent& FOwner;
  const TRef<TCallGate> FGate;
  TQSThreading& FThreading;
  const std::function<void(IKLNotifyOperation&)> FWork;
  std::mutex FMutex;
  std::condition_variable FPushed;          // the thread waits for work
  std::condition_variable FWorkedOff;       // others wait for room, or for the end of the work
  TQSRing<TRef<IKLNotifyOperation>> FRing;  // in the order of their coming
  TThreadKey FKey = nullptr;
  bool FBusy = false;
  bool FEnded = false;
};

}  // namespace

TRef<IQSFilterThread> CreateFilterThread(TLockComponent& AOwner, TRef<TCallGate> AGate,
                                         TQSThreading& AThreading,
                                         std::function<void(IKLNotifyOperation&)> AWork) {
  auto Thread = MakeRef<TQSFilterThread>(AOwner, std::move(AGate), AThreading, std::move(AWork));
  Thread->Launch();
  return Thread;
}

}  // namespace tessalune
