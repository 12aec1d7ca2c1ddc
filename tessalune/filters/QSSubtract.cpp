#include <tessalune/filters/QSSubtract.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>

namespace tessalune {
namespace {

void Subtract(const double* AFirst, const double* ASecond, double* AOut, std::int32_t ACount) {
  ippsSub_64f(ASecond, AFirst, AOut, ACount);
}
void Subtract(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
              std::int32_t ACount) {
  ippsSub_64fc(ASecond, AFirst, AOut, ACount);
}
void Negate(const double* AIn, double* AOut, std::int32_t ACount) {
  ippsMulC_64f(AIn, -1.0, AOut, ACount);
}
void Negate(const TComplex* AIn, TComplex* AOut, std::int32_t ACount) {
  ippsMulC_64fc(AIn, {-1.0, 0.0}, AOut, ACount);
}
void Divide(const double* AFirst, const double* ASecond, double* AOut, std::int32_t ACount) {
  ippsDiv_64f(ASecond, AFirst, AOut, ACount);
}
void Divide(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut, std::int32_t ACount) {
  ippsDiv_64fc(ASecond, AFirst, AOut, ACount);
}

template <class T>
void Copy(const T* AIn, T* AOut, std::int32_t ACount) {
  if (AIn != AOut) std::copy_n(AIn, ACount, AOut);
}

}  // namespace

// --- differences ---

template <class T>
TQSSubtractOf<T>::TQSSubtractOf(TConstruct AConstruct)
    : TQSTypedMultiInput<T, T>(AConstruct), FPositiveInputPin(*this), FNegativeInputPin(*this) {}

template <class T>
const TPublishedTable& TQSSubtractOf<T>::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSubtractOf"}, &TQSTypedMultiInput<T, T>::Published())
          .Pin("PositiveInputPin", &TQSSubtractOf::PositiveInputPin, "The stream to subtract from.",
               true)
          .Pin("NegativeInputPin", &TQSSubtractOf::NegativeInputPin, "The stream to subtract.",
               true);
  return Table;
}

template <class T>
bool TQSSubtractOf<T>::Calculate(std::span<const T* const> AInputs, T* AOut, std::int32_t ACount) {
  const T* const Positive = AInputs[0];
  const T* const Negative = AInputs[1];
  if (Positive == nullptr) {
    Negate(Negative, AOut, ACount);
  } else if (Negative == nullptr) {
    Copy(Positive, AOut, ACount);
  } else {
    Subtract(Positive, Negative, AOut, ACount);
  }
  return true;
}

template class TQSSubtractOf<double>;
template class TQSSubtractOf<TComplex>;

namespace {

constexpr TClassText SubtractText{
    .Use =
        R"(The difference of two streams: what a filter has taken out, how far two ways of computing are
apart, a signal without a disturbance that is known. The two have to be in step; a filter with a
delay needs TQSDelayLine on the other road.)",
    .BadInput =
        R"(A difference that a double cannot hold becomes infinite, and that of two like infinities is a NaN.
An input that is not linked, or whose stream has ended or not begun, counts as 0: the positive
stream alone is passed on, the negative one alone is negated.)",
    .Accuracy = "One rounding a sample; equal samples give exactly 0.",
    .Formulas = "    y[n] = positive[n] - negative[n]",
    .SeeAlso = "TQSAdd, TQSDivide, TQSSubtractComplex, TQSDelayLine",
    .Example = "A tone, its copy in steps of a quarter, and what the steps have lost.",
};

}  // namespace

const TPublishedTable& TQSSubtract::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSubtract",
                       .DisplayName = "Subtract Signals",
                       .Category = categories::Math,
                       .Doc = "One real stream less another, sample by sample.",
                       .Text = SubtractText},
                      &TQSSubtractOf::Published());
  return Table;
}

void QSSubtract::RegisterPkg() { RegisterComponents({ClassOf<TQSSubtract>()}); }

namespace {

constexpr TClassText SubtractComplexText{
    .Use =
        R"(The difference of two complex streams, part by part: the change from one spectrum to another, or
the error of a transform and its inverse.)",
    .BadInput =
        R"(A part that a double cannot hold becomes infinite, and that of two like infinities is a NaN. An
input that is not linked, or whose stream has ended or not begun, counts as 0: the positive stream
alone is passed on, the negative one alone is negated.)",
    .Accuracy = "One rounding of each part; equal samples give exactly 0.",
    .Formulas = R"(    re y[n] = re positive[n] - re negative[n]
    im y[n] = im positive[n] - im negative[n])",
    .SeeAlso = "TQSSubtract, TQSAddComplex, TQSDivideComplex",
    .Example =
        R"(The sum of two complex tones, less one of them: the real part of what is left is the other one.)",
};

}  // namespace

