// What primitives that take a plan or state refuse: null pointers, counts below 1, records of
// another kind or instruction set. A new one needs a row here.
#include "StatefulPrimitives.h"
#include "TestedInstructionSet.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace tessalune::test {
namespace {

// Runs the function variable AFunction with arguments that are valid but for one. AStatus is for a
// count below 1; AOptional is the index of a pointer that may be null.
template <class... TArgs>
class TStateRefusals {
 public:
  using TTuple = std::tuple<TArgs...>;

  TStateRefusals(IppStatus (*const& AFunction)(TArgs...) noexcept, TTuple AValid, IppStatus AStatus,
                 std::size_t AOptional)
      : FFunction(AFunction), FValid(AValid), FStatus(AStatus), FOptional(AOptional) {}

  void Run() { Run(std::index_sequence_for<TArgs...>{}); }

 private:
  template <std::size_t... I>
  void Run(std::index_sequence<I...>) {
    (RunArgument<I>(), ...);
  }

  template <std::size_t I>
  void RunArgument() {
    using TArgument = std::tuple_element_t<I, TTuple>;
    if constexpr (std::is_same_v<TArgument, std::int32_t>)
      for (std::int32_t Count : {0, -1}) Expect<I>(Count, FStatus);
    if constexpr (std::is_pointer_v<TArgument>) {
      if (I != FOptional) Expect<I>(nullptr, ippStsNullPtrErr);
      if constexpr (!std::is_pointer_v<std::remove_pointer_t<TArgument>> &&
                    IsStatePointer<TArgument>) {
        double Other[64] = {};
        Expect<I>(reinterpret_cast<TArgument>(Other), ippStsContextMatchErr);
        UnderOtherInstructionSets([&] { Expect<I>(std::get<I>(FValid), ippStsContextMatchErr); });
      }
    }
  }

  template <std::size_t I, class T>
  void Expect(T AArgument, IppStatus AStatus) {
    TTuple Arguments = FValid;
    std::get<I>(Arguments) = AArgument;
    EXPECT_EQ(std::apply(FFunction, Arguments), AStatus) << "argument " << I;
  }

  IppStatus (*const& FFunction)(TArgs...) noexcept;
  TTuple FValid;
  IppStatus FStatus;
  std::size_t FOptional;
};

constexpr std::size_t NoneOptional = 99;

template <class... TArgs>
void Refuses(IppStatus (*const& AFunction)(TArgs...) noexcept, std::tuple<TArgs...> AValid,
             IppStatus AStatus = ippStsSizeErr, std::size_t AOptional = NoneOptional) {
  TStateRefusals<TArgs...>(AFunction, AValid, AStatus, AOptional).Run();
}

class StateRefusals : public testing::Test {
 protected:
  StateRefusals() {
    FOut.fill(0.1);
    FTaps.fill(0.5);
    EXPECT_EQ(ippsFIRInitAlloc_64f(&FFir, FTaps.data(), 4, nullptr), ippStsNoErr);
    EXPECT_EQ(ippsIIRInitAlloc_64f(&FIir, FTaps.data(), 4, nullptr), ippStsNoErr);
  }
  ~StateRefusals() override {
    EXPECT_EQ(ippsFIRFree_64f(FFir), ippStsNoErr);
    EXPECT_EQ(ippsIIRFree_64f(FIir), ippStsNoErr);
  }

