#include "JsonDocument.h"

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <utility>

namespace tessalune::host {
namespace {

constexpr std::size_t DeepestLevel = 100;
constexpr std::size_t LongestArrayLine = 80;

bool IsOneOf(char ACharacter, std::string_view ACharacters) {
  return ACharacters.find(ACharacter) != std::string_view::npos;
}

// Walks over a text by JSON's tokens. It leaves all judgement to the parser, which reports a token
// only when it is sound.
class TTokens {
 public:
  explicit TTokens(std::string_view AText) : FText(AText) {
    if (FText.substr(0, 3) == "\xEF\xBB\xBF") FAt = 3;
  }

  struct TToken {
    TPlace Place;
    std::string_view Text;
  };

  TToken Next() {
    while (FAt < FText.size() && IsOneOf(FText[FAt], " \t\r\n,:")) Step();
    const TToken Token{FPlace, FText.substr(FAt, TokenLength())};
    for (std::size_t Left = Token.Text.size(); Left > 0; --Left) Step();
    return Token;
  }

  TPlace PlaceOf(std::size_t AOffset) {
    while (FAt < std::min(AOffset, FText.size())) Step();
    return FPlace;
  }

 private:
  std::size_t TokenLength() const {
    if (FAt >= FText.size()) return 0;
    if (IsOneOf(FText[FAt], "{}[]")) return 1;
    std::size_t End = FAt + 1;
    if (FText[FAt] == '"') {
      while (End < FText.size() && FText[End] != '"') End += FText[End] == '\\' ? 2U : 1U;
      return End + 1 - FAt;
    }
    while (End < FText.size() && !IsOneOf(FText[End], " \t\r\n,:{}[]\"")) ++End;
    return End - FAt;
  }

  void Step() {
    const char Passed = FText[FAt++];
    if (Passed == '\n') {
      ++FPlace.Line;
      FPlace.Column = 1;
    } else if ((static_cast<unsigned char>(Passed) & 0xC0) != 0x80) {
      ++FPlace.Column;  // the bytes that continue a UTF-8 character take no column of their own
    }
  }

  const std::string_view FText;
  std::size_t FAt = 0;
  TPlace FPlace{1, 1};
};

// The parser's events become the tree; each is one token of the text.
class TTreeBuilder {
 public:
  TTreeBuilder(std::string_view AText, TMistakes& AMistakes)
      : FText(AText), FTokens(AText), FMistakes(AMistakes) {}

  TJsonNode& Document() { return FDocument; }

  bool null() { return Scalar(TJsonKind::Null); }
  bool boolean(bool) { return Scalar(TJsonKind::Boolean); }
  bool number_integer(std::int64_t) { return Scalar(TJsonKind::Number); }
  bool number_unsigned(std::uint64_t) { return Scalar(TJsonKind::Number); }
  bool number_float(double, const std::string&) { return Scalar(TJsonKind::Number); }
  bool string(std::string& AText) { return Scalar(TJsonKind::String, std::move(AText)); }
  bool binary(nlohmann::json::binary_t&) { return false; }  // not a thing of JSON texts

  bool start_object(std::size_t) { return Open(TJsonKind::Object); }
  bool end_object() { return Close(); }
  bool start_array(std::size_t) { return Open(TJsonKind::Array); }
  bool end_array() { return Close(); }

  bool key(std::string& AKey) {
    TLevel& Level = FLevels.back();
    Level.Key = AKey;
    Level.KeyPlace = FTokens.Next().Place;
    Level.IsDouble = !Level.Keys.insert(AKey).second;
    if (Level.IsDouble) {
      FMistakes.Add(Level.KeyPlace, NextPath(),
                    "the key \"" + AKey + "\" stands here a second time; remove one of the two");
    }
    return true;
  }

  bool parse_error(std::size_t APosition, const std::string& AToken,
                   const nlohmann::json::exception& AError) {
    constexpr int OutOfRange = 406;
    if (AError.id == OutOfRange) {
      const std::size_t Start = APosition - std::min(APosition, AToken.size());
      FMistakes.Add(TTokens(FText).PlaceOf(Start), "",
                    "the number " + AToken +
                        " is out of range; expected is one from -1.7e308 to 1.7e308, or one of the "
                        "strings \"Infinity\" and \"-Infinity\"");
      return false;
    }
    // What stands before the colon repeats the place and the parser's own error number.
    std::string Message = AError.what();
    const std::size_t Start = Message.find(": ");
    if (Start != std::string::npos) Message.erase(0, Start + 2);
    FMistakes.Add(TTokens(FText).PlaceOf(APosition > 0 ? APosition - 1 : 0), "",
                  "this is no JSON: " + Message);
    return false;
  }

