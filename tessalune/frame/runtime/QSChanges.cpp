#include <tessalune/frame/runtime/QSChanges.h>

#include <exception>

namespace tessalune {

TListening::TListening(TRef<TPropertyChanges> AChanges, TRef<TEntry> AEntry)
    : FChanges(std::move(AChanges)), FEntry(std::move(AEntry)) {}

void TListening::Stop() {
  const TRef<TPropertyChanges> Changes = std::exchange(FChanges, nullptr);
  const TRef<TEntry> Entry = std::exchange(FEntry, nullptr);
  if (!Entry) return;
  Changes->Remove(Entry);
  Entry->Gate->Close(TWaitKind::Host, [Entry] {});
}

TPropertyChanges::TPropertyChanges(TComponent& AOwner, TRef<TCallGate> AGate)
    : FOwner(AOwner), FGate(std::move(AGate)) {}

TListening TPropertyChanges::Listen(TPropertyListener AListener) {
  const auto Entry = MakeRef<TListening::TEntry>(std::move(AListener));
  const std::lock_guard Lock(FMutex);
  FEntries.push_back(Entry);
  FCount.store(FEntries.size(), std::memory_order_relaxed);
  return {TRef<TPropertyChanges>(this), Entry};
}

void TPropertyChanges::Remove(const TRef<TListening::TEntry>& AEntry) {
  const std::lock_guard Lock(FMutex);
  std::erase(FEntries, AEntry);
  FCount.store(FEntries.size(), std::memory_order_relaxed);
}

// The turn is run even if the component has ended meanwhile: later ones wait for it.
std::function<void()> TPropertyChanges::Telling(TPropertyChange AChange) {
  const auto Turn = FTurns->Take();
  return [Self = TRef<TPropertyChanges>(this), Turn, Change = std::move(AChange)] {
    Self->FTurns->Run(Turn, [Self, Change] { Self->Tell(Change); });
  };
}

void TPropertyChanges::Tell(const TPropertyChange& AChange) {
  const TCallScope Inside(*FGate);
  if (!Inside) return;
  TEntries Entries;
  {
    const std::lock_guard Lock(FMutex);
    Entries = FEntries;
  }
  std::exception_ptr Error;
  for (const auto& Entry : Entries) {
    const TCallScope Call(*Entry->Gate);
    if (!Call) continue;
    try {
      Entry->Listener(FOwner, AChange);
    } catch (...) {
      if (!Error) Error = std::current_exception();
    }
  }
  if (Error) std::rethrow_exception(Error);
}

}  // namespace tessalune
