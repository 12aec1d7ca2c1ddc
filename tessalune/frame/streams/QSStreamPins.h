// Pins for streams of blocks, for streams of single values, and for both.
#pragma once

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/streams/QSSimpleDataBuffer.h>
#include <tessalune/frame/streams/QSStreamTypes.h>

#include <cstdint>

namespace tessalune {

// An output that serves as a clock: whatever it sends ticks the clock inputs that are linked to it.
class TQSKLClockableSourcePin : public TKLSourcePin {
 public:
  using TKLSourcePin::TKLSourcePin;
};

// An output of blocks.
class TQSKLSourcePin : public TQSKLClockableSourcePin {
 public:
  using TQSKLClockableSourcePin::TQSKLClockableSourcePin;

  // Sends a block to all sinks, one after the other, on this thread, and returns their results
  // together. No sample is copied: the sinks share the block.
  // Move the reference in where it is not needed any more: a sink that finds itself the only holder
  // of a block may compute in place.
  virtual TKLNotifyResult SubmitBuffer(TRef<IQSDataBuffer> ABuffer);

  // Ends the stream of a source whose data has ended: the sinks get a TKLStopOperation.
  void EndStop();
};

// An input of blocks.
class TQSKLSinkPin : public TKLSinkPin {
 public:
  using TKLSinkPin::TKLSinkPin;

  // Asks upstream for one block, for the component APump; call it once a pump was granted
  // (TKLStartPumpOperation). The block arrives before the call returns.
  TKLNotifyResult MasterPump(TObject& APump);
};

// Pins of one sample type.
template <const TKLDataType& Type>
class TQSKLTypedSourcePin : public TQSKLSourcePin {
 public:
  explicit TQSKLTypedSourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSourcePin(std::move(AOwner), {&Type}, std::move(AEvent)) {}
};
template <const TKLDataType& Type>
class TQSKLTypedSinkPin : public TQSKLSinkPin {
 public:
  explicit TQSKLTypedSinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSinkPin(std::move(AOwner), {&Type}, std::move(AEvent)) {}
};

using TQSKLRealSourcePin = TQSKLTypedSourcePin<RealStream>;
using TQSKLRealSinkPin = TQSKLTypedSinkPin<RealStream>;
using TQSKLComplexSourcePin = TQSKLTypedSourcePin<ComplexStream>;
using TQSKLComplexSinkPin = TQSKLTypedSinkPin<ComplexStream>;
using TQSKLIntegerSourcePin = TQSKLTypedSourcePin<IntegerStream>;
using TQSKLIntegerSinkPin = TQSKLTypedSinkPin<IntegerStream>;
using TQSKLUnsignedSourcePin = TQSKLTypedSourcePin<UnsignedStream>;
using TQSKLUnsignedSinkPin = TQSKLTypedSinkPin<UnsignedStream>;
using TQSKLBinarySourcePin = TQSKLTypedSourcePin<BlockStream>;

// An input that takes blocks of any sample type for their bytes.
class TQSKLBinarySinkPin : public TQSKLSinkPin {
 public:
  explicit TQSKLBinarySinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {});
};

class TQSKLRealComplexSinkPin : public TQSKLSinkPin {
 public:
  explicit TQSKLRealComplexSinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSinkPin(std::move(AOwner), {&RealStream, &ComplexStream}, std::move(AEvent)) {}
};

// Pins of any of the five sample types.
class TQSKLIntegerRealComplexBinarySourcePin : public TQSKLSourcePin {
 public:
  explicit TQSKLIntegerRealComplexBinarySourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSourcePin(std::move(AOwner), SampleTypes(), std::move(AEvent)) {}
};
class TQSKLIntegerRealComplexBinarySinkPin : public TQSKLSinkPin {
 public:
  explicit TQSKLIntegerRealComplexBinarySinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSinkPin(std::move(AOwner), SampleTypes(), std::move(AEvent)) {}
};

// An output of raw bytes that each sink takes for samples of its own type.
class TQSKLChannelSourcePin : public TQSKLSourcePin {
 public:
  explicit TQSKLChannelSourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSourcePin(std::move(AOwner), SampleTypes(), std::move(AEvent)) {}

  // The bytes of the largest sample among the types in force on the links; 0 without a link.
  std::int32_t GetMaxSampleSize();
};

// An output of real blocks or of single real values, whatever each sink takes: what is submitted
// in one form reaches a sink of the other form all the same, a block as its samples one by one, a
// value as a block of one.
class TQSKLComboRealSourcePin : public TQSKLSourcePin {
 public:
  explicit TQSKLComboRealSourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSourcePin(std::move(AOwner), {&RealStream, &RealValue}, std::move(AEvent),
                       &TQSKLComboRealSourcePin::Translated) {}

  TKLNotifyResult SubmitBuffer(TRef<IQSDataBuffer> ABuffer) override;
  TKLNotifyResult SubmitReal(double AValue);
  TKLNotifyResult SubmitFloat(float AValue) { return SubmitReal(static_cast<double>(AValue)); }

  // True if some sink takes blocks.
  bool HasBlockSinks();

 private:
  // A start names its rate in the form of the link: samples in blocks, or single values.
  static TRef<IKLNotifyOperation> Translated(const TKLLink& ALink, IKLNotifyOperation& AOperation);
};

// An input of real blocks or of single real values; blocks, if the source can do both.
class TQSKLComboRealSinkPin : public TQSKLSinkPin {
 public:
  explicit TQSKLComboRealSinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLSinkPin(std::move(AOwner), {&RealStream, &RealValue}, std::move(AEvent)) {}

  bool IsConnectedToRealBufferStream() const { return IsLinkedAs(RealStream); }
  bool IsConnectedToSingleRealStream() const { return IsLinkedAs(RealValue); }

 private:
  bool IsLinkedAs(const TKLDataType& AType) const;
};

// An output of clock ticks.
class TKLClockSourcePin : public TKLSourcePin {
 public:
  explicit TKLClockSourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TKLSourcePin(std::move(AOwner), {&ClockTick}, std::move(AEvent)) {}
  // ASamples is the time that has passed, in samples; 0: one block's worth.
  TKLNotifyResult Tick(std::int32_t ASamples = 0) {
    return Notify(MakeRef<TKLClockOperation>(ASamples));
  }
};

// An input of clock ticks, from any number of sources. Blocks of every type and single values tick
// too, by the count of their samples.
class TKLClockMultiSinkPin : public TKLMultiSinkPin {
 public:
  explicit TKLClockMultiSinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {});
};

// Notifies two outputs, one behind the other; the result is that of the second. A stop reaches
// both, whatever the first one's sinks throw.
TKLNotifyResult NotifyBoth(TKLPin& AFirst, TKLPin& ASecond, IKLNotifyOperation& AOperation);

}  // namespace tessalune
