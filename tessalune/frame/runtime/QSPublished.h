// Published tables: what a class shows to hosts, stores in property streams and documents.
//
// A class has one table: its names, one row a property, a pin or list of pins, an event. Defaults,
// storage, the program's `list` and `describe`, and the generic tests all come from it. A table is
// built once, on first use, and constant from then on; any thread may read it.
#pragma once

#include <tessalune/frame/runtime/QSIcons.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSPropertyValue.h>
#include <tessalune/frame/runtime/QSSerialization.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessalune {

class TPersistent;
class TKLBasicPin;
class TPublishedTable;

enum class TPropertyKind : std::uint8_t {
  Boolean,
  Integer,   // 32 bits, signed
  Cardinal,  // 32 bits, unsigned
  Int64,
  Double,
  String,
  Enumeration,
  Object,      // a sub-object with a table of its own
  Array,       // of plain values of one kind
  Collection,  // of objects of one class
};

std::string_view PropertyKindName(TPropertyKind AKind);

struct TPublishedProperty {
  std::string_view Name;
  std::string_view OldName{};
  std::string_view Unit{};
  std::string_view FileFilter{};  // of a file's name: "Binary files (*.bin)|*.bin|..."
  std::string_view Doc{};
  TPropertyKind Kind;
  TPropertyKind Element{};       // of Array
  TPropertyValue Default{};      // not for Object
  TValueRange<double> Bounds{};  // what the setter enforces; of Array: of its elements
  TValueRange<double> Design{};  // what an editor offers
  bool NonFinite = false;        // takes NaN and the infinities
  bool Stored = true;            // by property streams
  TTakesEffect Effect{};         // where it can be set
  std::vector<std::string_view> Enumerators{};  // names, in order from 0
  std::function<TPropertyValue(const TPersistent&)> Get{};
  // Goes through the setter; empty for a row that can only be read. Raises EQSException for a value
  // of the wrong type, for an unknown enumerator, and whatever the setter raises.
  std::function<void(TPersistent&, const TPropertyValue&)> Set{};
  std::function<TPersistent&(TPersistent&)> Object{};  // only for Object
  // Only for Array: raises the EQSException for an element that Set would refuse.
  std::function<void(const TPersistent&, const TPropertyValue&)> CheckElement{};
  // Only for Collection: the table of its items, a visit of all items in order, and the making of
  // new ones in place of those that there are: AFill gets one at a time until it is false.
  const TPublishedTable& (*ItemTable)() = nullptr;
  std::function<void(const TPersistent&, const std::function<void(const TPersistent&)>&)> Visit{};
  std::function<void(TPersistent&, const std::function<bool(TPersistent&)>&)> Fill{};

  bool IsStored() const { return Stored && (Set || Kind == TPropertyKind::Object); }
  // The value that a text from a command line means; raises EQSException if it means none. The
  // elements of an array have commas between them, and may have brackets around them.
  TPropertyValue Parse(std::string_view AText) const;
  // What Set takes, in words: "a number", "one of stTone, stSquare".
  std::string Expected() const;
};

// A name under which older files hold what is stored in another form today: read, never written.
struct TPublishedOlderForm {
  std::string_view Name;
  std::string_view NameToday;  // empty: what it holds has no use any more
  std::string_view Doc;
  std::function<void(TPersistent&, IReader&)> Read;  // from under Name
};

// A pin, or a list of pins whose count is the property of the same name.
struct TPublishedPin {
  std::string_view Name;
  std::string_view Doc;
  bool Primary;  // what a tool links first
  bool IsList;
  std::string_view PinClass;                      // of a list: the class of its pins
  std::function<TKLBasicPin&(TPersistent&)> Get;  // the pin, or the first of the list
  std::function<std::size_t(TPersistent&)> Count;
  std::function<TKLBasicPin&(TPersistent&, std::size_t)> At;

  // "InputPin", "InputPins[2]".
  std::string PinName(std::size_t AIndex) const;
};

struct TEventArgument {
  std::string_view Name;
  TPropertyValue Value;
};
using TEventListener = std::function<void(const std::vector<TEventArgument>&)>;

struct TPublishedEvent {
  std::string_view Name;
  std::string_view Doc;
  std::vector<std::string_view> Arguments;  // behind Sender
  // Sets a handler that passes the arguments on, by ToValue, as they stand before the call; it
  // takes the place of the one before.
  std::function<void(TPersistent&, TEventListener)> Listen;
};

