#include <tessalune/frame/runtime/QSTiedDefaults.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <algorithm>
#include <cctype>
#include <optional>

namespace tessalune {

namespace {

void WriteList(const TPersistent& AObject, const TPublishedProperty& ARow, IWriter& AWriter) {
  AWriter.WriteArray(ARow.Name, [&](ISequentialWriter& AElements) {
    if (ARow.Kind == TPropertyKind::Collection) {
      ARow.Visit(AObject, [&](const TPersistent& AItem) { AElements.WriteObject(AItem); });
      return;
    }
    const TPropertyValue Values = ARow.Get(AObject);
    for (const TPropertyValue& Value : std::get<TPropertyList>(Values).Items) {
      AElements.WriteValue(Value);
    }
  });
}

bool ReadList(TPersistent& AObject, const TPublishedProperty& ARow, IReader& AReader,
              const std::string& AName) {
  return AReader.ReadArray(AName, [&](ISequentialReader& AElements) {
    if (ARow.Kind == TPropertyKind::Collection) {
      ARow.Fill(AObject, [&](TPersistent& AItem) {
        if (!AElements.HasNext()) return false;
        AElements.ReadNextObject(AItem);
        return true;
      });
      return;
    }
    TPropertyList List;
    bool IsSound = true;
    while (AElements.HasNext()) {
      auto Value = AElements.ReadNext();
      try {
        if (Value) ARow.CheckElement(AObject, *Value);
      } catch (const EQSException& Error) {
        AElements.Fault(Error.what());
        Value.reset();
      }
      IsSound = IsSound && Value;
      if (Value) List.Items.push_back(*std::move(Value));
    }
    if (IsSound) ARow.Set(AObject, List);
  });
}

void ReadProperty(TPersistent& AObject, const TPublishedProperty& ARow, IReader& AReader,
                  const std::string& AName) {
  const auto Fault = [&](std::string_view AWhat) {
    AReader.Fault(AName, std::string(ARow.Name) + " is no " + std::string(AWhat) +
                             "; expected is " + ARow.Expected());
  };
  try {
    if (ARow.Kind == TPropertyKind::Object) {
      if (!AReader.ReadObject(AName, ARow.Object(AObject))) Fault("object");
    } else if (ARow.Kind == TPropertyKind::Array || ARow.Kind == TPropertyKind::Collection) {
      if (!ReadList(AObject, ARow, AReader, AName)) Fault("array");
    } else if (const auto Value = AReader.ReadValue(AName)) {
      ARow.Set(AObject, *Value);
    } else {
      Fault("plain value");
    }
  } catch (const EQSException& Error) {
    AReader.Fault(AName, Error.what());
  }
}

}  // namespace

void TPersistent::SerializationWrite(IWriter& AWriter) const {
  const auto* const Tied = dynamic_cast<const ITiedDefaults*>(this);
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    if (!Row->IsStored()) continue;
    if (Row->Kind == TPropertyKind::Object) {
      // Reading a sub-object's properties changes nothing; only the way to it is not const.
      AWriter.WriteObject(Row->Name, Row->Object(const_cast<TPersistent&>(*this)));
      continue;
    }
    const TPropertyValue Value = Row->Get(*this);
    const bool IsWanted =
        AWriter.WantsDefault(Row->Name) || (Tied != nullptr && Tied->StoresDefault(Row->Name));
    if (Value == Row->Default && !IsWanted) continue;
    if (Row->Kind == TPropertyKind::Array || Row->Kind == TPropertyKind::Collection) {
      WriteList(*this, *Row, AWriter);
    } else {
      AWriter.WriteValue(Row->Name, Value);
    }
  }
}

void TPersistent::SerializationRead(IReader& AReader) {
  std::vector<std::string> Names = AReader.Names();
  std::vector<std::string_view> Known;
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    if (!Row->IsStored()) continue;
    Known.push_back(Row->Name);
    const auto Stored = std::find_if(Names.begin(), Names.end(), [Row](const std::string& AName) {
      return AName == Row->Name || (!Row->OldName.empty() && AName == Row->OldName);
    });
    if (Stored == Names.end()) continue;
    ReadProperty(*this, *Row, AReader, *Stored);
    Names.erase(Stored);
  }
  const std::vector<std::string> All = AReader.Names();
  const auto IsHere = [&All](std::string_view AName) {
    return !AName.empty() && std::find(All.begin(), All.end(), AName) != All.end();
  };
  for (const std::string& Name : Names) {
    const TPublishedProperty* Row = PublishedTable().FindProperty(Name);
    const TPublishedOlderForm* Older = PublishedTable().FindOlderForm(Name);
    const std::string_view Today = Row != nullptr     ? Row->Name
                                   : Older != nullptr ? Older->NameToday
                                                      : std::string_view();
    if (IsHere(Today) && Today != Name) {
      AReader.Fault(Name, std::string(Today) +
                              " stands here twice, under its present name and an "
                              "older one (" +
                              Name + "); keep one");
    } else if (Older != nullptr) {
      Older->Read(*this, AReader);
    } else if (Row != nullptr) {
      AReader.Fault(Name, std::string(ClassName()) + ": " + Name +
                              " follows from other properties and is not stored; remove it");
    } else {
      AReader.Fault(
          Name, std::string(ClassName()) + " has no property " + Name + SuggestName(Name, Known));
    }
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
    } else if (Row->IsStored()) {
      Row->Set(*this, Row->Get(ASource));
    }
  }
}

