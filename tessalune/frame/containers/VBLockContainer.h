// What arrays and collections have in common: changes that are gathered and told once.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>

namespace tessalune {

// A sub-object with a content beside its properties. Between BeginUpdate and the matching EndUpdate
// nobody is told of changes; EndUpdate makes up for them with one notification: the change
// procedure runs once, and listeners hear once of the content, under the object's own path.
class TLockContainer : public TLockPersistent {
 public:
  using TLockPersistent::TLockPersistent;

  // May be nested; an EndUpdate too many does nothing. Any thread; an update that one thread began
  // holds back the notifications of all.
  void BeginUpdate();
  void EndUpdate();

  // One notification.
  void Assign(const TPersistent& ASource) override;

 protected:
  void NotifyProp() override;
  // After a change of the content, inside the lock.
  void DoChange();
  // The same without the change procedure.
  void TellContent();

 private:
  int FInUpdate = 0;             // under the lock
  bool FChanged = false;         // the change procedure is due
  bool FContentChanged = false;  // and listeners have to hear of the content
};

}  // namespace tessalune
