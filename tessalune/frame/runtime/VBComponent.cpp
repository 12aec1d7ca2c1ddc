#include <tessalune/frame/runtime/VBComponent.h>

#include <algorithm>
#include <cctype>

namespace tessalune {

void TPersistent::SerializationWrite(IWriter& AWriter) const {
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    if (Row->Kind == TPropertyKind::Object) {
      // Reading a sub-object's properties changes nothing; only the way to it is not const.
      const TPersistent& Part = Row->Object(const_cast<TPersistent&>(*this));
      AWriter.WriteObject(Row->Name, [&Part](IWriter& AInner) { Part.SerializationWrite(AInner); });
      continue;
    }
    const TPropertyValue Value = Row->Get(*this);
    if (Value != Row->Default || AWriter.WantsDefault(Row->Name)) {
      AWriter.WriteValue(Row->Name, Value);
    }
  }
  WriteOwnForms(AWriter);
}

namespace {

void ReadProperty(TPersistent& AObject, const TPublishedProperty& ARow, IReader& AReader,
                  const std::string& AName) {
  if (ARow.Kind == TPropertyKind::Object) {
    TPersistent& Part = ARow.Object(AObject);
    if (!AReader.ReadObject(AName, [&Part](IReader& AInner) { Part.SerializationRead(AInner); })) {
      AReader.Fault(AName,
                    std::string(ARow.Name) + " is no object; expected is " + ARow.Expected());
    }
    return;
  }
  const auto Value = AReader.ReadValue(AName);
  if (!Value) {
    AReader.Fault(AName,
                  std::string(ARow.Name) + " has no plain value; expected is " + ARow.Expected());
    return;
  }
  try {
    ARow.Set(AObject, *Value);
  } catch (const EQSException& Error) {
    AReader.Fault(AName, Error.what());
  }
}

}  // namespace

void TPersistent::SerializationRead(IReader& AReader) {
  std::vector<std::string> Names = AReader.Names();
  std::vector<std::string_view> Known = OwnFormNames();
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    Known.push_back(Row->Name);
    const auto Stored = std::find_if(Names.begin(), Names.end(), [Row](const std::string& AName) {
      return AName == Row->Name || (!Row->OldName.empty() && AName == Row->OldName);
    });
    if (Stored == Names.end()) continue;
    ReadProperty(*this, *Row, AReader, *Stored);
    Names.erase(Stored);
  }
  for (const std::string& Name : Names) {
    if (ReadOwnForm(AReader, Name)) continue;
    const TPublishedProperty* Row = PublishedTable().FindProperty(Name);
    AReader.Fault(Name, Row != nullptr ? std::string(Row->Name) +
                                             " stands here twice, under its present name "
                                             "and an older one (" +
                                             std::string(Row->OldName) + "); keep one"
                                       : std::string(ClassName()) + " has no property " + Name +
                                             SuggestName(Name, Known));
  }
}

void TPersistent::Assign(const TPersistent& ASource) {
  if (&ASource.PublishedTable() != &PublishedTable()) {
    throw EQSException(Describe() + ": cannot take over the properties of " + ASource.Describe() +
                       ", which is of another class");
  }
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    if (Row->Kind == TPropertyKind::Object) {
      Row->Object(*this).Assign(Row->Object(const_cast<TPersistent&>(ASource)));
    } else {
      Row->Set(*this, Row->Get(ASource));
    }
  }
}

void TPersistent::InitDefaults() {
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    if (Row->Kind == TPropertyKind::Object) {
      Row->Object(*this).InitDefaults();
    } else {
      Row->Set(*this, Row->Default);
    }
  }
}

namespace {

constexpr TPropertyInfo<std::int64_t> TagInfo{.Name = "Tag",
                                              .Doc = "A number for the host's own use."};

bool IsNameCharacter(char ACharacter) {
  return std::isalnum(static_cast<unsigned char>(ACharacter)) != 0 || ACharacter == '_' ||
         ACharacter == '-' || ACharacter == ' ' || static_cast<unsigned char>(ACharacter) >= 0x80;
}

}  // namespace

const TPublishedTable& TComponent::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TComponent"}, nullptr)
          .Property(TagInfo, &TComponent::Tag, &TComponent::SetTag);
  return Table;
}

std::string TComponent::Describe() const {
  const std::string OwnName = Name();
  const std::string OwnClass(ClassName());
  return OwnName.empty() ? OwnClass : OwnName + " (" + OwnClass + ")";
}

std::string TComponent::Name() const {
  const std::lock_guard Lock(FComponentsMutex);
  return FName;
}

