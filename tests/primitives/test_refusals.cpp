// Every primitive of every table refuses null pointers, lengths below 1 and filter states of
// another kind or instruction set, and touches nothing then. Those that take plans have the typed
// tests of test_transform_plans.cpp.
#include "TestedInstructionSet.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <array>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessalune::test {
namespace {

template <class T, class TState>
constexpr bool PointsTo =
    std::is_pointer_v<T>&& std::is_same_v<std::remove_cv_t<std::remove_pointer_t<T>>, TState>;
template <class T>
constexpr bool IsState = PointsTo<T, IppsFIRState_64f> || PointsTo<T, IppsIIRState_64f>;

// What a pointer points to is samples, or a state, or a variable for one.
template <class T>
constexpr bool IsKnown = true;
template <class T>
constexpr bool IsKnown<T*> =
    std::is_arithmetic_v<T> || std::is_same_v<std::remove_cv_t<T>, TComplex> || IsState<T*> ||
    IsState<T>;

// What is checked before lengths, and which pointers may be null; those of CartToPolar and of
// RealToCplx have tests of their own.
const std::map<std::string, IppStatus> LengthStatuses{
    {"ippsFIRInitAlloc_64f", ippStsFIRLenErr},
    {"ippsIIRInitAlloc_64f", ippStsIIROrderErr},
    {"ippsIIRInitAlloc_BiQuad_64f", ippStsIIROrderErr}};
const std::multimap<std::string, std::size_t> Nullables{
    {"ippsCartToPolar_64fc", 1},        {"ippsCartToPolar_64fc", 2},  {"ippsRealToCplx_64f", 0},
    {"ippsRealToCplx_64f", 1},          {"ippsFIRInitAlloc_64f", 3},  {"ippsIIRInitAlloc_64f", 3},
    {"ippsIIRInitAlloc_BiQuad_64f", 3}, {"ippsFIRSetDlyLine_64f", 1}, {"ippsIIRSetDlyLine_64f", 1}};

template <class... TArgs>
class TRefusalCheck {
 public:
  using TFunction = IppStatus (*)(TArgs...) noexcept;
  using TTuple = std::tuple<TArgs...>;

  TRefusalCheck(const char* AName, const TFunction& AFunction)
      : FName(AName), FFunction(AFunction) {
    for (std::size_t I = 0; I < FBuffers.size(); ++I)
      FBuffers[I].fill(1.0 / static_cast<double>(2 * I + 3));
    FUntouched = FBuffers;
    const std::array Taps{1.0, 0.5, 0.5, 1.0, 0.5, 0.5};
    EXPECT_EQ(ippsFIRInitAlloc_64f(&FFir, Taps.data(), 3, nullptr), ippStsNoErr);
    EXPECT_EQ(ippsIIRInitAlloc_64f(&FIir, Taps.data(), 2, nullptr), ippStsNoErr);
  }
  ~TRefusalCheck() {
    EXPECT_EQ(ippsFIRFree_64f(FFir), ippStsNoErr);
    EXPECT_EQ(ippsIIRFree_64f(FIir), ippStsNoErr);
  }

  template <std::size_t... I>
  void Run(std::index_sequence<I...>) {
    FValid = TTuple{Argument<TArgs>(I)...};
    // The length is the last integer, or the one before where a scale factor follows.
    const bool IsScaled = FName.ends_with("_Sfs") || FName == "ippsTone_Direct_64f";
    std::size_t LengthIndex = sizeof...(TArgs);
    int Integers = (std::is_same_v<TArgs, std::int32_t> + ... + 0) - (IsScaled ? 1 : 0);
    ((std::is_same_v<TArgs, std::int32_t>&& Integers-- == 1 ? LengthIndex = I : 0), ...);
    (RunArgument<I>(I == LengthIndex), ...);
    if ((IsState<TArgs> || ...) || FName.find("InitAlloc") != std::string::npos) return;
    EXPECT_EQ(std::apply(FFunction, FValid), ippStsNoErr) << FName << ": was not valid before";
    EXPECT_NE(FBuffers, FUntouched) << FName;
  }