// Something that a component does when it is told to, beside its stream.
struct TPublishedAction {
  std::string_view Name;
  std::string_view Doc;
  std::function<void(TPersistent&)> Do;
};

// An entry of the menu that a design tool shows for a component. Text has an ampersand before the
// letter that chooses it; the entry edits a property, or a sub-object.
struct TPublishedDesignEntry {
  std::string_view Text;
  std::string_view Property;
};

// Raises the EQSException for a value of the wrong type.
[[noreturn]] void RefuseType(const TPersistent& AObject, const TPublishedProperty& AProperty,
                             const TPropertyValue& AValue);

// Sets a collection's items from a list of records, none of them if one has a fault.
void FillFrom(TPersistent& AObject, const TPublishedProperty& ARow, const TPropertyValue& AValue);

// The same for an element of an array.
[[noreturn]] void RefuseElementType(const TPersistent& AObject, const TPublishedProperty& AProperty,
                                    const TPropertyValue& AValue);

// What a user should know of a class beyond its rows. Paragraphs with empty lines between them,
// items ("- "), lines set in by four spaces (formulas), `names`. What a base has in a section
// follows what the class has there.
struct TClassText {
  std::string_view Use{};       // what it does and when to take it
  std::string_view BadInput{};  // what comes of it
  std::string_view Accuracy{};  // and cost: time, memory, delay
  std::string_view Formulas{};  // and where they come from
  std::string_view SeeAlso{};   // names of classes, with commas between them
  std::string_view Example{};   // what the class's example shows
};

class TPublishedTable {
 public:
  // A class's own table. AParent is its base's table, null for a root. ADisplayName and ACategory
  // are empty for a base class that no palette shows.
  struct TClass {
    std::string_view Name;
    std::string_view DisplayName{};
    std::string_view Category{};
    std::string_view Doc{};
    // BMP files of several widths, 32 bits a pixel (blue, green, red, alpha), not compressed. The
    // library's own classes have theirs built in by name, and a class without inherits.
    std::span<const TIconFile> Icons{};
    TClassText Text{};
  };
  TPublishedTable(TClass AClass, const TPublishedTable* AParent)
      : FClass(AClass), FParent(AParent) {}

  template <class TOwner, class T>
  TPublishedTable&& Property(const TPropertyInfo<T>& AInfo, T (TOwner::*AGet)() const,
                             void (TOwner::*ASet)(T)) &&;
  // A value that can only be read: a figure of a record. AGet is a member function without
  // arguments.
  template <class TOwner, class T>
  TPublishedTable&& Field(std::string_view AName, T (TOwner::*AGet)() const, std::string_view ADoc,
                          std::string_view AUnit = {}) &&;
  // What the object holds beside its properties: the values of an array, which an array written in
  // place of the object means. At most one a class.
  template <class TOwner, class T>
  TPublishedTable&& Content(const TPropertyInfo<std::vector<T>>& AInfo,
                            std::vector<T> (TOwner::*AGet)() const,
                            void (TOwner::*ASet)(std::vector<T>)) &&;
  // The same for the items of a collection or of a list of records (without AFill), objects of
  // class TItem.
  template <class TOwner, class TItem>
  TPublishedTable&& Items(std::string_view AName,
                          void (TOwner::*AVisit)(const std::function<void(const TPersistent&)>&)
                              const,
                          void (TOwner::*AFill)(const std::function<bool(TPersistent&)>&),
                          std::string_view ADoc) &&;
  template <class TOwner>
  TPublishedTable&& OlderForm(std::string_view AName, std::string_view ANameToday,
                              void (TOwner::*ARead)(IReader&, std::string_view),
                              std::string_view ADoc) &&;
  template <class TOwner, class TObjectType>
  TPublishedTable&& Object(std::string_view AName, TObjectType& (TOwner::*AGet)(),
                           std::string_view ADoc) &&;
  template <class TOwner, class TPin>
  TPublishedTable&& Pin(std::string_view AName, TPin& (TOwner::*AGet)(), std::string_view ADoc,
                        bool APrimary = false) &&;
  // A list of pins of class APinClass; AInfo is the row of its count.
  template <class TOwner, class TList>
  TPublishedTable&& PinList(const TPropertyInfo<std::uint32_t>& AInfo, TList& (TOwner::*AGet)(),
                            std::string_view APinClass, bool APrimary = false) &&;
  template <class TOwner, class TSender, class... TArgs>
  TPublishedTable&& Event(std::string_view AName,
                          void (TOwner::*ASet)(std::function<void(TSender&, TArgs...)>),
                          std::vector<std::string_view> AArguments, std::string_view ADoc) &&;
  template <class TOwner>
  TPublishedTable&& Action(std::string_view AName, void (TOwner::*ADo)(), std::string_view ADoc) &&;
  TPublishedTable&& DesignEntry(std::string_view AText, std::string_view AProperty) &&;