void TComponent::SetName(const std::string& AName) {
  if (!std::all_of(AName.begin(), AName.end(), IsNameCharacter)) {
    throw EQSException(Describe() + ": Name cannot be \"" + AName +
                       "\"; expected are letters, digits, '_', '-' and spaces");
  }
  if (FOwner != nullptr && !AName.empty()) {
    const TComponent* Other = FOwner.Load()->FindComponent(AName);
    if (Other != nullptr && Other != this) {
      throw EQSException(Describe() + ": Name cannot be \"" + AName + "\"; " + Other->Describe() +
                         " of the same owner has it; choose another one");
    }
  }
  const std::lock_guard Lock(FComponentsMutex);
  FName = AName;
}

std::vector<TComponent*> TComponent::Components() const {
  const std::lock_guard Lock(FComponentsMutex);
  return FComponents;
}

// Under the mutex, as long as which none of them ends.
TComponent* TComponent::FindComponent(std::string_view AName) const {
  const std::lock_guard Lock(FComponentsMutex);
  for (TComponent* Component : FComponents) {
    if (Component->Name() == AName) return Component;
  }
  return nullptr;
}

void TComponent::InsertComponent(TOwned<TComponent> AComponent) {
  const std::string InsertedName = AComponent->Name();
  const TComponent* const Twin = InsertedName.empty() ? nullptr : FindComponent(InsertedName);
  if (Twin != nullptr) {
    throw EQSException(Describe() + ": cannot own " + AComponent->Describe() + " beside " +
                       Twin->Describe() + ", which has the name; give it another name first");
  }
  AComponent->FOwner = this;
  const std::lock_guard Lock(FComponentsMutex);
  FComponents.push_back(AComponent.release());
}

void TComponent::SetState(TComponentState AState, bool AValue) {
  const std::uint8_t State = FState;
  FState = static_cast<std::uint8_t>(AValue ? State | AState : State & ~AState);
}

void TComponent::Constructed() {
  InitDefaults();
  AfterConstruction();
}

namespace {

// Who ends a component, it itself or its owner, is decided under one mutex for all: an owner and
// what it owns may end on two threads at once.
std::mutex& EndMutex() {
  static auto* Mutex = new std::mutex;
  return *Mutex;
}

}  // namespace

void TComponent::End() {
  {
    const std::lock_guard Ends(EndMutex());
    if (std::exchange(FEnding, true)) return;
    if (TComponent* Host = FOwner; Host != nullptr) {
      const std::lock_guard Lock(Host->FComponentsMutex);
      std::erase(Host->FComponents, this);
    }
    FOwner = nullptr;
  }
  IntEnd();
}

void TComponent::IntEnd() {
  SetState(csDestroying, true);
  RunReported(this, [this] { BeforeDestruction(); });
  EndOwned();
  const TRef<TCallGate> Door = FGate;
  Door->Close(TWaitKind::Calls, [this] { delete this; });
}

// The last one first. Those that end by themselves just now are no longer in the list.
void TComponent::EndOwned() {
  for (;;) {
    TComponent* Last = nullptr;
    {
      const std::lock_guard Ends(EndMutex());
      const std::lock_guard Lock(FComponentsMutex);
      if (FComponents.empty()) return;
      Last = FComponents.back();
      FComponents.pop_back();
      Last->FOwner = nullptr;
      Last->FEnding = true;
    }
    Last->IntEnd();
  }
}

void TComponentEnd::operator()(TComponent* AComponent) const {
  if (AComponent != nullptr) AComponent->End();
}

TLockComponent::TLockComponent(TConstruct AConstruct)
    : TComponent(AConstruct), FLock(MakeRef<IChangeNotifyLock>([this] { return Describe(); })) {}

void TLockComponent::AddPart(TComponentPart& APart) {
  const std::lock_guard Lock(FPartsMutex);
  FParts.push_back(&APart);
}

void TLockComponent::RemovePart(TComponentPart& APart) {
  const std::lock_guard Lock(FPartsMutex);
  std::erase(FParts, &APart);
}

std::vector<TComponentPart*> TLockComponent::Parts() const {
  const std::lock_guard Lock(FPartsMutex);
  return FParts;
}

void TLockComponent::EndInputs() {
  for (TComponentPart* Part : Parts()) RunReported(this, [Part] { Part->InputsEnd(); });
}

void TLockComponent::BeforeDestruction() {
  EndInputs();
  for (TComponentPart* Part : Parts()) RunReported(this, [Part] { Part->OwnerEnds(); });
  TComponent::BeforeDestruction();
}

}  // namespace tessalune