 private:
  template <class T>
  T Argument(std::size_t AIndex) {
    if constexpr (PointsTo<T, IppsFIRState_64f>)
      return FFir;
    else if constexpr (PointsTo<T, IppsIIRState_64f>)
      return FIir;
    else if constexpr (std::is_pointer_v<T>)
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

  template <std::size_t I>
  void RunArgument(bool AIsLength) {
    using T = std::tuple_element_t<I, TTuple>;
    if constexpr (std::is_same_v<T, std::int32_t>) {
      const auto Other = LengthStatuses.find(FName);
      const IppStatus Status = Other == LengthStatuses.end() ? ippStsSizeErr : Other->second;
      for (const std::int32_t Length : {0, -1})
        if (AIsLength) Expect<I>(Length, Status);
    } else if constexpr (std::is_pointer_v<T>) {
      const auto [First, Last] = Nullables.equal_range(FName);
      if (std::none_of(First, Last, [](const auto& ARow) { return ARow.second == I; }))
        Expect<I>(nullptr, ippStsNullPtrErr);
      if constexpr (IsState<T>) {
        double Other[64] = {};
        Expect<I>(reinterpret_cast<T>(Other), ippStsContextMatchErr);
        UnderOtherInstructionSets([&] { Expect<I>(std::get<I>(FValid), ippStsContextMatchErr); });
      }
    }
  }

  template <std::size_t I, class T>
  void Expect(T AArgument, IppStatus AStatus) {
    TTuple Arguments = FValid;
    std::get<I>(Arguments) = AArgument;
    EXPECT_EQ(std::apply(FFunction, Arguments), AStatus) << FName << ", argument " << I;
    EXPECT_EQ(FBuffers, FUntouched) << FName << " wrote, argument " << I;
  }

  const std::string FName;
  const TFunction& FFunction;  // the variable: another set may be bound meanwhile
  TTuple FValid;
  IppsFIRState_64f* FFir = nullptr;
  IppsIIRState_64f* FIir = nullptr;
  std::array<std::array<double, 8>, sizeof...(TArgs)> FBuffers, FUntouched;
};

template <class... TArgs>
void CheckRefusals(const std::string& AName, IppStatus (*const& AFunction)(TArgs...) noexcept) {
  if constexpr ((IsKnown<TArgs> && ...)) {
    TRefusalCheck<TArgs...>(AName.c_str(), AFunction).Run(std::index_sequence_for<TArgs...>{});
  } else {
    const std::string Kind = AName.substr(0, 7);
    EXPECT_TRUE(Kind == "ippsDFT" || Kind == "ippsFFT" || Kind == "ippsDCT") << AName;
  }
}

TEST(Refusals, NullPointersLengthsBelowOneAndForeignStatesOfEveryPrimitive) {
#define TESSALUNE_CHECK(Name) CheckRefusals(#Name, Name);
  TESSALUNE_QSDISPATCHER_PRIMITIVES(TESSALUNE_CHECK)
  TESSALUNE_QSBASICDISPATCHER_PRIMITIVES(TESSALUNE_CHECK)
#undef TESSALUNE_CHECK
}

TEST(Refusals, ACoefficientOfZeroThatDivides) {
  IppsIIRState_64f* State = nullptr;
  const auto Status = [&](auto& AMake, std::int32_t ACount, std::size_t AZero) {
    std::array<double, 12> Taps = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    Taps[AZero] = 0.0;
    return AMake(&State, Taps.data(), ACount, nullptr);
  };
  for (const std::size_t Zero : {3u, 9u, 0u, 6u})
    EXPECT_EQ(Status(ippsIIRInitAlloc_BiQuad_64f, 2, Zero), ippStsDivByZeroErr) << Zero;
  for (const std::int32_t Order : {1, 2, 5})
    EXPECT_EQ(Status(ippsIIRInitAlloc_64f, Order, static_cast<std::size_t>(Order) + 1),
              ippStsDivByZeroErr);
  EXPECT_EQ(State, nullptr);
}

}  // namespace
}  // namespace tessalune::test
