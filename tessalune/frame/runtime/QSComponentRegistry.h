// The classes that a host has put on its palette.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>

#include <string_view>
#include <vector>

namespace tessalune {

// A reference to a component class: its table, and how to make one.
struct TComponentClass {
  const TPublishedTable& (*Published)();
  TOwned<TComponent> (*New)();
};

template <class T>
TComponentClass ClassOf() {
  return {&T::Published, [] { return TOwned<TComponent>(Create<T>().release()); }};
}

// Puts classes on the palette; a class that is there already stays where it is. Any thread. Raises
// EQSException, and puts none of them there, if another class of the same name is there: the text
// says from which file, a program's or a library's, it came.
void RegisterComponents(const std::vector<TComponentClass>& AClasses);

// In the order of registration.
std::vector<TComponentClass> RegisteredComponents();

// By class name; null if no such class is registered.
const TComponentClass* FindComponentClass(std::string_view AName);

}  // namespace tessalune
