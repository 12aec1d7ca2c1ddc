// Where the samples of an output lie in an input of another rate.
#pragma once

#include <tessalune/primitives/QSComplex.h>

#include <cstdint>

namespace tessalune {

// A way along an input, step by step: a step is one sample of the output, AInputRate / AOutputRate
// samples of the input. Rates are exact as the doubles that they are, and positions are kept in
// integers, so the millionth and the billionth step are as exact as the first, and the way from one
// place to another does not tell how often it was interrupted.
//
// Input samples are counted from the place on: sample 0 is the last one that is not behind it.
// What lies between two samples is on the straight line between them; where the input ends, its
// last sample stands until its time is over. Two rates that are so far apart, or so odd, that
// their ratio in lowest terms has more than 94 bits below or 62 above are off by up to 2^-40 of a
// sample a step, and no step is longer than 2^22 samples.
class TQSStretch {
 public:
  // Both rates are the same.
  TQSStretch() = default;
  // A rate that is no finite number above 0 is not known, and then both are the same.
  TQSStretch(double AInputRate, double AOutputRate);

  // True if each step is a sample.
  bool IsEven() const noexcept { return FStep == FUnit; }
  // How far behind sample 0, in samples, the place is; below 1.
  double Fraction() const noexcept {
    return static_cast<double>(FRest) / static_cast<double>(FUnit);
  }

  // Goes ACount steps; the result tells how many samples further it is.
  std::int64_t Advance(std::int64_t ACount) noexcept;
  // How many steps from here on lie between samples of which AInputs are there, so that nothing
  // that follows can change them.
  std::int64_t Reach(std::int64_t AInputs) const noexcept;
  // The same for an input that ends behind those AInputs samples.
  std::int64_t ReachToEnd(std::int64_t AInputs) const noexcept;
  // How many samples have to be there for ACount steps, the first of which is here.
  std::int64_t Needs(std::int64_t ACount) const noexcept;

  // The samples at ACount steps, of an input of AInputs samples (at least 1), to AOut.
  void Read(const double* AIn, std::int64_t AInputs, double* AOut, std::int32_t ACount) const;
  void Read(const TComplex* AIn, std::int64_t AInputs, TComplex* AOut, std::int32_t ACount) const;

 private:
  __extension__ using TWide = unsigned __int128;
  template <class T>
  void ReadAs(const T* AIn, std::int64_t AInputs, T* AOut, std::int32_t ACount) const;
  template <class TInteger, class T>
  void ReadBy(const T* AIn, std::int64_t AInputs, T* AOut, std::int32_t ACount) const;

  // A step is FStep / FUnit samples, the place FRest / FUnit behind sample 0.
  TWide FUnit = 1;
  TWide FStep = 1;
  TWide FRest = 0;
};

}  // namespace tessalune
