// Every primitive of every table refuses null pointers and lengths below 1 and touches nothing
// then. Those that take a plan or state stand in test_state_refusals.cpp.
#include "StatefulPrimitives.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <array>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessalune::test {
namespace {

template <class... TArgs>
class TRefusalCheck {
 public:
  using TFunction = IppStatus (*)(TArgs...) noexcept;

  TRefusalCheck(const char* AName, TFunction AFunction) : FName(AName), FFunction(AFunction) {
    for (std::size_t I = 0; I < FBuffers.size(); ++I)
      FBuffers[I].fill(1.0 / static_cast<double>(2 * I + 3));
    FUntouched = FBuffers;
  }

  void Run(std::size_t ALengthIndex) {
    RunNulls(std::index_sequence_for<TArgs...>{});
    RunLength(ALengthIndex, 0);
    RunLength(ALengthIndex, -1);
    EXPECT_EQ(Call(Valid()), ippStsNoErr) << FName << ": the arguments were not valid before";
    EXPECT_NE(FBuffers, FUntouched) << FName;
  }

  // The length is the last integer, or the one before where a scale factor follows.
  static std::size_t LengthIndex(const std::string& AName) {
    std::vector<std::size_t> Integers;
    std::size_t Index = 0;
    ((std::is_same_v<TArgs, std::int32_t> ? Integers.push_back(Index++) : void(++Index)), ...);
    const bool IsScaled = AName.ends_with("_Sfs") || AName == "ippsTone_Direct_64f";
    return Integers.at(Integers.size() - (IsScaled ? 2 : 1));
  }

 private:
  using TTuple = std::tuple<TArgs...>;

  template <class T>
  T Argument(std::size_t AIndex) {
    if constexpr (std::is_pointer_v<T>)
      return reinterpret_cast<T>(FBuffers[AIndex].data());
    else if constexpr (std::is_floating_point_v<T>)
      return T(0.375);
    else if constexpr (std::is_same_v<T, TComplex>)
      return {0.25, 0.5};
    else if constexpr (std::is_enum_v<T>)
      return static_cast<T>(1);
    else
      return 3;  // a length that every window takes
  }

  template <std::size_t... I>
  TTuple Valid(std::index_sequence<I...>) {
    return TTuple{Argument<TArgs>(I)...};
  }
  TTuple Valid() { return Valid(std::index_sequence_for<TArgs...>{}); }

  IppStatus Call(const TTuple& AArguments) { return std::apply(FFunction, AArguments); }

  void ExpectRefusal(const TTuple& AArguments, IppStatus AStatus, std::size_t AIndex) {
    EXPECT_EQ(Call(AArguments), AStatus) << FName << ", argument " << AIndex;
    EXPECT_EQ(FBuffers, FUntouched) << FName << " wrote, argument " << AIndex;
  }

  // Those whose rules for null pointers are others; they have tests of their own.
  bool MayBeNull(std::size_t AIndex) const {
    return (FName == "ippsCartToPolar_64fc" && AIndex > 0) ||
           (FName == "ippsRealToCplx_64f" && AIndex < 2);
  }

  template <std::size_t I>
  void RunNull() {
    if constexpr (std::is_pointer_v<std::tuple_element_t<I, TTuple>>) {
      if (MayBeNull(I)) return;
      TTuple Arguments = Valid();
      std::get<I>(Arguments) = nullptr;
      ExpectRefusal(Arguments, ippStsNullPtrErr, I);
    }
  }
  template <std::size_t... I>
  void RunNulls(std::index_sequence<I...>) {
    (RunNull<I>(), ...);
  }

  template <std::size_t I>
  static void SetInteger(TTuple& AArguments, std::size_t AIndex, std::int32_t AValue) {
    if constexpr (std::is_same_v<std::tuple_element_t<I, TTuple>, std::int32_t>)
      if (I == AIndex) std::get<I>(AArguments) = AValue;
  }
  template <std::size_t... I>
  static void SetInteger(TTuple& AArguments, std::size_t AIndex, std::int32_t AValue,
                         std::index_sequence<I...>) {
    (SetInteger<I>(AArguments, AIndex, AValue), ...);
  }

  void RunLength(std::size_t AIndex, std::int32_t ALength) {
    TTuple Arguments = Valid();
    SetInteger(Arguments, AIndex, ALength, std::index_sequence_for<TArgs...>{});
    ExpectRefusal(Arguments, ippStsSizeErr, AIndex);
  }

  std::string FName;
  TFunction FFunction;
  std::array<std::array<double, 8>, sizeof...(TArgs)> FBuffers;
  std::array<std::array<double, 8>, sizeof...(TArgs)> FUntouched;
};

template <class... TArgs>
void CheckRefusals(const char* AName, IppStatus (*AFunction)(TArgs...) noexcept) {
  if constexpr (!TakesState<decltype(AFunction)>) {
    TRefusalCheck<TArgs...> Check(AName, AFunction);
    Check.Run(TRefusalCheck<TArgs...>::LengthIndex(AName));
  }
}

TEST(Refusals, NullPointersAndLengthsBelowOneOfEveryPrimitive) {
#define TESSALUNE_CHECK(Name) CheckRefusals(#Name, Name);
  TESSALUNE_QSDISPATCHER_PRIMITIVES(TESSALUNE_CHECK)
  TESSALUNE_QSBASICDISPATCHER_PRIMITIVES(TESSALUNE_CHECK)
#undef TESSALUNE_CHECK
}

}  // namespace
}  // namespace tessalune::test
