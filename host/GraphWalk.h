// Ways through a graph of components, along the pins that they publish.
#pragma once

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/runtime/VBComponent.h>
#include <tessalune/frame/streams/QSPumpable.h>

#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

struct TNamedPin {
  std::string Name;      // "InputPin", "InputPins[2]"
  std::string_view Row;  // "InputPin", "InputPins"
  bool Primary;
  TKLBasicPin* Pin;
};
std::vector<TNamedPin> PinsOf(TComponent& AComponent, TKLPinDirection ADirection);

// What all types of a pin have in common.
bool CarriesOnlyValues(const TKLBasicPin& APin);  // single values: results, positions
bool CarriesSamples(const TKLBasicPin& APin);     // some type is blocks of samples

// The first output of a component that is linked and that samples or values of a stream leave by;
// null if there is none.
TKLBasicPin* LinkedOutput(TComponent& AComponent);

// Where what arrives on AInput comes from, up to the sources and to components with no input.
struct TOrigins {
  std::vector<TComponent*> Sources;  // those that a host runs (IPumpable)
  bool HasOther = false;             // something else may send by itself
};
TOrigins OriginsOf(const TKLBasicPin& AInput);

// The input whose ticks drive a source, as it is set and linked now; null if it is not ticked.
TKLBasicPin* LinkedTicks(IPumpable& ASource);

// Where a source's stream ends without anybody that keeps it: filters whose output is linked to
// nothing. Empty if somewhere it is kept, or if the source is linked to nothing at all.
std::vector<TComponent*> DeadEndsOf(TComponent& ASource);

// The components in an order in which each stands behind all that it gets something from.
std::vector<TComponent*> Downstream(const std::vector<TComponent*>& AComponents);

}  // namespace tessalune::host
