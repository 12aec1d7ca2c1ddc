// Operations: what travels across links.
#pragma once

#include <tessalune/frame/runtime/QSData.h>
#include <tessalune/frame/runtime/QSFlagSet.h>
#include <tessalune/frame/runtime/QSMemory.h>
#include <tessalune/frame/runtime/QSReference.h>

#include <atomic>
#include <cstdint>
#include <utility>

namespace tessalune {

class TObject;

enum TKLNotifyStateFlag : std::uint8_t {
  nsNewLink,        // the operation is repeated for a link that was made after it was sent
  nsLastIteration,  // the last of the links that the operation crosses
};
using TKLNotifyState = TFlagSet<TKLNotifyStateFlag>;

enum TKLNotifyResultFlag : std::uint8_t {
  nrDataChanged,  // the receiver took the data in
};
using TKLNotifyResult = TFlagSet<TKLNotifyResultFlag>;

// Identifies an operation's class; the chain of parents answers IsType without a look at the
// run-time type.
struct TKLOperationClass {
  const char* Name;
  const TKLOperationClass* Parent;
};

// An operation on its way through the graph. Its receivers get a plain reference to it that is
// good for the call; who keeps it takes a TRef.
class IKLNotifyOperation : public IInterface, public TRecycled {
 public:
  static constexpr TKLOperationClass Class{"TKLNotifyOperation", nullptr};

  // True for T and its descendants.
  template <class T>
  bool IsType() const noexcept {
    for (const TKLOperationClass* At = FClass; At != nullptr; At = At->Parent) {
      if (At == &T::Class) return true;
    }
    return false;
  }
  // The operation as its class; only after IsType<T>.
  template <class T>
  T& GetInstance() noexcept {
    return static_cast<T&>(*this);
  }
  const char* ClassName() const noexcept { return FClass->Name; }

 protected:
  explicit IKLNotifyOperation(const TKLOperationClass& AClass) noexcept : FClass(&AClass) {}

 private:
  const TKLOperationClass* FClass;
};

// --- the stream's beginning and end ---

// Readies for a stream; base of the starts.
class TKLStartOperation : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLStartOperation", &IKLNotifyOperation::Class};
  explicit TKLStartOperation(const TKLOperationClass& AClass = Class) noexcept
      : IKLNotifyOperation(AClass) {}
};

// A start with a rate: single values a second.
class TKLStartRateOperation : public TKLStartOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLStartRateOperation", &TKLStartOperation::Class};
  explicit TKLStartRateOperation(double ARate, const TKLOperationClass& AClass = Class) noexcept
      : TKLStartOperation(AClass), Rate(ARate) {}
  const double Rate;
};

// A start with a rate: samples a second, in blocks. The receiver stores it, prepares, and forwards
// a start with its output's rate.
class TKLStartSampleRateOperation : public TKLStartOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLStartSampleRateOperation",
                                           &TKLStartOperation::Class};
  explicit TKLStartSampleRateOperation(double ARate) noexcept
      : TKLStartOperation(Class), Rate(ARate) {}
  const double Rate;
};

// A start on a pin that delivers spectra of a signal of that sample rate.
class TKLStartSpectrumOperation : public TKLStartOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLStartSpectrumOperation", &TKLStartOperation::Class};
  explicit TKLStartSpectrumOperation(double ARate) noexcept
      : TKLStartOperation(Class), Rate(ARate) {}
  const double Rate;
};

// Ends the stream; forwarded.
class TKLStopOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLStopOperation", &IKLNotifyOperation::Class};
  TKLStopOperation() noexcept : IKLNotifyOperation(Class) {}
};

// --- data ---

// A tick of so many samples (0: a tick that tells no count); base of the supplied operations, so
// that every stream can serve as a clock.
class TKLClockOperation : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLClockOperation", &IKLNotifyOperation::Class};
  explicit TKLClockOperation(std::int32_t ASamples,
                             const TKLOperationClass& AClass = Class) noexcept
      : IKLNotifyOperation(AClass), Samples(ASamples) {}
  const std::int32_t Samples;
};

class TKLSuppliedOperation : public TKLClockOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLSuppliedOperation", &TKLClockOperation::Class};

 protected:
  TKLSuppliedOperation(std::int32_t ASamples, const TKLOperationClass& AClass) noexcept
      : TKLClockOperation(ASamples, AClass) {}
};

