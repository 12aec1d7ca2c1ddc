// The graph as a whole: what fits, what would close a loop. For the pins' own use.
#pragma once

#include <tessalune/frame/pins/KLPins.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessalune {

// All functions need a TGuard: links everywhere stand still while one exists.
struct TKLTopology {
  class TGuard {
   public:
    TGuard() : FLock(Mutex()) {}

   private:
    static std::recursive_mutex& Mutex();
    std::lock_guard<std::recursive_mutex> FLock;
  };

  // Source and sink of a link between the two, whichever way round they were given.
  static std::pair<TKLBasicPin*, TKLBasicPin*> Ends(TKLBasicPin& AOne, TKLBasicPin& AOther);
  static std::optional<std::string> WhyNot(TKLBasicPin& AOne, TKLBasicPin& AOther,
                                           const TKLDataType* AType);
  static TKLDataTypes PossibleTypes(const TKLBasicPin& APin);
  // Types that both can carry; the best first. AWanted, if not null, is the only one that counts.
  static TKLDataTypes CommonTypes(const TKLBasicPin& ASource, const TKLBasicPin& ASink,
                                  const TKLDataType* AWanted);
  static TKLDataTypes TypeChoice(const TKLLink& ALink);
  // Brings the types in force on a link, and on those that take over types from it, up to date.
  static void Retype(const TKLLink& ALink);

  // Takes a link out of both lists and closes it; its Shut then has a turn.
  static void TakeOff(TKLLink& ALink);
  // The links of APin that were taken off and have not gone yet, those that AIsMeant picks.
  static std::vector<TRef<TKLLink>> Leaving(const TKLBasicPin& APin,
                                            const std::function<bool(const TKLLink&)>& AIsMeant);
  // A link that was taken off has gone; needs no TGuard.
  static void Gone(const TKLLink& ALink);

 private:
  struct TTypeWalk;
  struct TLoopWalk;
  static bool ClosesLoop(const TKLBasicPin& ASource, const TKLBasicPin& ASink);
  static std::string Narrowed(const TKLBasicPin& ASource, const TKLBasicPin& ASink);
  static std::string DoNotFit(const TKLBasicPin& ASource, const TKLBasicPin& ASink);
  template <class TIsMeant>
  static std::vector<const TKLBasicPin*> Siblings(const TKLBasicPin& APin, TIsMeant AIsMeant);
  static std::vector<const TKLBasicPin*> TypedBy(const TKLBasicPin& ASink);
  static std::vector<const TKLBasicPin*> DerivedFrom(const TKLBasicPin& ASink);
  static const std::vector<TRef<TKLLink>>& Links(const TKLBasicPin& APin) {
    return APin.FLinks->Now();
  }
};

}  // namespace tessalune
