// Records: results that events carry, read-only and shared by reference.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace tessalune {

// The base of a record. Its class publishes the fields with TPublishedTable::Field, arrays
// included; an event's argument that is a TRef to one then shows them (see ToValue). A record that
// has been handed out is not written again, so any thread may read it.
class TBasicInterfacedObject : public IInterface, public TPersistent {};

// A record that is a list of records, of class TItem. Add the items before it is handed out.
template <class TItem>
class TInterfacedObjectList : public TBasicInterfacedObject {
 public:
  void Add(TRef<TItem> AItem) { FItems.push_back(std::move(AItem)); }
  std::size_t Count() const { return FItems.size(); }
  const TItem& operator[](std::size_t AIndex) const { return *FItems.at(AIndex); }
  auto begin() const { return FItems.begin(); }
  auto end() const { return FItems.end(); }

  void Visit(const std::function<void(const TPersistent&)>& AVisitor) const {
    for (const TRef<TItem>& Item : FItems) AVisitor(*Item);
  }

 protected:
  // The beginning of the class's table.
  static TPublishedTable ItemsTable(TPublishedTable::TClass AClass) {
    return TPublishedTable(AClass, nullptr)
        .template Items<TInterfacedObjectList, TItem>("Items", &TInterfacedObjectList::Visit,
                                                      nullptr, "The items in their order.");
  }

 private:
  std::vector<TRef<TItem>> FItems;
};

}  // namespace tessalune