// One block of samples.
class TKLSuppliedBufferOperation final : public TKLSuppliedOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLSuppliedBufferOperation",
                                           &TKLSuppliedOperation::Class};
  TKLSuppliedBufferOperation(TRef<IQSData> AValue, std::int32_t ASamples) noexcept
      : TKLSuppliedOperation(ASamples, Class), Value(std::move(AValue)) {}

  // The block. A receiver that is the last to see this operation takes the block out of it, so that
  // it may turn out to be the only holder; any other gets a reference beside the operation's own.
  TRef<IQSData> Take() noexcept {
    const bool IsLast = FLastLink.load(std::memory_order_relaxed) && HasSingleReference();
    return IsLast ? std::move(Value) : Value;
  }
  // The sender's word that the link that follows is the last to get this operation.
  void SetLastLink() noexcept { FLastLink.store(true, std::memory_order_relaxed); }

  TRef<IQSData> Value;

 private:
  // An earlier link's filter thread may ask while the sender says so.
  std::atomic<bool> FLastLink{false};
};

// One value.
template <class T>
class TKLTypedSuppliedOperation : public TKLSuppliedOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLTypedSuppliedOperation",
                                           &TKLSuppliedOperation::Class};
  explicit TKLTypedSuppliedOperation(T AValue, const TKLOperationClass& AClass = Class) noexcept
      : TKLSuppliedOperation(1, AClass), Value(AValue) {}
  const T Value;
};

// One value with the range in which it moves, and, where the pin has them, the range's times.
template <class T>
class TKLRangedSuppliedOperation final : public TKLTypedSuppliedOperation<T> {
 public:
  static constexpr TKLOperationClass Class{"TKLRangedSuppliedOperation",
                                           &TKLTypedSuppliedOperation<T>::Class};
  TKLRangedSuppliedOperation(T AValue, T AMin, T AMax, double AMinTime, double AMaxTime) noexcept
      : TKLTypedSuppliedOperation<T>(AValue, Class),
        Min(AMin),
        Max(AMax),
        MinTime(AMinTime),
        MaxTime(AMaxTime) {}
  const T Min;
  const T Max;
  const double MinTime;  // days
  const double MaxTime;  // days
};

// --- the pump ---

// How strong a claim to pump is; a stronger kind wins whatever the priorities.
enum TKLPumpType : std::uint8_t {
  ptNone,      // does not pump
  ptSlave,     // pumps if nobody else does
  ptMaster,    // sets the pace: a source's own clock, a sink that asks for blocks
  ptHardware,  // is paced from outside the machine
};

// Goes downstream at a stream's start and asks who will pump. Whoever can do so claims it; others
// pass it on.
class TKLPumpRequestOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLPumpRequestOperation", &IKLNotifyOperation::Class};
  TKLPumpRequestOperation(TObject* APump, TKLPumpType APumpType, std::uint32_t APriority,
                          double ADesiredRate) noexcept
      : IKLNotifyOperation(Class),
        Pump(APump),
        PumpType(APumpType),
        PumpPriority(APriority),
        DesiredRate(ADesiredRate) {}

  // Takes the request over if the claim is stronger than the one that it carries: a stronger type,
  // or the same with a higher priority. The first of equals keeps it.
  bool Claim(TObject& APump, TKLPumpType APumpType, std::uint32_t APriority) noexcept {
    if (APumpType < PumpType || (APumpType == PumpType && APriority <= PumpPriority)) return false;
    Pump = &APump;
    PumpType = APumpType;
    PumpPriority = APriority;
    return true;
  }

  TObject* Pump;
  TKLPumpType PumpType;
  std::uint32_t PumpPriority;
  const double DesiredRate;  // blocks a second that the source would deliver
};

// Tells the pump that was chosen that it may begin.
class TKLStartPumpOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLStartPumpOperation", &IKLNotifyOperation::Class};
  explicit TKLStartPumpOperation(TObject* APump) noexcept
      : IKLNotifyOperation(Class), Pump(APump) {}
  TObject* const Pump;
};

// Goes upstream from the pump: a source produces one block for it. A source that is reached by
// several ways makes one block for one OperationID.
class TKLMasterPumpOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLMasterPumpOperation", &IKLNotifyOperation::Class};
  explicit TKLMasterPumpOperation(TObject* APump) noexcept;
  TObject* const Pump;
  const std::uint32_t OperationID;  // never 0; another one for each operation
};

// Goes upstream and asks whether a source has data for its stream.
class TKLQueryStreamOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLQueryStreamOperation", &IKLNotifyOperation::Class};
  TKLQueryStreamOperation() noexcept : IKLNotifyOperation(Class) {}
};

// Goes downstream from a source without data: do not wait for this stream.
class TKLIgnoreStreamOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLIgnoreStreamOperation", &IKLNotifyOperation::Class};
  TKLIgnoreStreamOperation() noexcept : IKLNotifyOperation(Class) {}
};

}  // namespace tessalune
