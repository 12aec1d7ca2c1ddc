#include "Reference.h"

#include "ClassText.h"
#include "Png.h"

#include <host/Palette.h>
#include <host/Words.h>
#include <host/convert/OutputFile.h>

#include <tessalune/frame/runtime/QSException.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace tessalune::host {
namespace {

using TRow = TPageWriter::TRow;

std::vector<std::string_view> ClassNames() {
  std::vector<std::string_view> Names;
  for (const TComponentClass& Class : RegisteredComponents()) {
    Names.push_back(Class.Published().ClassName());
  }
  return Names;
}

std::string BytesOf(const std::filesystem::path& AFile) {
  std::ifstream File(AFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(File), {}};
}

// CLASS.svg from AFrom, which lies in AFolder beside a page; empty if there is none.
TPageFile DrawingOf(const TPublishedTable& ATable, const char* AFolder,
                    const std::filesystem::path& AFrom) {
  const std::string Name = std::string(ATable.ClassName()) + ".svg";
  return {std::string(AFolder) + '/' + Name, "image/svg+xml", BytesOf(AFrom / Name)};
}

// The drawing, else the bitmap that the class or a base of it brings.
TPageFile IconOf(const TPublishedTable& ATable, const TReferenceOptions& AOptions) {
  TPageFile Drawing = DrawingOf(ATable, "icons", AOptions.Icons);
  if (!Drawing.IsEmpty()) return Drawing;
  constexpr std::int32_t Pixels = 32;
  return {"icons/" + std::string(ATable.ClassName()) + ".png", "image/png",
          PngOf(ClassIcon(ATable, Pixels))};
}

TPageFile PictureOf(const TPublishedTable& ATable, const TReferenceOptions& AOptions) {
  return DrawingOf(ATable, "pictures", AOptions.Pictures);
}

TRow PinRow(const TPublishedPin& ARow, TComponent& AObject) {
  const TKLBasicPin& Pin = ARow.Get(AObject);
  return {{'`' + std::string(ARow.Name) + '`' + (ARow.IsList ? ", a list" : ""),
           std::string(DirectionName(Pin)) + (ARow.Primary ? ", primary" : ""),
           Listed(TypeNames(Pin)), Pin.TakesManyLinks() ? "any number" : "one",
           std::string(ARow.Doc)}};
}

std::string TypeText(const TPublishedProperty& ARow) {
  std::string Text(PropertyKindName(ARow.Kind));
  if (ARow.Kind == TPropertyKind::Array)
    Text += " of " + std::string(PropertyKindName(ARow.Element));
  return Text;
}

std::string LimitsText(const TPublishedProperty& ARow) {
  std::string Text = ARow.Bounds.IsEmpty() ? "" : RangeText(ARow.Bounds, ARow.Unit);
  const auto Add = [&Text](const std::string& AMore) {
    Text += (Text.empty() ? "" : "; ") + AMore;
  };
  if (!ARow.Design.IsEmpty()) Add("usually " + RangeText(ARow.Design, ARow.Unit));
  if (ARow.NonFinite) Add("NaN and the infinities too");
  return Text;
}

std::string DocText(const TPublishedProperty& ARow) {
  std::string Text(ARow.Doc);
  if (!ARow.Enumerators.empty()) {
    Text += " One of";
    for (const std::string_view Name : ARow.Enumerators) {
      Text += (Name == ARow.Enumerators.front() ? " `" : ", `") + std::string(Name) + '`';
    }
    Text += '.';
  }
  if (!ARow.OldName.empty()) Text += " Formerly `" + std::string(ARow.OldName) + "`.";
  return Text;
}

void AddProperty(const TPublishedProperty& ARow, const std::string& AName,
                 std::vector<TRow>& ARows) {
  const std::string Default =
      ARow.Set ? QuantityText(ValueText(ARow.Default), ARow.Unit) : std::string();
  ARows.push_back(
      {{'`' + AName + '`', TypeText(ARow), Default, LimitsText(ARow),
        ARow.Set ? std::string(TakesEffectText(ARow.Effect)) : "read-only", DocText(ARow)}});
  if (ARow.Kind != TPropertyKind::Collection) return;
  for (const TPublishedProperty* Row : ARow.ItemTable().Properties()) {
    AddProperty(*Row, AName + "[]." + std::string(Row->Name), ARows);
  }
}

void AddProperties(TPersistent& AObject, const std::string& APath, std::vector<TRow>& ARows) {
  const TPublishedTable& Table = AObject.PublishedTable();
  for (const TPublishedProperty* Row : Table.Properties()) {
    const std::string Name = APath + std::string(Row->Name);
    if (Row->Kind != TPropertyKind::Object) {
      AddProperty(*Row, Name, ARows);
      continue;
    }
    TPersistent& Part = Row->Object(AObject);
    ARows.push_back({{'`' + Name + '`', "Object", "", "", "", std::string(Row->Doc)}});
    if (const TPublishedProperty* Content = Part.PublishedTable().ContentRow()) {
      ARows.back().Cells.back() +=
          " An array in its place is its `" + std::string(Content->Name) + "`.";
    }
    AddProperties(Part, Name + '.', ARows);
  }
  for (const TPublishedOlderForm* Form : Table.OlderForms()) {
    ARows.push_back(
        {{'`' + APath + std::string(Form->Name) + '`', "older form", "", "",
          Form->NameToday.empty() ? "dropped" : "read as " + std::string(Form->NameToday),
          std::string(Form->Doc)}});
  }
}

void AddEvents(TPersistent& AObject, const std::string& APath, std::vector<TRow>& ARows) {
  for (const TPublishedEvent* Row : AObject.PublishedTable().Events()) {
    ARows.push_back({{'`' + APath + std::string(Row->Name) + '`', Listed(Row->Arguments),
                      std::string(Row->Doc)}});
  }
  for (const TPublishedProperty* Row : AObject.PublishedTable().Properties()) {
    if (Row->Kind != TPropertyKind::Object) continue;
    AddEvents(Row->Object(AObject), APath + std::string(Row->Name) + '.', ARows);
  }
}

void WriteExample(TPageWriter& APage, const TPublishedTable& ATable,
                  const TReferenceOptions& AOptions) {
  const std::string Name = std::string(ATable.ClassName()) + ".json";
  const std::string Example = BytesOf(AOptions.Examples / Name);
  if (Example.empty()) return;
  APage.Heading("Example");
  APage.Text(ATable.Text(&TClassText::Example));
  const TPageFile Picture = PictureOf(ATable, AOptions);
  if (!Picture.IsEmpty()) APage.Picture(Picture, "What comes out of the example");
  APage.Text("The graph is `examples/reference/" + Name +
             "`; it writes to the folder `out/reference`, which has to be there:");
  APage.Code("mkdir -p out/reference\ntessalune run examples/reference/" + Name, "sh");
  APage.Code(Example, "json");
}

void WriteFile(const std::filesystem::path& AName, const std::string& ABytes) {
  TOutputFile File(AName);
  File.Write(ABytes.data(), ABytes.size());
  File.Commit();
}

// Lays AFile beside the pages of AOptions, unless it is there: the pictures of the tree's own
// reference are.
void LayBeside(const TPageFile& AFile, const TReferenceOptions& AOptions) {
  if (AFile.IsEmpty()) return;
  const std::filesystem::path Name = AOptions.Folder / AFile.Name;
  if (BytesOf(Name) == AFile.Bytes) return;
  std::filesystem::create_directories(Name.parent_path());
  WriteFile(Name, AFile.Bytes);
}

std::string_view IndexName(TPageForm AForm) {
  return AForm == TPageForm::Html ? "index" : "README";
}

// Where nothing was said: AInstalled among the installed documents, wherever they have been moved
// with the program.
void FindFolder(std::filesystem::path& AFolder, const char* AInstalled) {
  if (AFolder.empty()) {
    const auto Program = std::filesystem::read_symlink("/proc/self/exe");
    AFolder = Program.parent_path() / TESSALUNE_DOCUMENTS / AInstalled;
  } else if (!std::filesystem::is_directory(AFolder)) {
    throw EQSException("there is no folder \"" + AFolder.string() + '"');
  }
}

}  // namespace

