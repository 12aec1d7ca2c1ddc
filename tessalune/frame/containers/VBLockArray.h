// Arrays of numbers with a lock: published objects whose content is the array.
#pragma once

#include <tessalune/frame/containers/VBLockContainer.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tessalune {

// The values and what all such arrays do with them.
template <class T>
class TLockArray : public TLockContainer {
 public:
  // A copy of all values.
  std::vector<T> Values() const {
    const ILockSection Section = FLock->ReadLock();
    return FArray;
  }
  // Takes all values at once, with one notification. Raises EQSException, and nothing has changed,
  // for values that the array does not take.
  void SetValues(std::vector<T> AValues) {
    CheckValues(AValues);
    const ILockSection Section = FLock->WriteLock();
    // Values that were set one by one without a word have still to be told, so that equal values
    // are a change; only an empty array that stays empty is none.
    const bool IsChange = !FArray.empty() || !AValues.empty();
    FArray = std::move(AValues);
    if (IsChange) DoChange();
  }
  void Clear() { SetValues({}); }

 protected:
  // ARow is the content's row.
  TLockArray(const TPropertyInfo<std::vector<T>>& ARow, TRef<IChangeNotifyLock> ALock,
             std::string_view APath, std::function<void()> AOnChange)
      : TLockContainer(std::move(ALock), APath, std::move(AOnChange)), FRow(ARow) {}

  // Raises EQSException for values that cannot be the array's content.
  virtual void CheckValues(const std::vector<T>& AValues) const {
    for (std::size_t I = 0; I < AValues.size(); ++I) CheckValue(I, AValues[I]);
  }
  // Raises EQSException for a value that the row does not take, told as the element AIndex.
  void CheckValue(std::size_t AIndex, T AValue) const {
    if (IsAmong(FRow, AValue)) return;
    const std::string Name = std::string(FRow.Name) + '[' + NumberText(AIndex) + ']';
    TPropertyInfo<std::vector<T>> Element = FRow;
    Element.Name = Name;
    RefuseValue(Describe(), Element, AValue);
  }
  // Raises EQSException for an index beyond ACount.
  void CheckIndex(std::int32_t AIndex, std::int32_t ACount) const {
    if (AIndex >= 0 && AIndex < ACount) return;
    throw EQSException(Describe() + ": there is no element " + NumberText(AIndex) + "; there are " +
                       NumberText(ACount) + ", counted from 0");
  }

  std::vector<T> FArray;  // under the lock

 private:
  const TPropertyInfo<std::vector<T>>& FRow;
};

// An array of single values; stored as _Items. TSelf is the class, which declares the row
// ItemsInfo of its content and publishes itself with ItemsTable.
template <class TSelf, class T>
class TBasicLockArrayPersistent : public TLockArray<T> {
 public:
  explicit TBasicLockArrayPersistent(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                                     std::function<void()> AOnChange = {})
      : TLockArray<T>(TSelf::ItemsInfo, std::move(ALock), APath, std::move(AOnChange)) {}

  std::int32_t Count() const {
    const ILockSection Section = this->FLock->ReadLock();
    return static_cast<std::int32_t>(this->FArray.size());
  }
  // Raises EQSException for an index that is none, as SetItem does.
  T Items(std::int32_t AIndex) const {
    const ILockSection Section = this->FLock->ReadLock();
    this->CheckIndex(AIndex, Count());
    return this->FArray[static_cast<std::size_t>(AIndex)];
  }
  // Stores one value and tells nobody: it takes effect with the next change that is told.
  virtual void SetItem(std::int32_t AIndex, T AValue) {
    const ILockSection Section = this->FLock->WriteLock();
    this->CheckIndex(AIndex, Count());
    this->CheckValue(static_cast<std::size_t>(AIndex), AValue);
    this->FArray[static_cast<std::size_t>(AIndex)] = AValue;
  }
  virtual void Add(T AValue) {
    const ILockSection Section = this->FLock->WriteLock();
    AddInt(AValue);
    this->DoChange();
  }

 protected:
  // For a caller that holds the lock, and tells.
  void AddInt(T AValue) {
    this->CheckValue(this->FArray.size(), AValue);
    this->FArray.push_back(AValue);
  }

  // The beginning of TSelf's table: its content. The older form, a list under Values, is read.
  static TPublishedTable ItemsTable(TPublishedTable::TClass AClass) {
    return TPublishedTable(AClass, nullptr)
        .Content(TSelf::ItemsInfo, &TBasicLockArrayPersistent::Values,
                 &TBasicLockArrayPersistent::SetValues);
  }
};

}  // namespace tessalune
