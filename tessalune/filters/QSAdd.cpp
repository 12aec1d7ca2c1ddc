#include <tessalune/filters/QSAdd.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>
#include <concepts>
#include <memory>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::uint32_t> InputPinsInfo{.Name = "InputPins",
                                                     .Default = 2,
                                                     .Bounds = Between(2U, 10000U),
                                                     .Unit = "pins",
                                                     .Doc = "The streams to join."};

}  // namespace

template <class T>
TQSListMultiInput<T>::TQSListMultiInput(TConstruct AConstruct)
    : TQSTypedMultiInput<T, T>(AConstruct), FInputPins({*this, this->FLock}, InputPinsInfo, [this] {
        return std::make_unique<TQSKLQueuedSinkPin<T>>(*this);
      }) {}

template <class T>
const TPublishedTable& TQSListMultiInput<T>::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSListMultiInput"}, &TQSTypedMultiInput<T, T>::Published())
          .PinList(InputPinsInfo, &TQSListMultiInput::InputPins,
                   std::same_as<T, double> ? "TQSKLQueuedRealSinkPin" : "TQSKLQueuedComplexSinkPin",
                   true);
  return Table;
}

template <class T>
bool TQSListMultiInput<T>::Calculate(std::span<const T* const> AInputs, T* AOut,
                                     std::int32_t ACount) {
  const T* First = nullptr;
  bool IsJoined = false;
  for (const T* Input : AInputs) {
    if (Input == nullptr) continue;
    if (First == nullptr) {
      First = Input;
      continue;
    }
    Join(IsJoined ? AOut : First, Input, AOut, ACount);
    IsJoined = true;
  }
  if (!IsJoined && First != AOut) std::copy_n(First, ACount, AOut);
  return true;
}

template class TQSListMultiInput<double>;
template class TQSListMultiInput<TComplex>;

// --- sums ---

const TPublishedTable& TQSAdd::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSAdd",
                       .DisplayName = "Add Signals",
                       .Category = categories::Math,
                       .Doc = "The sum of several real streams, sample by sample."},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSAdd::Join(const double* AFirst, const double* ASecond, double* AOut, std::int32_t ACount) {
  ippsAdd_64f(AFirst, ASecond, AOut, ACount);
}

void QSAdd::RegisterPkg() { RegisterComponents({ClassOf<TQSAdd>()}); }

const TPublishedTable& TQSAddComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSAddComplex",
                       .DisplayName = "Add Complex Signals",
                       .Category = categories::Math,
                       .Doc = "The sum of several complex streams, sample by sample."},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSAddComplex::Join(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
                         std::int32_t ACount) {
  ippsAdd_64fc(AFirst, ASecond, AOut, ACount);
}

void QSAddComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSAddComplex>()}); }

// --- products ---

const TPublishedTable& TQSMultiply::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMultiply",
                       .DisplayName = "Multiply Signals",
                       .Category = categories::Math,
                       .Doc = "The product of several real streams, sample by sample; one that "
                              "has ended, or has not begun, is left out."},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSMultiply::Join(const double* AFirst, const double* ASecond, double* AOut,
                       std::int32_t ACount) {
  ippsMul_64f(AFirst, ASecond, AOut, ACount);
}

void QSMultiply::RegisterPkg() { RegisterComponents({ClassOf<TQSMultiply>()}); }

const TPublishedTable& TQSMultiplyComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMultiplyComplex",
                       .DisplayName = "Multiply Complex Signals",
                       .Category = categories::Math,
                       .Doc = "The product of several complex streams, sample by sample; one that "
                              "has ended, or has not begun, is left out."},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSMultiplyComplex::Join(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
                              std::int32_t ACount) {
  ippsMul_64fc(AFirst, ASecond, AOut, ACount);
}

void QSMultiplyComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSMultiplyComplex>()}); }

}  // namespace tessalune
