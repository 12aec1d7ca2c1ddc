// Property streams: how a component's properties are stored and read back, whatever the form.
//
// The library writes to and reads from these interfaces; the host owns the form (the program's is
// JSON). All of it runs on one thread, while no stream runs in the component.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tessalune {

class TPersistent;
struct TPropertyList;
struct TPropertyRecord;

// A value in a property stream, or of an event's argument. An enumerator is stored by its name, an
// integer of any width as 64 bits; a number that is NaN or infinite is for the form to express.
using TPropertyValue =
    std::variant<bool, std::int64_t, double, std::string, TPropertyList, TPropertyRecord>;

// The values of an array, the items of a collection. (The compiler takes the inlined moves of such
// a value for a use of memory that was never set, so they are out of line.)
struct TPropertyList {
  TPropertyList() noexcept;
  explicit TPropertyList(std::vector<TPropertyValue> AItems) noexcept;
  TPropertyList(const TPropertyList&);
  TPropertyList(TPropertyList&&) noexcept;
  TPropertyList& operator=(const TPropertyList&);
  TPropertyList& operator=(TPropertyList&&) noexcept;
  ~TPropertyList();

  std::vector<TPropertyValue> Items;
};

// An object's values by name, in its order.
struct TPropertyMember;
struct TPropertyRecord {
  TPropertyRecord() noexcept;
  explicit TPropertyRecord(std::vector<TPropertyMember> AMembers) noexcept;
  TPropertyRecord(const TPropertyRecord&);
  TPropertyRecord(TPropertyRecord&&) noexcept;
  TPropertyRecord& operator=(const TPropertyRecord&);
  TPropertyRecord& operator=(TPropertyRecord&&) noexcept;
  ~TPropertyRecord();

  std::vector<TPropertyMember> Members;
};
struct TPropertyMember {
  std::string Name;
  TPropertyValue Value;
};
inline bool operator==(const TPropertyList& ALeft, const TPropertyList& ARight) {
  return ALeft.Items == ARight.Items;
}
inline bool operator==(const TPropertyMember& ALeft, const TPropertyMember& ARight) {
  return ALeft.Name == ARight.Name && ALeft.Value == ARight.Value;
}
inline bool operator==(const TPropertyRecord& ALeft, const TPropertyRecord& ARight) {
  return ALeft.Members == ARight.Members;
}

// The value as a message or a table shows it: strings in quotes, [1, 2], {Sample: 3}. Of a long
// list the beginning and the count.
std::string ValueText(const TPropertyValue& AValue);

class ISequentialWriter {
 public:
  virtual ~ISequentialWriter() = default;
  virtual void WriteValue(const TPropertyValue& AValue) = 0;  // a plain one
  virtual void WriteObject(const TPersistent& AObject) = 0;
  void WriteNumber(double AValue) { WriteValue(AValue); }
  void WriteString(std::string AValue) { WriteValue(std::move(AValue)); }
};

class IWriter {
 public:
  virtual ~IWriter() = default;
  virtual void WriteValue(std::string_view AName, const TPropertyValue& AValue) = 0;
  // Stores the properties of AObject under the name, by its SerializationWrite.
  virtual void WriteObject(std::string_view AName, const TPersistent& AObject) = 0;
  virtual void WriteArray(std::string_view AName,
                          const std::function<void(ISequentialWriter&)>& AContent) = 0;
  // Properties at their default are not stored, unless the form asks for one by name: an editor's
  // file keeps what its user wrote down.
  virtual bool WantsDefault(std::string_view /*AName*/) const { return false; }

  void WriteBoolean(std::string_view AName, bool AValue) { WriteValue(AName, AValue); }
  void WriteInteger(std::string_view AName, std::int64_t AValue) { WriteValue(AName, AValue); }
  void WriteNumber(std::string_view AName, double AValue) { WriteValue(AName, AValue); }
  void WriteString(std::string_view AName, std::string AValue) {
    WriteValue(AName, std::move(AValue));
  }
};

class ISequentialReader {
 public:
  virtual ~ISequentialReader() = default;
  virtual bool HasNext() const = 0;
  // The next element. One that is no plain value is told as a fault by the reader, and the result
  // is empty.
  virtual std::optional<TPropertyValue> ReadNext() = 0;
  // Reads the next element into AObject, by its SerializationRead, or runs AContent on it. An
  // element that is no object (no array) is told as a fault, passed over, and the result is false.
  virtual bool ReadNextObject(TPersistent& AObject) = 0;
  virtual bool ReadNextArray(const std::function<void(ISequentialReader&)>& AContent) = 0;
  // Tells that the element read last is wrong.
  virtual void Fault(const std::string& AMessage) = 0;

  // All that is left; what is no string (no number) is told as a fault.
  std::vector<std::string> ReadNextStrings();
  std::vector<double> ReadNextNumbers();
};

class IReader {
 public:
  virtual ~IReader() = default;
  // The names that the stream holds here, in its order.
  virtual std::vector<std::string> Names() const = 0;
  // The value under a name; empty if there is none or it is an object or an array.
  virtual std::optional<TPropertyValue> ReadValue(std::string_view AName) = 0;
  // Reads the object under the name into AObject, by its SerializationRead, or runs AContent on the
  // array under it; false if there is none.
  virtual bool ReadObject(std::string_view AName, TPersistent& AObject) = 0;
  virtual bool ReadArray(std::string_view AName,
                         const std::function<void(ISequentialReader&)>& AContent) = 0;
  // Tells that what stands under the name is wrong. Reading goes on, so that all mistakes come out
  // at once; the form knows the place.
  virtual void Fault(std::string_view AName, const std::string& AMessage) = 0;
};

}  // namespace tessalune
