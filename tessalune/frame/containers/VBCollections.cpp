#include <tessalune/frame/containers/VBCollections.h>

namespace tessalune {

void TCollectionHome::CollectionEnds() {
  const std::lock_guard Guard(FMutex);
  FCollection = nullptr;
}

void TCollectionHome::ItemChanged() {
  const std::lock_guard Guard(FMutex);
  if (FCollection != nullptr) FCollection->DoChange();
}

std::string TCollectionHome::Describe() {
  const std::lock_guard Guard(FMutex);
  return FCollection != nullptr ? FCollection->Describe() : std::string();
}

std::string TLockCollectionItem::Describe() const {
  const std::int32_t Index = FIndex;
  const std::string Collection = FHome->Describe();
  const std::string Name(ClassName());
  if (Collection.empty()) return Name;
  return Index >= 0 ? Collection + '[' + NumberText(Index) + ']' : Collection + ": " + Name;
}

void TLockCollection::CheckIndex(std::int32_t AIndex, std::size_t ACount) const {
  if (AIndex >= 0 && static_cast<std::size_t>(AIndex) < ACount) return;
  throw EQSException(Describe() + ": there is no item " + NumberText(AIndex) +
                     "; expected is an index from 0 to below " + NumberText(ACount));
}

}  // namespace tessalune