  std::string_view ClassName() const { return FClass.Name; }
  std::string_view DisplayName() const { return FClass.DisplayName; }
  std::string_view Category() const { return FClass.Category; }
  std::string_view Doc() const { return FClass.Doc; }
  std::span<const TIconFile> Icons() const { return FClass.Icons; }
  // The base's table; null for a root.
  const TPublishedTable* Parent() const { return FParent; }
  std::string Text(std::string_view TClassText::*ASection) const;

  // Rows of the class and its bases, bases first.
  std::vector<const TPublishedProperty*> Properties() const;
  std::vector<const TPublishedPin*> Pins() const;
  std::vector<const TPublishedEvent*> Events() const;
  std::vector<const TPublishedAction*> Actions() const;
  std::vector<const TPublishedOlderForm*> OlderForms() const;
  std::vector<const TPublishedDesignEntry*> DesignEntries() const;

  // By name, or by older name; null if there is none.
  const TPublishedProperty* FindProperty(std::string_view AName) const;
  const TPublishedPin* FindPin(std::string_view AName) const;
  const TPublishedOlderForm* FindOlderForm(std::string_view AName) const;
  // The row of Content or Items; null if there is none.
  const TPublishedProperty* ContentRow() const;

 private:
  TClass FClass;
  const TPublishedTable* FParent;
  std::vector<TPublishedProperty> FProperties;
  std::vector<TPublishedPin> FPins;
  std::vector<TPublishedEvent> FEvents;
  std::vector<TPublishedAction> FActions;
  std::vector<TPublishedOlderForm> FOlderForms;
  std::vector<TPublishedDesignEntry> FDesignEntries;
  std::optional<std::size_t> FContent;  // index in FProperties
};

// The name in ANames that a mistyped AName most likely means; empty if none is near.
std::string_view NearestName(std::string_view AName, const std::vector<std::string_view>& ANames);
// "; did you mean Frequency?" or nothing.
std::string SuggestName(std::string_view AName, const std::vector<std::string_view>& ANames);

// --- implementation of the templates ---

template <class T>
constexpr TPropertyKind PropertyKindOf() {
  if constexpr (std::same_as<T, bool>)
    return TPropertyKind::Boolean;
  else if constexpr (std::same_as<T, std::int32_t>)
    return TPropertyKind::Integer;
  else if constexpr (std::same_as<T, std::uint32_t>)
    return TPropertyKind::Cardinal;
  else if constexpr (std::same_as<T, std::int64_t>)
    return TPropertyKind::Int64;
  else if constexpr (std::same_as<T, double>)
    return TPropertyKind::Double;
  else if constexpr (std::same_as<T, std::string>)
    return TPropertyKind::String;
  else if constexpr (TElementOf<T>::IsArray)
    return TPropertyKind::Array;
  else {
    static_assert(CEnumProperty<T>, "a property's type is none that a published table knows");
    return TPropertyKind::Enumeration;
  }
}

template <class T>
TValueRange<double> PublishedRange(const TValueRange<T>& ARange) {
  TValueRange<double> Range{.MinExcluded = ARange.MinExcluded};
  if (ARange.Min) Range.Min = static_cast<double>(*ARange.Min);
  if (ARange.Max) Range.Max = static_cast<double>(*ARange.Max);
  return Range;
}

