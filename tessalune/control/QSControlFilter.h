// The base of the filters that control a stream: blocks of any of the five sample types, between
// one input and one output.
#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <cstdint>
#include <string_view>

namespace tessalune {

// A block is handled on the thread that delivers it, whatever Threading says.
class TQSControlFilter : public TQSCommonFilter {
 public:
  explicit TQSControlFilter(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLIntegerRealComplexBinarySourcePin& OutputPin() { return FOutputPin; }
  TQSKLIntegerRealComplexBinarySinkPin& InputPin() { return FInputPin; }

 protected:
  // A start: SetSampleRate, then StreamStart, then the output's sinks. A block:
  // IntSingleBufferOperation, with the block in the type of its stream. Whatever else comes goes on
  // to the output's sinks.
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override;
  // What comes up from the sinks goes on up; without a link there a stop ends here, and the rest
  // goes to SinkDispatch.
  virtual TKLNotifyResult SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                         const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                         TKLNotifyState AState);
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override = 0;
  TKLPin* GetOutputPin() override { return &FOutputPin; }

  // Raises the EQSException for ABytes bytes that are not to be had.
  [[noreturn]] void RefuseMemory(std::int64_t ABytes, std::string_view AAdvice) const;

  TQSKLIntegerRealComplexBinarySourcePin FOutputPin;
  TQSKLIntegerRealComplexBinarySinkPin FInputPin;

 private:
  // Of a filter's own thread and of blocks that come as they go: neither exists here.
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation&) final { return {}; }
  TKLNotifyResult IntBufferOperation(TRef<IQSDataBuffer>, TRef<IQSDataBuffer>) final { return {}; }
};

// The packet of a supplied operation as a block of the sample type that ADataTypeID names; null if
// it names none.
TRef<IQSDataBuffer> TakeTypedBlock(TKLSuppliedBufferOperation& AOperation,
                                   const TGUID& ADataTypeID);

}  // namespace tessalune
