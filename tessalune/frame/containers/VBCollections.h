// Typed collections: published objects whose content are objects of one class.
#pragma once

#include <tessalune/frame/containers/VBLockContainer.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tessalune {

class TLockCollection;

// How items know their collection; outlives both.
class TCollectionHome final : public IInterface {
 public:
  TCollectionHome(TLockCollection& ACollection, TRef<IChangeNotifyLock> ALock)
      : Lock(std::move(ALock)), FCollection(&ACollection) {}
  const TRef<IChangeNotifyLock> Lock;

  void CollectionEnds();
  // Inside Lock: an item that is in the collection has changed.
  void ItemChanged();
  // "Detect (TQSPatternDetector).Patterns"; empty if the collection has ended.
  std::string Describe();

 private:
  std::recursive_mutex FMutex;
  TLockCollection* FCollection;
};

// One item, with published properties of its own. Items are shared by reference: who holds one may
// read and set it also when it has left the collection or the component has ended; nobody is told
// then.
class TLockCollectionItem : public IInterface, public TPersistent {
 public:
  explicit TLockCollectionItem(TRef<TCollectionHome> AHome) : FHome(std::move(AHome)) {}

  // "Detect (TQSPatternDetector).Patterns[2]".
  std::string Describe() const override;

 protected:
  // A setter through the owner's lock. A change is one of the collection's content.
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, TField<T>& AField, T AValue) {
    return FHome->Lock->StoreField(
        AInfo, AField, AValue, [this] { return Describe(); },
        [this] {
          if (FIndex >= 0) FHome->ItemChanged();
        });
  }

 private:
  template <class TItem>
  friend class TTypedCollection;
  const TRef<TCollectionHome> FHome;
  TField<std::int32_t> FIndex = -1;  // in the collection; set under its lock
};

class TLockCollection : public TLockContainer {
 public:
  TLockCollection(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                  std::function<void()> AOnChange = {})
      : TLockContainer(ALock, APath, std::move(AOnChange)),
        FHome(MakeRef<TCollectionHome>(*this, ALock)) {}
  ~TLockCollection() override { FHome->CollectionEnds(); }

 protected:
  // Raises EQSException for an index from ACount on.
  void CheckIndex(std::int32_t AIndex, std::size_t ACount) const;

  const TRef<TCollectionHome> FHome;

 private:
  friend class TCollectionHome;
};

// A collection of items of class TItem, which derives from TLockCollectionItem. A class that
// publishes one derives from this and begins its table with ItemsTable. Any thread.
template <class TItem>
class TTypedCollection : public TLockCollection {
 public:
  using TLockCollection::TLockCollection;

  std::int32_t Count() const {
    const ILockSection Section = FLock->ReadLock();
    return static_cast<std::int32_t>(FItems.size());
  }
  // Raises EQSException for an index that is none, as Insert and Remove do.
  TRef<TItem> Items(std::int32_t AIndex) const {
    const ILockSection Section = FLock->ReadLock();
    CheckIndex(AIndex, FItems.size());
    return FItems[static_cast<std::size_t>(AIndex)];
  }
  // The items of this moment.
  std::vector<TRef<TItem>> Snapshot() const {
    const ILockSection Section = FLock->ReadLock();
    return FItems;
  }

  // A new item with its defaults, at the end or before AIndex, which may be the count.
  TRef<TItem> Add() {
    const ILockSection Section = FLock->WriteLock();
    return Insert(Count());
  }
  TRef<TItem> Insert(std::int32_t AIndex) {
    const ILockSection Section = FLock->WriteLock();
    CheckIndex(AIndex, FItems.size() + 1);
    const TRef<TItem> Item = NewItem();
    FItems.insert(FItems.begin() + AIndex, Item);
    ItemsMoved();
    return Item;
  }
  void Remove(std::int32_t AIndex) {
    const ILockSection Section = FLock->WriteLock();
    CheckIndex(AIndex, FItems.size());
    FItems[static_cast<std::size_t>(AIndex)]->FIndex = -1;
    FItems.erase(FItems.begin() + AIndex);
    ItemsMoved();
  }
  void Clear() {
    const ILockSection Section = FLock->WriteLock();
    if (!FItems.empty()) Replace({});
  }

  void Visit(const std::function<void(const TPersistent&)>& AVisitor) const {
    for (const TRef<TItem>& Item : Snapshot()) AVisitor(*Item);
  }
  // Makes new items, as long as AFill, which sets them, is true, and puts them in place of all that
  // there are, with one notification. If AFill throws, nothing has changed.
  void Fill(const std::function<bool(TPersistent&)>& AFill) {
    std::vector<TRef<TItem>> Items;
    for (TRef<TItem> Item = NewItem(); AFill(*Item); Item = NewItem()) Items.push_back(Item);
    const ILockSection Section = FLock->WriteLock();
    if (!FItems.empty() || !Items.empty()) Replace(std::move(Items));
  }

 protected:
  static TPublishedTable ItemsTable(TPublishedTable::TClass AClass) {
    return TPublishedTable(AClass, nullptr)
        .template Items<TTypedCollection, TItem>("_Items", &TTypedCollection::Visit,
                                                 &TTypedCollection::Fill,
                                                 "The items in their order.");
  }

 private:
  TRef<TItem> NewItem() {
    auto Item = MakeRef<TItem>(FHome);
    static_cast<TLockCollectionItem&>(*Item).InitDefaults();
    return Item;
  }
  void Replace(std::vector<TRef<TItem>> AItems) {
    for (const TRef<TItem>& Item : FItems) Item->FIndex = -1;
    FItems = std::move(AItems);
    ItemsMoved();
  }
  void ItemsMoved() {
    std::int32_t Index = 0;
    for (const TRef<TItem>& Item : FItems) Item->FIndex = Index++;
    DoChange();
  }

  std::vector<TRef<TItem>> FItems;  // under the lock
};

}  // namespace tessalune