 private:
  // An array or object whose end has not come yet.
  struct TLevel {
    TJsonNode Node;
    std::unordered_set<std::string> Keys{};
    std::string Key{};
    TPlace KeyPlace{};
    bool IsDouble = false;
  };

  std::string NextPath() const {
    if (FLevels.empty()) return {};
    const TLevel& Level = FLevels.back();
    if (Level.Node.Kind == TJsonKind::Array) {
      return Level.Node.Path + '[' + std::to_string(Level.Node.Items.size()) + ']';
    }
    return Level.Node.Path.empty() ? Level.Key : Level.Node.Path + '.' + Level.Key;
  }

  TJsonNode NextNode(TJsonKind AKind, TPlace APlace) const {
    TJsonNode Node;
    Node.Kind = AKind;
    Node.Place = APlace;
    Node.Path = NextPath();
    if (!FLevels.empty()) {
      Node.Key = FLevels.back().Key;
      Node.KeyPlace = FLevels.back().KeyPlace;
    }
    return Node;
  }

  bool Scalar(TJsonKind AKind, std::string AText = {}) {
    const TTokens::TToken Token = FTokens.Next();
    TJsonNode Node = NextNode(AKind, Token.Place);
    Node.Spelling = Token.Text;
    Node.Text = std::move(AText);
    Add(std::move(Node));
    return true;
  }

  bool Open(TJsonKind AKind) {
    const TPlace Place = FTokens.Next().Place;
    if (FLevels.size() == DeepestLevel) {
      FMistakes.Add(Place, "", "arrays and objects are nested deeper than 100 levels");
      return false;
    }
    FLevels.push_back({NextNode(AKind, Place)});
    return true;
  }

  bool Close() {
    FTokens.Next();
    TJsonNode Node = std::move(FLevels.back().Node);
    FLevels.pop_back();
    Add(std::move(Node));
    return true;
  }

  void Add(TJsonNode ANode) {
    if (FLevels.empty()) {
      FDocument = std::move(ANode);
    } else if (!FLevels.back().IsDouble) {
      FLevels.back().Node.Items.push_back(std::move(ANode));
    }
  }