const TPublishedTable& TQSSubtractComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSubtractComplex",
                       .DisplayName = "Subtract Complex Signals",
                       .Category = categories::Math,
                       .Doc = "One complex stream less another, sample by sample.",
                       .Text = SubtractComplexText},
                      &TQSSubtractOf::Published());
  return Table;
}

void QSSubtractComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSSubtractComplex>()}); }

// --- quotients ---

template <class T>
TQSDivideOf<T>::TQSDivideOf(TConstruct AConstruct)
    : TQSTypedMultiInput<T, T>(AConstruct), FDivisibleInputPin(*this), FDividerInputPin(*this) {}

template <class T>
const TPublishedTable& TQSDivideOf<T>::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDivideOf"}, &TQSTypedMultiInput<T, T>::Published())
          .Pin("DivisibleInputPin", &TQSDivideOf::DivisibleInputPin, "The stream to divide.", true)
          .Pin("DividerInputPin", &TQSDivideOf::DividerInputPin, "The stream to divide by.", true);
  return Table;
}

template <class T>
bool TQSDivideOf<T>::Calculate(std::span<const T* const> AInputs, T* AOut, std::int32_t ACount) {
  const T* const Divisible = AInputs[0];
  const T* const Divider = AInputs[1];
  if (Divisible == nullptr) {
    std::fill_n(AOut, ACount, T{});
  } else if (Divider == nullptr) {
    Copy(Divisible, AOut, ACount);
  } else {
    Divide(Divisible, Divider, AOut, ACount);
  }
  return true;
}

template class TQSDivideOf<double>;
template class TQSDivideOf<TComplex>;

namespace {

constexpr TClassText DivideText{
    .Use =
        R"(The ratio of two streams: a transfer function from two magnitude spectra, a signal freed from an
envelope that is known, a level against a reference that moves.)",
    .BadInput =
        R"(A divisor of 0 gives an infinity with the signs' product, and 0 / 0 a NaN. Without a divider, one
that is not linked or whose stream has ended or not begun, the divisible stream is passed on;
without a divisible stream the output is 0 for as long as the divider's goes on.)",
    .Accuracy = "The exact quotient, rounded once. One division a sample.",
    .Formulas = "    y[n] = divisible[n] / divider[n]",
    .SeeAlso = "TQSMultiply, TQSSubtract, TQSDivideComplex, TQSApplyRealConst",
    .Example =
        R"(A tone under an envelope between 0.5 and 1.5, divided by the envelope: the tone is even again.)",
};

}  // namespace

const TPublishedTable& TQSDivide::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDivide",
                       .DisplayName = "Divide Signals",
                       .Category = categories::Math,
                       .Doc = "One real stream divided by another, sample by sample; without a "
                              "divider the stream itself, without a stream zeros.",
                       .Text = DivideText},
                      &TQSDivideOf::Published());
  return Table;
}

void QSDivide::RegisterPkg() { RegisterComponents({ClassOf<TQSDivide>()}); }

namespace {

constexpr TClassText DivideComplexText{
    .Use =
        R"(The quotient of two complex streams: the response of a system as the spectrum that came out over
the one that went in, with its phase; or an equaliser for a response that was measured.)",
    .BadInput =
        R"(A divisor of 0 gives NaN in both parts. Where a spectrum has bins that hold nothing but noise, the
quotient is noise as well: look at the magnitude of the divider too. Without a divider, one that
is not linked or whose stream has ended or not begun, the divisible stream is passed on; without a
divisible stream the output is 0 for as long as the divider's goes on.)",
    .Accuracy =
        R"(Off by a few roundings of the quotient's magnitude. Some ten operations a sample.)",
    .Formulas = R"(    y[n] = divisible[n] / divider[n], complex

Computed after R. L. Smith 1962, "Algorithm 116: Complex division", Comm. ACM 5, which squares
nothing and so neither overflows nor underflows before its time.)",
    .SeeAlso = "TQSDivide, TQSMultiplyComplex, TQSFourier, TQSCartToPolar",
    .Example =
        R"(A complex tone of 300 Hz, divided by one of 200 Hz: the real part of what comes out is a tone of
100 Hz.)",
};

}  // namespace

const TPublishedTable& TQSDivideComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDivideComplex",
                       .DisplayName = "Divide Complex Signals",
                       .Category = categories::Math,
                       .Doc = "One complex stream divided by another, sample by sample; without a "
                              "divider the stream itself, without a stream zeros.",
                       .Text = DivideComplexText},
                      &TQSDivideOf::Published());
  return Table;
}

void QSDivideComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSDivideComplex>()}); }

}  // namespace tessalune
