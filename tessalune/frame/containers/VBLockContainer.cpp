#include <tessalune/frame/containers/VBLockContainer.h>

#include <utility>

namespace tessalune {

void TLockContainer::BeginUpdate() {
  const ILockSection Section = FLock->WriteLock();
  ++FInUpdate;
}

void TLockContainer::EndUpdate() {
  const ILockSection Section = FLock->WriteLock();
  if (FInUpdate == 0 || --FInUpdate > 0) return;
  if (std::exchange(FChanged, false)) TLockPersistent::NotifyProp();
  if (std::exchange(FContentChanged, false)) TellContent();
}

void TLockContainer::Assign(const TPersistent& ASource) {
  // Ends the update whatever leaves through here.
  struct TUpdate {
    TLockContainer& Container;
    explicit TUpdate(TLockContainer& AContainer) : Container(AContainer) {
      Container.BeginUpdate();
    }
    ~TUpdate() noexcept(false) { Container.EndUpdate(); }
  };
  const ILockSection Section = FLock->WriteLock();
  const TUpdate Update(*this);
  TLockPersistent::Assign(ASource);
}

void TLockContainer::NotifyProp() {
  if (FInUpdate > 0) {
    FChanged = true;
  } else {
    TLockPersistent::NotifyProp();
  }
}

void TLockContainer::DoChange() {
  NotifyProp();
  TellContent();
}

void TLockContainer::TellContent() {
  if (FInUpdate > 0) {
    FContentChanged = true;
  } else {
    NotifyContent([this] { return PublishedTable().ContentRow()->Get(*this); });
  }
}

}  // namespace tessalune
