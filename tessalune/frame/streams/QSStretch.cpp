#include <tessalune/frame/streams/QSStretch.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

namespace tessalune {
namespace {

constexpr int MostUnitBits = 94;
constexpr int MostStepBits = 62;

// A number above 0 as Odd * 2^Exponent.
struct TDyadic {
  explicit TDyadic(double ANumber) {
    constexpr int Digits = std::numeric_limits<double>::digits;
    Odd = static_cast<std::uint64_t>(std::ldexp(std::frexp(ANumber, &Exponent), Digits));
    const int Zeros = std::countr_zero(Odd);
    Odd >>= Zeros;
    Exponent += Zeros - Digits;
  }
  std::uint64_t Odd;
  int Exponent;
};

bool IsKnown(double ARate) { return ARate > 0.0 && std::isfinite(ARate); }

double Between(double ALeft, double ARight, double AWay) { return ALeft + (ARight - ALeft) * AWay; }
TComplex Between(const TComplex& ALeft, const TComplex& ARight, double AWay) {
  return {Between(ALeft.Re, ARight.Re, AWay), Between(ALeft.Im, ARight.Im, AWay)};
}

template <class TWide>
std::int64_t Saturated(TWide AValue) {
  constexpr auto Most = std::int64_t{1} << 62;
  return AValue < static_cast<TWide>(Most) ? static_cast<std::int64_t>(AValue) : Most;
}

}  // namespace

TQSStretch::TQSStretch(double AInputRate, double AOutputRate) {
  if (!IsKnown(AInputRate) || !IsKnown(AOutputRate)) return;
  TDyadic Step(AInputRate);
  TDyadic Unit(AOutputRate);
  const std::uint64_t Common = std::gcd(Step.Odd, Unit.Odd);
  Step.Odd /= Common;
  Unit.Odd /= Common;
  const int Shift = Step.Exponent - Unit.Exponent;
  const int StepBits = static_cast<int>(std::bit_width(Step.Odd)) + std::max(Shift, 0);
  const int UnitBits = static_cast<int>(std::bit_width(Unit.Odd)) + std::max(-Shift, 0);
  if (StepBits <= MostStepBits && UnitBits <= MostUnitBits) {
    FStep = TWide{Step.Odd} << std::max(Shift, 0);
    FUnit = TWide{Unit.Odd} << std::max(-Shift, 0);
    return;
  }
  constexpr double Scale = 0x1p40;
  const double Steps = std::min(AInputRate / AOutputRate * Scale, 0x1p62);
  FStep = static_cast<TWide>(std::max(1.0, std::round(Steps)));
  FUnit = static_cast<TWide>(Scale);
}

std::int64_t TQSStretch::Advance(std::int64_t ACount) noexcept {
  if (IsEven()) return ACount;
  const TWide Place = FRest + static_cast<TWide>(ACount) * FStep;
  FRest = Place % FUnit;
  return Saturated(Place / FUnit);
}

std::int64_t TQSStretch::Reach(std::int64_t AInputs) const noexcept {
  if (IsEven() || AInputs < 1) return std::max<std::int64_t>(AInputs, 0);
  const TWide Way = static_cast<TWide>(AInputs - 1) * FUnit;
  return Way < FRest ? 0 : Saturated((Way - FRest) / FStep + 1);
}

std::int64_t TQSStretch::ReachToEnd(std::int64_t AInputs) const noexcept {
  if (IsEven() || AInputs < 1) return std::max<std::int64_t>(AInputs, 0);
  return Saturated((static_cast<TWide>(AInputs) * FUnit - FRest + FStep - 1) / FStep);
}

std::int64_t TQSStretch::Needs(std::int64_t ACount) const noexcept {
  if (IsEven() || ACount < 1) return ACount;
  const TWide Last = FRest + static_cast<TWide>(ACount - 1) * FStep;
  return Saturated(Last / FUnit + (Last % FUnit != 0 ? 2 : 1));
}

template <class TInteger, class T>
void TQSStretch::ReadBy(const T* AIn, std::int64_t AInputs, T* AOut, std::int32_t ACount) const {
  const auto Unit = static_cast<TInteger>(FUnit);
  const auto Whole = static_cast<std::int64_t>(FStep / FUnit);
  const auto Part = static_cast<TInteger>(FStep % FUnit);
  auto Rest = static_cast<TInteger>(FRest);
  std::int64_t At = 0;
  for (std::int32_t I = 0; I < ACount; ++I) {
    const T& Left = AIn[std::min(At, AInputs - 1)];
    const bool IsOnLine = Rest != 0 && At + 1 < AInputs;
    AOut[I] =
        IsOnLine ? Between(Left, AIn[At + 1], static_cast<double>(Rest) / static_cast<double>(Unit))
                 : Left;
    At += Whole;
    Rest += Part;
    if (Rest >= Unit) {
      Rest -= Unit;
      ++At;
    }
  }
}

template <class T>
void TQSStretch::ReadAs(const T* AIn, std::int64_t AInputs, T* AOut, std::int32_t ACount) const {
  if (FUnit >> 62 == 0) {
    ReadBy<std::uint64_t>(AIn, AInputs, AOut, ACount);
  } else {
    ReadBy<TWide>(AIn, AInputs, AOut, ACount);
  }
}

void TQSStretch::Read(const double* AIn, std::int64_t AInputs, double* AOut,
                      std::int32_t ACount) const {
  ReadAs(AIn, AInputs, AOut, ACount);
}
void TQSStretch::Read(const TComplex* AIn, std::int64_t AInputs, TComplex* AOut,
                      std::int32_t ACount) const {
  ReadAs(AIn, AInputs, AOut, ACount);
}

}  // namespace tessalune