std::string ClassPage(const TComponentClass& AClass, const TReferenceOptions& AOptions) {
  const TPublishedTable& Table = AClass.Published();
  const TOwned<TComponent> Sample = AClass.New();
  const auto Page = NewPage(AOptions.Form, ClassNames(), Table.ClassName());
  Page->Title(IconOf(Table, AOptions), Table.ClassName());
  Page->Text(std::string(Table.DisplayName()) + ". Category " + std::string(Table.Category()) +
             ".\n\n" + std::string(Table.Doc()));
  const auto WriteSection = [&](const TTextSection& ASection) {
    const std::string Text = Table.Text(ASection.Text);
    if (Text.empty()) return;
    Page->Heading(ASection.Heading);
    Page->Text(Text);
  };
  WriteSection(TextSections.front());
  WriteExample(*Page, Table, AOptions);

  std::vector<TRow> Rows;
  for (const TPublishedPin* Row : Table.Pins()) Rows.push_back(PinRow(*Row, *Sample));
  Page->Heading("Pins");
  Page->Table({"Pin", "Direction", "Carries", "Links", "What it is for"}, Rows);
  Rows.clear();
  AddProperties(*Sample, "", Rows);
  Page->Heading("Properties");
  Page->Table({"Property", "Type", "Default", "Range", "A change counts", "What it is"}, Rows);
  Rows.clear();
  AddEvents(*Sample, "", Rows);
  Page->Heading("Events");
  if (Rows.empty()) {
    Page->Text("It has none.");
  } else {
    Page->Table({"Event", "Arguments", "When it comes"}, Rows);
  }
  if (!Table.Actions().empty()) {
    Rows.clear();
    for (const TPublishedAction* Row : Table.Actions()) {
      Rows.push_back({{'`' + std::string(Row->Name) + '`', std::string(Row->Doc)}});
    }
    Page->Heading("Actions");
    Page->Table({"Action", "What it does"}, Rows);
  }
  std::for_each(TextSections.begin() + 1, TextSections.end(), WriteSection);
  Page->Link(IndexName(AOptions.Form), "All classes");
  return Page->Finish();
}

