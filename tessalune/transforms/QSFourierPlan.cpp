#include <tessalune/frame/runtime/QSMemory.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/transforms/QSFourierPlan.h>

#include <bit>
#include <new>

namespace tessalune {
namespace {

// The primitives of one kind of plan. Their length is an order or a count of samples.
struct TRealFft {
  using TSpec = FFTSpec_R_64f;
  using TSample = double;
  using TBin = double;
  static constexpr auto& Init = ippsFFTInitAlloc_R_64f;
  static constexpr auto& Free = ippsFFTFree_R_64f;
  static constexpr auto& GetBufSize = ippsFFTGetBufSize_R_64f;
  static constexpr auto& Forward = ippsFFTFwd_RToCCS_64f;
  static constexpr auto& Inverse = ippsFFTInv_CCSToR_64f;
};
struct TComplexFft {
  using TSpec = FFTSpec_C_64fc;
  using TSample = TComplex;
  using TBin = TComplex;
  static constexpr auto& Init = ippsFFTInitAlloc_C_64fc;
  static constexpr auto& Free = ippsFFTFree_C_64fc;
  static constexpr auto& GetBufSize = ippsFFTGetBufSize_C_64fc;
  static constexpr auto& Forward = ippsFFTFwd_CToC_64fc;
  static constexpr auto& Inverse = ippsFFTInv_CToC_64fc;
};
struct TRealDft {
  using TSpec = DFTSpec_R_64f;
  using TSample = double;
  using TBin = double;
  static constexpr auto& Init = ippsDFTInitAlloc_R_64f;
  static constexpr auto& Free = ippsDFTFree_R_64f;
  static constexpr auto& GetBufSize = ippsDFTGetBufSize_R_64f;
  static constexpr auto& Forward = ippsDFTFwd_RToCCS_64f;
  static constexpr auto& Inverse = ippsDFTInv_CCSToR_64f;
};
struct TComplexDft {
  using TSpec = DFTSpec_C_64fc;
  using TSample = TComplex;
  using TBin = TComplex;
  static constexpr auto& Init = ippsDFTInitAlloc_C_64fc;
  static constexpr auto& Free = ippsDFTFree_C_64fc;
  static constexpr auto& GetBufSize = ippsDFTGetBufSize_C_64fc;
  static constexpr auto& Forward = ippsDFTFwd_CToC_64fc;
  static constexpr auto& Inverse = ippsDFTInv_CToC_64fc;
};

std::int32_t FlagOf(const TQSFourierPlanKind& AKind) {
  switch (AKind.Normalization) {
    case TQSFourierNormalization::fnNormalize:
      return AKind.IsInverse ? IPP_FFT_DIV_INV_BY_N : IPP_FFT_DIV_FWD_BY_N;
    case TQSFourierNormalization::fnNormalizeSqrt:
      return IPP_FFT_DIV_BY_SQRTN;
    default:
      return IPP_FFT_NODIV_BY_ANY;
  }
}

// With right arguments all that a primitive can lack is memory.
void Check(IppStatus AStatus) {
  if (AStatus != ippStsNoErr) throw std::bad_alloc();
}

template <class TCalls>
class TPlan final : public IQSFourierPlan {
 public:
  explicit TPlan(const TQSFourierPlanKind& AKind) : IQSFourierPlan(AKind) {
    const auto Size = static_cast<std::uint32_t>(AKind.Size);
    const std::int32_t Length = AKind.IsFft ? std::countr_zero(Size) : AKind.Size;
    typename TCalls::TSpec* Spec = nullptr;
    Check(TCalls::Init(&Spec, Length, FlagOf(AKind), ippAlgHintAccurate));
    FSpec.reset(Spec);
    std::int32_t Bytes = 0;
    Check(TCalls::GetBufSize(Spec, &Bytes));
    if (Bytes > 0) FWork.reset(new std::uint8_t[static_cast<std::size_t>(Bytes)]);
  }

  void Forward(const void* ASamples, TComplex* ABins) override {
    Check(TCalls::Forward(static_cast<const typename TCalls::TSample*>(ASamples),
                          reinterpret_cast<typename TCalls::TBin*>(ABins), FSpec.get(),
                          FWork.get()));
    if (!Kind().IsComplex) ippsConjCcs_64fc_I(ABins, Kind().Size);
  }

  void Inverse(const TComplex* ABins, void* ASamples) override {
    Check(TCalls::Inverse(reinterpret_cast<const typename TCalls::TBin*>(ABins),
                          static_cast<typename TCalls::TSample*>(ASamples), FSpec.get(),
                          FWork.get()));
  }

 private:
  struct TFree {
    void operator()(typename TCalls::TSpec* ASpec) const { TCalls::Free(ASpec); }
  };
  std::unique_ptr<typename TCalls::TSpec, TFree> FSpec;
  std::unique_ptr<std::uint8_t[]> FWork;
};

}  // namespace

std::unique_ptr<IQSFourierPlan> CreateFourierPlan(const TQSFourierPlanKind& AKind) {
  if (AKind.IsFft && AKind.IsComplex) return std::make_unique<TPlan<TComplexFft>>(AKind);
  if (AKind.IsFft) return std::make_unique<TPlan<TRealFft>>(AKind);
  if (AKind.IsComplex) return std::make_unique<TPlan<TComplexDft>>(AKind);
  return std::make_unique<TPlan<TRealDft>>(AKind);
}

std::int64_t FourierPlanBytes(const TQSFourierPlanKind& AKind) {
  // Measured at large powers of two: tables of 8 bytes a sample, and work memory as the samples.
  const std::int64_t Work = AKind.IsComplex ? sizeof(TComplex) : sizeof(double);
  return AKind.Size * (8 + Work);
}

void RequireMemory(std::int64_t ABytes) {
  constexpr std::int64_t Little = std::int64_t{64} << 20;  // whoever takes it will be told in time
  if (ABytes <= Little) return;
  const auto Bytes = static_cast<std::size_t>(ABytes);
  RecycledFree(RecycledAllocate(Bytes), Bytes);
}

}  // namespace tessalune