  std::array<double, 16> FTaps;
  std::array<double, 16> FOut;
  IppsFIRState_64f* FFir = nullptr;
  IppsIIRState_64f* FIir = nullptr;
  IppsFIRState_64f* FNewFir = nullptr;
  IppsIIRState_64f* FNewIir = nullptr;
};

TEST_F(StateRefusals, NullPointersCountsAndForeignRecordsOfEveryPrimitive) {
  const double* const In = FTaps.data();
  double* const Out = FOut.data();
  const std::vector<std::pair<std::string, std::function<void()>>> Rows = {
      {"ippsFIRInitAlloc_64f",
       [&] {
         Refuses(ippsFIRInitAlloc_64f, {&FNewFir, In, 4, In}, ippStsFIRLenErr, 3);
       }},
      {"ippsFIRFree_64f", [&] { Refuses(ippsFIRFree_64f, {FFir}); }},
      {"ippsFIR_64f",
       [&] {
         Refuses(ippsFIR_64f, {In, Out, 4, FFir});
       }},
      {"ippsFIRGetDlyLine_64f",
       [&] {
         Refuses(ippsFIRGetDlyLine_64f, {FFir, Out});
       }},
      {"ippsFIRSetDlyLine_64f",
       [&] {
         Refuses(ippsFIRSetDlyLine_64f, {FFir, In}, ippStsSizeErr, 1);
       }},
      {"ippsIIRInitAlloc_64f",
       [&] {
         Refuses(ippsIIRInitAlloc_64f, {&FNewIir, In, 4, In}, ippStsIIROrderErr, 3);
       }},
      {"ippsIIRInitAlloc_BiQuad_64f",
       [&] {
         Refuses(ippsIIRInitAlloc_BiQuad_64f, {&FNewIir, In, 2, In}, ippStsIIROrderErr, 3);
       }},
      {"ippsIIRFree_64f", [&] { Refuses(ippsIIRFree_64f, {FIir}); }},
      {"ippsIIR_64f",
       [&] {
         Refuses(ippsIIR_64f, {In, Out, 4, FIir});
       }},
      {"ippsIIRGetDlyLine_64f",
       [&] {
         Refuses(ippsIIRGetDlyLine_64f, {FIir, Out});
       }},
      {"ippsIIRSetDlyLine_64f",
       [&] {
         Refuses(ippsIIRSetDlyLine_64f, {FIir, In}, ippStsSizeErr, 1);
       }},
  };
  std::set<std::string> Tested;
  for (const auto& [Name, Run] : Rows) {
    SCOPED_TRACE(Name);
    Run();
    Tested.insert(Name);
  }
  EXPECT_EQ(FNewFir, nullptr);
  EXPECT_EQ(FNewIir, nullptr);
  EXPECT_TRUE(std::all_of(FOut.begin(), FOut.end(), [](double X) { return X == 0.1; }));

  std::set<std::string> Expected;
#define TESSALUNE_COLLECT(Name) \
  if (TakesState<TPtr_##Name>) Expected.insert(#Name);
  TESSALUNE_QSBASICDISPATCHER_PRIMITIVES(TESSALUNE_COLLECT)
#undef TESSALUNE_COLLECT
  // Those on plans stand in test_transform_plans.cpp and test_dct.cpp.
  std::erase_if(Expected, [](const std::string& AName) {
    return AName.starts_with("ippsFFT") || AName.starts_with("ippsDFT") ||
           AName.starts_with("ippsDCT");
  });
  EXPECT_EQ(Tested, Expected);
}

TEST_F(StateRefusals, ACoefficientOfZeroThatDivides) {
  for (const std::size_t Zero : {3u, 9u, 0u, 6u}) {
    std::array<double, 12> Taps = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    Taps[Zero] = 0.0;
    EXPECT_EQ(ippsIIRInitAlloc_BiQuad_64f(&FNewIir, Taps.data(), 2, nullptr), ippStsDivByZeroErr);
  }
  for (const std::int32_t Order : {1, 2, 5}) {
    std::array<double, 12> Taps = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    Taps[static_cast<std::size_t>(Order) + 1] = 0.0;
    EXPECT_EQ(ippsIIRInitAlloc_64f(&FNewIir, Taps.data(), Order, nullptr), ippStsDivByZeroErr);
  }
  EXPECT_EQ(FNewIir, nullptr);
}

}  // namespace
}  // namespace tessalune::test
