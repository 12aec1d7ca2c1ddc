// A filter's own thread and the queue before it, as the published property Threading sets them.
#pragma once

#include <tessalune/frame/pins/KLOperations.h>
#include <tessalune/frame/runtime/QSThread.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace tessalune {

// What happens to a block that meets a full queue; in order from 0.
enum class TQSQueueFullMode : std::uint8_t {
  fmBlock,     // whoever delivers it waits for room; nothing is lost
  fmDropData,  // the block is dropped
};
template <>
struct TEnumNames<TQSQueueFullMode> {
  static constexpr std::array<std::string_view, 2> Names{"fmBlock", "fmDropData"};
};

class TQSThreadingQueue final : public TLockPersistent {
 public:
  using TLockPersistent::TLockPersistent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Blocks that may wait, at least 1; default 16. Takes effect with the next block. The queue may
  // grow beyond it by a block or two: where the filter's thread waits for something that whoever
  // delivers holds, waiting for room would hang both.
  std::uint32_t Size() const { return FSize; }
  void SetSize(std::uint32_t AValue);

  // Default fmBlock.
  TQSQueueFullMode FullMode() const { return FFullMode; }
  void SetFullMode(TQSQueueFullMode AValue);

 private:
  TField<std::uint32_t> FSize;
  TField<TQSQueueFullMode> FFullMode;
};

class TQSThreading final : public TLockPersistent {
 public:
  TQSThreading(TRef<IChangeNotifyLock> ALock, TLockComponent& AOwner,
               std::function<void()> APriorityNotify);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Whether blocks are computed on a thread of the filter's own; default false. A change takes
  // effect with the next block; the order of blocks stays.
  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool AValue);

  // Of the thread; default tpNormal. Takes effect at once.
  TThreadPriority Priority() const { return FPriority; }
  void SetPriority(TThreadPriority AValue);

  TQSThreadingQueue& Queue() { return FQueue; }

  // A block met a full queue. Fires on the delivering thread, once for each such block, before it
  // waits or is dropped.
  void SetOnQueueFull(TNotifyEvent AHandler);
  void FireQueueFull();

 private:
  TLockComponent& FOwner;
  const std::function<void()> FPriorityNotify;
  TField<bool> FEnabled;
  TField<TThreadPriority> FPriority;
  TQSThreadingQueue FQueue;
  TEvent<TNotifyEvent> FOnQueueFull;
};

// A component that may work off on a thread of its own what has arrived. A host asks each component
// by dynamic_cast.
class IFlushable {
 public:
  // Waits until all that has arrived was worked off; false if it cannot wait: on that thread
  // itself, or where it waits for the caller.
  virtual bool FlushQueue() = 0;

 protected:
  ~IFlushable() = default;
};

// The thread on which a filter computes. Operations leave the queue in the order in which they
// came, each as a call into the filter.
class IQSFilterThread : public IThread {
 public:
  // Waits until all that was pushed has been worked off, and returns true; or false if it cannot
  // wait: on the thread itself, or where the thread waits for the caller.
  virtual bool FlushQueue() = 0;
  // Appends an operation; if it is a block and the queue is full, as FullMode says. On the thread
  // itself it never waits. False, and nothing was appended, if the thread has been told to end.
  virtual bool PushOperation(TRef<IKLNotifyOperation> AOperation) = 0;
  // The thread ends when the queue is empty.
  virtual void Terminate() = 0;
};

// AWork is called for each operation; what it throws goes to the unhandled-exception hook, and the
// next operation follows. AOwner must outlive neither thread nor queue: once its gate is closed,
// what is still queued is dropped.
TRef<IQSFilterThread> CreateFilterThread(TLockComponent& AOwner, TRef<TCallGate> AGate,
                                         TQSThreading& AThreading,
                                         std::function<void(IKLNotifyOperation&)> AWork);

}  // namespace tessalune
