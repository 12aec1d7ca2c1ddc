// Between real and integer streams.
#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <cstdint>

namespace tessalune {

// What the two have in common: each block gives one of the same size. While the output leads
// nowhere nothing is computed.
template <class TIn, class TOut>
class TQSSampleConverter : public TQSBasicThreadedFilter {
 public:
  using TInPin = TQSKLTypedSinkPin<TSampleTraits<TIn>::Type>;
  using TOutPin = TQSKLTypedSourcePin<TSampleTraits<TOut>::Type>;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TOutPin& OutputPin() { return FOutputPin; }
  TInPin& InputPin() { return FInputPin; }

 protected:
  explicit TQSSampleConverter(TConstruct AConstruct);
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  TKLPin* GetOutputPin() override { return &FOutputPin; }
  virtual void Convert(const TIn* AIn, TOut* AOut, std::int32_t ACount) = 0;

 private:
  TInPin FInputPin;
  TOutPin FOutputPin;
};

extern template class TQSSampleConverter<double, std::int32_t>;
extern template class TQSSampleConverter<std::int32_t, double>;

// Real samples as integers of 32 bits. What is beyond them saturates: to 2147483647 above,
// -2147483648 below, the infinities too; a NaN gives 0.
class TQSRealToInt : public TQSSampleConverter<double, std::int32_t> {
 public:
  explicit TQSRealToInt(TConstruct AConstruct) : TQSSampleConverter(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // True: to the nearest integer, a tie to the even one. False, the default: towards 0, so 2.7
  // gives 2 and -2.7 gives -2. Takes effect with the next block.
  bool Round() const { return FRound; }
  void SetRound(bool AValue);

 protected:
  void Convert(const double* AIn, std::int32_t* AOut, std::int32_t ACount) override;

 private:
  TField<bool> FRound;
};

// Integers as real samples, each exactly.
class TQSIntToReal : public TQSSampleConverter<std::int32_t, double> {
 public:
  explicit TQSIntToReal(TConstruct AConstruct) : TQSSampleConverter(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  void Convert(const std::int32_t* AIn, double* AOut, std::int32_t ACount) override;
};

namespace QSRealToInt {
void RegisterPkg();
}
namespace QSIntToReal {
void RegisterPkg();
}

}  // namespace tessalune
