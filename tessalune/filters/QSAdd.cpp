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
                                                     .Effect = TTakesEffect::AtOnce,
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

namespace {

constexpr TClassText AddText{
    .Use =
        R"(Mixes streams: the parts of a test signal, the channels of a recording, a signal and the noise
that it has to stand. Scale each input before, by TQSApplyRealConst; nothing here keeps a sum
within bounds. The number of inputs is `InputPins`, and a link to `InputPins` without an index
takes the next free one.)",
    .BadInput =
        R"(A sum that a double cannot hold becomes infinite; infinities of both signs make a NaN, and a NaN
stays one. An input that is not linked, or whose stream has ended or not begun, is left out.)",
    .Accuracy =
        R"(Summed up in the order of the pins, with one rounding for each input but the first. One step a
sample and input.)",
    .Formulas = "    y[n] = x0[n] + x1[n] + ...",
    .SeeAlso = "TQSSubtract, TQSMultiply, TQSAddComplex, TQSApplyRealConst",
    .Example = "A tone of 100 Hz and a third of its third harmonic, and their sum.",
};

}  // namespace

const TPublishedTable& TQSAdd::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSAdd",
                       .DisplayName = "Add Signals",
                       .Category = categories::Math,
                       .Doc = "The sum of several real streams, sample by sample.",
                       .Text = AddText},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSAdd::Join(const double* AFirst, const double* ASecond, double* AOut, std::int32_t ACount) {
  ippsAdd_64f(AFirst, ASecond, AOut, ACount);
}

void QSAdd::RegisterPkg() { RegisterComponents({ClassOf<TQSAdd>()}); }

namespace {

constexpr TClassText AddComplexText{
    .Use =
        R"(Adds spectra, analytic signals and other complex streams, part by part: to put a carrier beside
another, or to average spectra by adding and then multiplying with a constant. The number of
inputs is `InputPins`.)",
    .BadInput =
        R"(A sum that a double cannot hold becomes infinite; infinities of both signs make a NaN. Either part
is treated by itself. An input that is not linked, or whose stream has ended or not begun, is left
out.)",
    .Accuracy =
        R"(Summed up in the order of the pins, with one rounding of each part for each input but the first.
Two additions a sample and input.)",
    .Formulas = R"(    re y[n] = re x0[n] + re x1[n] + ...
    im y[n] = im x0[n] + im x1[n] + ...)",
    .SeeAlso = "TQSAdd, TQSSubtractComplex, TQSMultiplyComplex, TQSApplyComplexConst",
    .Example = "Two complex tones, of 100 and 300 Hz, and the real part of their sum.",
};

}  // namespace

const TPublishedTable& TQSAddComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSAddComplex",
                       .DisplayName = "Add Complex Signals",
                       .Category = categories::Math,
                       .Doc = "The sum of several complex streams, sample by sample.",
                       .Text = AddComplexText},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSAddComplex::Join(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
                         std::int32_t ACount) {
  ippsAdd_64fc(AFirst, ASecond, AOut, ACount);
}

void QSAddComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSAddComplex>()}); }

// --- products ---

namespace {

constexpr TClassText MultiplyText{
    .Use =
        R"(Amplitude modulation, mixing and gating: multiply by an envelope to shape a tone, by a carrier to
move a signal to sum and difference of the frequencies, by 0 and 1 to gate it without taking
samples out. Linked twice to one source it squares. The number of inputs is `InputPins`.)",
    .BadInput =
        R"(A product that a double cannot hold becomes infinite, 0 times an infinity a NaN. An input that is
not linked, or whose stream has ended or not begun, is left out: it counts as 1, not as 0.)",
    .Accuracy =
        R"(Multiplied in the order of the pins, with one rounding for each input but the first. One step a
sample and input.)",
    .Formulas = "    y[n] = x0[n] x1[n] ...",
    .SeeAlso = "TQSDivide, TQSAdd, TQSMultiplyComplex, TQSApplyRealConst, TQSSwitch",
    .Example = "A carrier of 500 Hz and an envelope from 0 to 1, and their product.",
};

}  // namespace

const TPublishedTable& TQSMultiply::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMultiply",
                       .DisplayName = "Multiply Signals",
                       .Category = categories::Math,
                       .Doc = "The product of several real streams, sample by sample; one that "
                              "has ended, or has not begun, is left out.",
                       .Text = MultiplyText},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSMultiply::Join(const double* AFirst, const double* ASecond, double* AOut,
                       std::int32_t ACount) {
  ippsMul_64f(AFirst, ASecond, AOut, ACount);
}

void QSMultiply::RegisterPkg() { RegisterComponents({ClassOf<TQSMultiply>()}); }

namespace {

constexpr TClassText MultiplyComplexText{
    .Use =
        R"(Moves a spectrum along the frequency axis: a complex stream times exp(i w n) is shifted by w, with
no mirror image. The product of two spectra convolves the signals (in the frame, circularly), and
that of one with the TQSConjugate of another correlates them. The number of inputs is `InputPins`.)",
    .BadInput =
        R"(The parts of a product are sums of two products each: where these overflow to infinities of both
signs, a part is NaN. An input that is not linked, or whose stream has ended or not begun, counts
as 1.)",
    .Accuracy =
        R"(Each product is off by a few roundings of its magnitude; where the parts of a product cancel, that
part has fewer digits of its own. Four multiplications and two additions a sample and input but
the first.)",
    .Formulas = R"(    re (a b) = re a re b - im a im b
    im (a b) = re a im b + im a re b)",
    .SeeAlso = "TQSMultiply, TQSDivideComplex, TQSConjugate, TQSApplyComplexConst",
    .Example =
        R"(A complex tone of 100 Hz, multiplied by one of 200 Hz: the real part of what comes out is a tone
of 300 Hz alone.)",
};

}  // namespace

const TPublishedTable& TQSMultiplyComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMultiplyComplex",
                       .DisplayName = "Multiply Complex Signals",
                       .Category = categories::Math,
                       .Doc = "The product of several complex streams, sample by sample; one that "
                              "has ended, or has not begun, is left out.",
                       .Text = MultiplyComplexText},
                      &TQSListMultiInput::Published());
  return Table;
}

void TQSMultiplyComplex::Join(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
                              std::int32_t ACount) {
  ippsMul_64fc(AFirst, ASecond, AOut, ACount);
}

void QSMultiplyComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSMultiplyComplex>()}); }

}  // namespace tessalune