template <class TOwner, class T>
TPublishedTable&& TPublishedTable::Property(const TPropertyInfo<T>& AInfo,
                                            T (TOwner::*AGet)() const, void (TOwner::*ASet)(T)) && {
  using TElement = typename TElementOf<T>::TType;
  TPublishedProperty Row{.Name = AInfo.Name,
                         .OldName = AInfo.OldName,
                         .Unit = AInfo.Unit,
                         .FileFilter = AInfo.FileFilter,
                         .Doc = AInfo.Doc,
                         .Kind = PropertyKindOf<T>(),
                         .Element = PropertyKindOf<TElement>(),
                         .Default = ToValue(AInfo.Default),
                         .Bounds = PublishedRange(AInfo.Bounds),
                         .Design = PublishedRange(AInfo.Design),
                         .NonFinite = AInfo.NonFinite,
                         .Stored = AInfo.Stored,
                         .Effect = AInfo.Effect};
  if constexpr (CEnumProperty<TElement>) {
    Row.Enumerators.assign(TEnumNames<TElement>::Names.begin(), TEnumNames<TElement>::Names.end());
  }
  Row.Get = [AGet](const TPersistent& AObject) {
    return ToValue((static_cast<const TOwner&>(AObject).*AGet)());
  };
  const std::string_view Name = AInfo.Name;
  Row.Set = [ASet, Name](TPersistent& AObject, const TPropertyValue& AValue) {
    auto& Owner = static_cast<TOwner&>(AObject);
    std::optional<T> Value = ValueAs<T>(AValue);
    if (!Value) RefuseType(AObject, *Owner.PublishedTable().FindProperty(Name), AValue);
    (Owner.*ASet)(*std::move(Value));
  };
  if constexpr (TElementOf<T>::IsArray) {
    Row.CheckElement = [AInfo](const TPersistent& AObject, const TPropertyValue& AValue) {
      const auto& Owner = static_cast<const TOwner&>(AObject);
      const auto Value = ValueAs<TElement>(AValue);
      if (!Value) {
        RefuseElementType(AObject, *Owner.PublishedTable().FindProperty(AInfo.Name), AValue);
      }
      if constexpr (!std::same_as<TElement, std::string>) {
        if (!IsAmong(AInfo, *Value)) RefuseValue(Owner.Describe(), AInfo, *Value);
      }
    };
  }
  FProperties.push_back(std::move(Row));
  return std::move(*this);
}

template <class TOwner, class T>
TPublishedTable&& TPublishedTable::Field(std::string_view AName, T (TOwner::*AGet)() const,
                                         std::string_view ADoc, std::string_view AUnit) && {
  using TValue = std::remove_cvref_t<T>;
  FProperties.push_back({.Name = AName,
                         .Unit = AUnit,
                         .Doc = ADoc,
                         .Kind = PropertyKindOf<TValue>(),
                         .Element = PropertyKindOf<typename TElementOf<TValue>::TType>(),
                         .Default = ToValue(TValue{}),
                         .Get = [AGet](const TPersistent& AObject) {
                           return ToValue((static_cast<const TOwner&>(AObject).*AGet)());
                         }});
  return std::move(*this);
}

template <class TOwner, class T>
TPublishedTable&& TPublishedTable::Content(const TPropertyInfo<std::vector<T>>& AInfo,
                                           std::vector<T> (TOwner::*AGet)() const,
                                           void (TOwner::*ASet)(std::vector<T>)) && {
  FContent = FProperties.size();
  return std::move(*this).Property(AInfo, AGet, ASet);
}

template <class TOwner, class TItem>
TPublishedTable&& TPublishedTable::Items(
    std::string_view AName,
    void (TOwner::*AVisit)(const std::function<void(const TPersistent&)>&) const,
    void (TOwner::*AFill)(const std::function<bool(TPersistent&)>&), std::string_view ADoc) && {
  FContent = FProperties.size();
  TPublishedProperty Row{.Name = AName,
                         .Doc = ADoc,
                         .Kind = TPropertyKind::Collection,
                         .Default = TPropertyList(),
                         .ItemTable = &TItem::Published};
  Row.Visit = [AVisit](const TPersistent& AObject, const auto& AVisitor) {
    (static_cast<const TOwner&>(AObject).*AVisit)(AVisitor);
  };
  Row.Get = [Visit = Row.Visit](const TPersistent& AObject) {
    TPropertyList List;
    Visit(AObject, [&](const TPersistent& AItem) { List.Items.push_back(RecordValue(AItem)); });
    return List;
  };
  if (AFill != nullptr) {
    Row.Fill = [AFill](TPersistent& AObject, const auto& ANext) {
      (static_cast<TOwner&>(AObject).*AFill)(ANext);
    };
    Row.Set = [AName](TPersistent& AObject, const TPropertyValue& AValue) {
      FillFrom(AObject, *static_cast<TOwner&>(AObject).PublishedTable().FindProperty(AName),
               AValue);
    };
  }
  FProperties.push_back(std::move(Row));
  return std::move(*this);
}

template <class TOwner>
TPublishedTable&& TPublishedTable::OlderForm(std::string_view AName, std::string_view ANameToday,
                                             void (TOwner::*ARead)(IReader&, std::string_view),
                                             std::string_view ADoc) && {
  FOlderForms.push_back(
      {AName, ANameToday, ADoc, [ARead, AName](TPersistent& AObject, IReader& AReader) {
         (static_cast<TOwner&>(AObject).*ARead)(AReader, AName);
       }});
  return std::move(*this);
}

