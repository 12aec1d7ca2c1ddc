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

const TPublishedTable& TQSSubtract::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSubtract",
                       .DisplayName = "Subtract Signals",
                       .Category = categories::Math,
                       .Doc = "One real stream less another, sample by sample."},
                      &TQSSubtractOf::Published());
  return Table;
}

void QSSubtract::RegisterPkg() { RegisterComponents({ClassOf<TQSSubtract>()}); }

const TPublishedTable& TQSSubtractComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSubtractComplex",
                       .DisplayName = "Subtract Complex Signals",
                       .Category = categories::Math,
                       .Doc = "One complex stream less another, sample by sample."},
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

const TPublishedTable& TQSDivide::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDivide",
                       .DisplayName = "Divide Signals",
                       .Category = categories::Math,
                       .Doc = "One real stream divided by another, sample by sample; without a "
                              "divider the stream itself, without a stream zeros."},
                      &TQSDivideOf::Published());
  return Table;
}

void QSDivide::RegisterPkg() { RegisterComponents({ClassOf<TQSDivide>()}); }

const TPublishedTable& TQSDivideComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDivideComplex",
                       .DisplayName = "Divide Complex Signals",
                       .Category = categories::Math,
                       .Doc = "One complex stream divided by another, sample by sample; without a "
                              "divider the stream itself, without a stream zeros."},
                      &TQSDivideOf::Published());
  return Table;
}

void QSDivideComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSDivideComplex>()}); }

}  // namespace tessalune
