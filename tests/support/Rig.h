// A component with one input and one output between the test's hands.
#pragma once

#include "support/Streams.h"

#include <tessalune/frame/runtime/VBComponent.h>

#include <concepts>
#include <vector>

namespace tessalune::test {

template <class TComponentType, class T = double, class TOut = T>
struct TStreamRig {
  TOwned<TComponentType> It = Create<TComponentType>();
  TFeed<T> Feed{It->InputPin()};
  TProbe<TOut> Out{It->OutputPin()};
  int Sent = 0;

  static T Numbered(int ANumber) {
    if constexpr (std::same_as<T, TComplex>) {
      return {ANumber + 0.5, -1.0 * ANumber};
    } else {
      return static_cast<T>(ANumber);
    }
  }
  // Samples that are all different, on from those before.
  std::vector<T> Next(int ACount) {
    std::vector<T> Block;
    for (int I = 0; I < ACount; ++I) Block.push_back(Numbered(++Sent));
    return Block;
  }
  // The block that came out last.
  std::vector<TOut> Send(const std::vector<T>& ABlock) {
    Feed.Send(ABlock);
    return Out.Blocks.empty() ? std::vector<TOut>() : Out.Blocks.back();
  }
  template <std::same_as<int> TCount>  // {1} is a block
  std::vector<TOut> Send(TCount ACount) {
    return Send(Next(ACount));
  }
};

}  // namespace tessalune::test