void TPersistent::InitDefaults() {
  for (const TPublishedProperty* Row : PublishedTable().Properties()) {
    if (Row->Kind == TPropertyKind::Object) {
      Row->Object(*this).InitDefaults();
    } else if (Row->IsStored()) {
      Row->Set(*this, Row->Default);
    }
  }
}

namespace {

constexpr TPropertyInfo<std::int64_t> TagInfo{
    .Name = "Tag", .Effect = TTakesEffect::AtOnce, .Doc = "A number for the host's own use."};

// Who ends a component, it itself or its owner, is decided under one mutex for all: an owner and
// what it owns may end on two threads at once.
std::mutex& EndMutex() {
  static auto* Mutex = new std::mutex;
  return *Mutex;
}

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
  std::function<void()> Tell;
  {
    const std::lock_guard Ends(EndMutex());  // the owner stays
    TComponent* const Host = FOwner;
    std::optional<std::lock_guard<std::mutex>> Siblings;
    if (Host != nullptr) {
      Siblings.emplace(Host->FComponentsMutex);
      if (const TComponent* Twin = Host->Named(AName); Twin != nullptr && Twin != this) {
        throw EQSException(Describe() + ": Name cannot be \"" + AName + "\"; " + Twin->Describe() +
                           " of the same owner has it; choose another one");
      }
    }
    const std::lock_guard Lock(FComponentsMutex);
    if (std::exchange(FName, AName) == AName) return;
    Tell = Telling("Name", AName);
  }
  AfterRelease(std::move(Tell));
}

void TComponent::SetTag(std::int64_t AValue) {
  std::function<void()> Tell;
  {
    const std::lock_guard Lock(FComponentsMutex);
    if (FTag == AValue) return;
    FTag = AValue;
    Tell = Telling(TagInfo.Name, AValue);
  }
  AfterRelease(std::move(Tell));
}

// What tells a change that was made inside the mutex, to be called outside.
std::function<void()> TComponent::Telling(std::string_view AName, TPropertyValue AValue) const {
  if (!FChanges->HasListeners()) return [] {};
  return FChanges->Telling({std::string(AName), std::move(AValue)});
}

std::vector<TComponent*> TComponent::Components() const {
  const std::lock_guard Lock(FComponentsMutex);
  return FComponents;
}

TComponent* TComponent::FindComponent(std::string_view AName) const {
  const std::lock_guard Lock(FComponentsMutex);
  return Named(AName);
}

// Inside the mutex, so that none of them ends meanwhile.
TComponent* TComponent::Named(std::string_view AName) const {
  if (AName.empty()) return nullptr;
  for (TComponent* Component : FComponents) {
    if (Component->Name() == AName) return Component;
  }
  return nullptr;
}

void TComponent::InsertComponent(TOwned<TComponent> AComponent) {
  const std::lock_guard Ends(EndMutex());
  const std::lock_guard Lock(FComponentsMutex);
  // This component's own name stands behind the mutex that is held.
  const auto Self = [this] { return FName.empty() ? std::string(ClassName()) : FName; };
  if (FEnding) {
    throw EQSException(Self() + " is at its end and cannot own " + AComponent->Describe() +
                       "; give it another owner");
  }
  if (const TComponent* Twin = Named(AComponent->Name())) {
    throw EQSException(Self() + ": cannot own " + AComponent->Describe() + " beside " +
                       Twin->Describe() + ", which has the name; give it another name first");
  }
  AComponent->FOwner = this;
  FComponents.push_back(AComponent.release());
}

void TComponent::SetState(TComponentState AState, bool AValue) {
  if (AValue) {
    FState.fetch_or(AState, std::memory_order_relaxed);
  } else {
    FState.fetch_and(static_cast<std::uint8_t>(~AState), std::memory_order_relaxed);
  }
}

void TComponent::Constructed() {
  InitDefaults();
  AfterConstruction();
}

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
    : TComponent(AConstruct),
      FLock(MakeRef<IChangeNotifyLock>([this] { return Describe(); }, Changes())) {}

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