std::string IndexPage(const TReferenceOptions& AOptions) {
  const auto Page = NewPage(AOptions.Form, ClassNames(), "");
  Page->Title({}, "Component classes");
  for (const TCategory& Category : Categories()) {
    Page->Heading(Category.Name);
    std::vector<TRow> Rows;
    for (const TComponentClass& Class : Category.Classes) {
      const TPublishedTable& Table = Class.Published();
      Rows.push_back({{std::string(Table.ClassName()), std::string(Table.DisplayName()),
                       std::string(Table.Doc())},
                      IconOf(Table, AOptions)});
    }
    Page->Table({"Class", "Name", "What it does"}, Rows);
  }
  return Page->Finish();
}

int WriteReference(TReferenceOptions AOptions) {
  FindFolder(AOptions.Examples, "examples/reference");
  FindFolder(AOptions.Pictures, "reference/pictures");
  FindFolder(AOptions.Icons, "reference/icons");
  std::filesystem::create_directories(AOptions.Folder);
  const auto Write = [&](std::string_view AName, const std::string& AText) {
    WriteFile(AOptions.Folder / (std::string(AName) + '.' + std::string(EndingOf(AOptions.Form))),
              AText);
  };
  const std::vector<TComponentClass> Classes = RegisteredComponents();
  for (const TComponentClass& Class : Classes) {
    const TPublishedTable& Table = Class.Published();
    Write(Table.ClassName(), ClassPage(Class, AOptions));
    if (AOptions.Form == TPageForm::Html) continue;
    LayBeside(IconOf(Table, AOptions), AOptions);
    LayBeside(PictureOf(Table, AOptions), AOptions);
  }
  Write(IndexName(AOptions.Form), IndexPage(AOptions));
  return static_cast<int>(Classes.size());
}

}  // namespace tessalune::host