template <class TOwner, class TObjectType>
TPublishedTable&& TPublishedTable::Object(std::string_view AName, TObjectType& (TOwner::*AGet)(),
                                          std::string_view ADoc) && {
  FProperties.push_back({.Name = AName,
                         .Doc = ADoc,
                         .Kind = TPropertyKind::Object,
                         .Object = [AGet](TPersistent& AObject) -> TPersistent& {
                           return (static_cast<TOwner&>(AObject).*AGet)();
                         }});
  return std::move(*this);
}

template <class TOwner, class TPin>
TPublishedTable&& TPublishedTable::Pin(std::string_view AName, TPin& (TOwner::*AGet)(),
                                       std::string_view ADoc, bool APrimary) && {
  const auto Get = [AGet](TPersistent& AObject) -> TKLBasicPin& {
    return (static_cast<TOwner&>(AObject).*AGet)();
  };
  FPins.push_back(
      {AName,
       ADoc,
       APrimary,
       false,
       {},
       Get,
       [](TPersistent&) { return std::size_t{1}; },
       [Get](TPersistent& AObject, std::size_t) -> TKLBasicPin& { return Get(AObject); }});
  return std::move(*this);
}

template <class TOwner, class TList>
TPublishedTable&& TPublishedTable::PinList(const TPropertyInfo<std::uint32_t>& AInfo,
                                           TList& (TOwner::*AGet)(), std::string_view APinClass,
                                           bool APrimary) && {
  const auto List = [AGet](TPersistent& AObject) -> TList& {
    return (static_cast<TOwner&>(AObject).*AGet)();
  };
  const auto At = [List](TPersistent& AObject, std::size_t AIndex) -> TKLBasicPin& {
    return List(AObject)[AIndex];
  };
  FPins.push_back({AInfo.Name, AInfo.Doc, APrimary, true, APinClass,
                   [At](TPersistent& AObject) -> TKLBasicPin& { return At(AObject, 0); },
                   [List](TPersistent& AObject) { return List(AObject).Count(); }, At});
  FProperties.push_back({.Name = AInfo.Name,
                         .OldName = AInfo.OldName,
                         .Unit = AInfo.Unit,
                         .Doc = AInfo.Doc,
                         .Kind = TPropertyKind::Cardinal,
                         .Default = ToValue(AInfo.Default),
                         .Bounds = PublishedRange(AInfo.Bounds),
                         .Design = PublishedRange(AInfo.Design)});
  FProperties.back().Get = [List](const TPersistent& AObject) {
    return ToValue(List(const_cast<TPersistent&>(AObject)).Count());
  };
  FProperties.back().Set = [List, Name = AInfo.Name](TPersistent& AObject,
                                                     const TPropertyValue& AValue) {
    const auto Count = ValueAs<std::uint32_t>(AValue);
    const auto& Table = static_cast<TOwner&>(AObject).PublishedTable();
    if (!Count) RefuseType(AObject, *Table.FindProperty(Name), AValue);
    List(AObject).SetCount(*Count);
  };
  return std::move(*this);
}

template <class TOwner>
TPublishedTable&& TPublishedTable::Action(std::string_view AName, void (TOwner::*ADo)(),
                                          std::string_view ADoc) && {
  FActions.push_back(
      {AName, ADoc, [ADo](TPersistent& AObject) { (static_cast<TOwner&>(AObject).*ADo)(); }});
  return std::move(*this);
}

template <class TOwner, class TSender, class... TArgs>
TPublishedTable&& TPublishedTable::Event(
    std::string_view AName, void (TOwner::*ASet)(std::function<void(TSender&, TArgs...)>),
    std::vector<std::string_view> AArguments, std::string_view ADoc) && {
  auto Listen = [ASet, AArguments](TPersistent& AObject, TEventListener AListener) {
    (static_cast<TOwner&>(AObject).*
     ASet)([AArguments, Listener = std::move(AListener)](TSender&, TArgs... AArgs) {
      const std::vector<TPropertyValue> Values{ToValue(AArgs)...};
      std::vector<TEventArgument> Arguments;
      for (std::size_t I = 0; I < Values.size(); ++I) {
        Arguments.push_back({AArguments.at(I), Values[I]});
      }
      Listener(Arguments);
    });
  };
  FEvents.push_back({AName, ADoc, std::move(AArguments), std::move(Listen)});
  return std::move(*this);
}

}  // namespace tessalune
