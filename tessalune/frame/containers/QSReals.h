// The arrays of numbers that filters publish: taps and coefficients.
#pragma once

#include <tessalune/frame/containers/VBLockArray.h>

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace tessalune {

// Finite numbers, such as the taps of a filter.
class TQSReals final : public TBasicLockArrayPersistent<TQSReals, double> {
 public:
  using TBasicLockArrayPersistent::TBasicLockArrayPersistent;
  static constexpr TPropertyInfo<std::vector<double>> ItemsInfo{
      .Name = "_Items", .OldName = "Values", .Doc = "The values in their order."};
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

// Coefficients of a recursive filter in the memory order of its primitive, in groups of one size;
// stored as _Values. Reading them from a property stream runs no change procedure: a filter picks
// them up when it is made ready for a stream.
class TQSBasicReals : public TLockArray<double> {
 public:
  void SerializationRead(IReader& AReader) override;

  // Pairs or sections. New ones are all zeros, the others keep their values. Setting tells nobody.
  std::int32_t Count() const;
  virtual void SetCount(std::int32_t AValue) = 0;

 protected:
  TQSBasicReals(std::int32_t AGroup, std::string_view AGroupText, TRef<IChangeNotifyLock> ALock,
                std::string_view APath, std::function<void()> AOnChange);
  static TPublishedTable ValuesTable(TPublishedTable::TClass AClass);

  void NotifyProp() override;
  void CheckValues(const std::vector<double>& AValues) const override;  // whole groups, too
  double Get(std::int32_t AIndex, std::int32_t ACount, std::int32_t AAt) const;
  void Put(std::int32_t AIndex, std::int32_t ACount, std::int32_t AAt, double AValue);
  // Appends, for a caller that holds the lock and tells.
  void Append(const std::vector<double>& AValues);

 private:
  const std::int32_t FGroup;
  const std::string_view FGroupText;  // "B0 to B(n-1), then A0 to A(n-1)"
  bool FReading = false;              // under the lock
};

// Pairs of coefficients: B0 to B(n-1), then A0 to A(n-1), as ippsIIRInitAlloc_64f takes them.
class TQSDualReals final : public TQSBasicReals {
 public:
  explicit TQSDualReals(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                        std::function<void()> AOnChange = {});
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  void SetCount(std::int32_t AValue) override;

  double BValues(std::int32_t AIndex) const;
  // Listeners hear of it; the filter picks the value up with the next change that runs the change
  // procedure.
  void SetBValues(std::int32_t AIndex, double AValue);
  double AValues(std::int32_t AIndex) const;
  // Tells nobody.
  void SetAValues(std::int32_t AIndex, double AValue);

  void Add(double AAValue, double ABValue);

 private:
  void AddInt(double AAValue, double ABValue);
  void ReadPairs(IReader& AReader, std::string_view AName);
};

// Second-order sections: B0, B1, B2, A0, A1, A2 each, as ippsIIRInitAlloc_BiQuad_64f takes them.
class TQSBiQuads final : public TQSBasicReals {
 public:
  explicit TQSBiQuads(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                      std::function<void()> AOnChange = {});
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  void SetCount(std::int32_t AValue) override;

  // ATap is 0 to 2. Setting one tells nobody.
  double BValues(std::int32_t ASection, std::int32_t ATap) const;
  void SetBValues(std::int32_t ASection, std::int32_t ATap, double AValue);
  double AValues(std::int32_t ASection, std::int32_t ATap) const;
  void SetAValues(std::int32_t ASection, std::int32_t ATap, double AValue);

  void Add(double AB0, double AB1, double AB2, double AA0, double AA1, double AA2);

 private:
  std::int32_t At(std::int32_t ASection, std::int32_t ATap, std::int32_t AOffset) const;
  void ReadSections(IReader& AReader, std::string_view AName);
};

}  // namespace tessalune