  const std::string_view FText;
  TTokens FTokens;
  TMistakes& FMistakes;
  std::vector<TLevel> FLevels;
  TJsonNode FDocument;
};

template <class T>
std::optional<T> Parsed(std::string_view AText) {
  T Value{};
  const char* End = AText.data() + AText.size();
  const auto Result = std::from_chars(AText.data(), End, Value);
  return Result.ec == std::errc() && Result.ptr == End ? std::optional(Value) : std::nullopt;
}

// An integer that 64 bits hold, else a double; so is -0, which has no sign as an integer.
TPropertyValue NumberValue(std::string_view ASpelling) {
  const auto Whole = Parsed<std::int64_t>(ASpelling);
  if (Whole && (*Whole != 0 || ASpelling.front() != '-')) return *Whole;
  return Parsed<double>(ASpelling).value_or(0.0);  // what is too small for a double is 0
}

double AsDouble(const TPropertyValue& ANumber) {
  const auto* Whole = std::get_if<std::int64_t>(&ANumber);
  return Whole != nullptr ? static_cast<double>(*Whole) : std::get<double>(ANumber);
}

bool IsNumber(const TPropertyValue& AValue) {
  return std::holds_alternative<std::int64_t>(AValue) || std::holds_alternative<double>(AValue);
}

bool IsSameNumber(const TPropertyValue& ALeft, const TPropertyValue& ARight) {
  if (ALeft.index() == ARight.index() && std::holds_alternative<std::int64_t>(ALeft)) {
    return ALeft == ARight;
  }
  const double Left = AsDouble(ALeft);
  const double Right = AsDouble(ARight);
  return (Left == Right && std::signbit(Left) == std::signbit(Right)) ||
         (std::isnan(Left) && std::isnan(Right));
}

bool MeansTheSame(const TPropertyValue& AStored, const TPropertyValue& AValue) {
  return IsNumber(AStored) && IsNumber(AValue) ? IsSameNumber(AStored, AValue) : AStored == AValue;
}

std::string Quoted(const std::string& AText) {
  return nlohmann::json(AText).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// --- layout ---

bool IsPlain(const TJsonNode& ANode) {
  return ANode.Kind != TJsonKind::Array && ANode.Kind != TJsonKind::Object;
}

std::optional<std::string> OneLine(const TJsonNode& AArray) {
  std::string Text = "[";
  for (const TJsonNode& Item : AArray.Items) {
    if (!IsPlain(Item) || Text.size() > LongestArrayLine) return std::nullopt;
    if (Text.size() > 1) Text += ", ";
    Text += Item.Spelling;
  }
  Text += ']';
  return Text.size() <= LongestArrayLine ? std::optional(Text) : std::nullopt;
}

void Write(const TJsonNode& ANode, std::string& AText, std::size_t ALevel) {
  if (IsPlain(ANode)) {
    AText += ANode.Spelling;
    return;
  }
  const bool IsObject = ANode.Kind == TJsonKind::Object;
  if (ANode.Items.empty()) {
    AText += IsObject ? "{}" : "[]";
    return;
  }
  if (const auto Line = IsObject ? std::nullopt : OneLine(ANode)) {
    AText += *Line;
    return;
  }
  AText += IsObject ? '{' : '[';
  for (const TJsonNode& Item : ANode.Items) {
    AText += &Item == ANode.Items.data() ? "\n" : ",\n";
    AText.append(2 * (ALevel + 1), ' ');
    if (IsObject) AText += Quoted(Item.Key) + ": ";
    Write(Item, AText, ALevel + 1);
  }
  AText += '\n';
  AText.append(2 * ALevel, ' ');
  AText += IsObject ? '}' : ']';
}

}  // namespace

std::string_view JsonKindText(TJsonKind AKind) {
  switch (AKind) {
    case TJsonKind::Null:
      return "null";
    case TJsonKind::Boolean:
      return "true or false";
    case TJsonKind::Number:
      return "a number";
    case TJsonKind::String:
      return "a string";
    case TJsonKind::Array:
      return "an array";
    case TJsonKind::Object:
      return "an object";
  }
  return "";
}

const TJsonNode* TJsonNode::Find(std::string_view AKey) const {
  const auto Found = std::find_if(Items.begin(), Items.end(),
                                  [AKey](const TJsonNode& AItem) { return AItem.Key == AKey; });
  return Kind == TJsonKind::Object && Found != Items.end() ? &*Found : nullptr;
}

TJsonNode* TJsonNode::Find(std::string_view AKey) {
  return const_cast<TJsonNode*>(std::as_const(*this).Find(AKey));
}

TJsonNode& TJsonNode::Member(std::string_view AKey, TJsonKind AKindIfNew) {
  if (TJsonNode* Known = Find(AKey)) return *Known;
  TJsonNode& New = Items.emplace_back();
  New.Key = AKey;
  New.Kind = AKindIfNew;
  return New;
}

std::optional<TPropertyValue> TJsonNode::Value() const {
  switch (Kind) {
    case TJsonKind::Boolean:
      return Spelling == "true";
    case TJsonKind::Number:
      return NumberValue(Spelling);
    case TJsonKind::String:
      return Text;
    default:
      return std::nullopt;
  }
}

void TJsonNode::SetValue(const TPropertyValue& AValue) {
  const auto* Number = std::get_if<double>(&AValue);
  if (Number != nullptr && !std::isfinite(*Number)) return SetValue(NumberText(*Number));
  const auto Stored = Value();
  if (Stored && MeansTheSame(*Stored, AValue)) return;
  Items.clear();
  Text.clear();
  if (const auto* String = std::get_if<std::string>(&AValue)) {
    Kind = TJsonKind::String;
    Text = *String;
    Spelling = Quoted(Text);
  } else {
    Kind = IsNumber(AValue) ? TJsonKind::Number : TJsonKind::Boolean;
    Spelling = ValueText(AValue);
  }
}

std::optional<double> NonFiniteNumber(std::string_view AText) {
  if (AText == "NaN") return std::numeric_limits<double>::quiet_NaN();
  if (AText == "Infinity") return std::numeric_limits<double>::infinity();
  if (AText == "-Infinity") return -std::numeric_limits<double>::infinity();
  return std::nullopt;
}

std::optional<TJsonNode> ParseJson(std::string_view AText, TMistakes& AMistakes) {
  TTreeBuilder Builder(AText, AMistakes);
  if (!nlohmann::json::sax_parse(AText.begin(), AText.end(), &Builder)) return std::nullopt;
  return std::move(Builder.Document());
}

std::string WriteJson(const TJsonNode& ADocument) {
  std::string Text;
  Write(ADocument, Text, 0);
  Text += '\n';
  return Text;
}

}  // namespace tessalune::host
