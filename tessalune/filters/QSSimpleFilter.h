// Filters that are designed from what their user says of them: the base of the four kinds.
#pragma once

#include <tessalune/frame/streams/QSTapsFilter.h>
#include <tessalune/frame/streams/QSWindowFilter.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessalune {

// The filter is designed by QSFilterCalc, anew at each announcement of a rate and at each change of
// a property, on the thread of the setter; the next block is the first that it filters
// (QSTapsFilter.h: without a click). Before the first rate, after the end of a stream until the
// next rate or change, and where no filter can be made, blocks go through unchanged; in the last
// case DesignError says why. Frequencies beyond what a rate allows are taken as the nearest that it
// does, see the classes; the properties keep what was set, and Remarks tells.
class TQSSimpleFilter : public TQSCommonTapsFilter {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Of ftFIR the number of taps; a high pass and a band stop, which no even number can make, have
  // one more then. Of the others the order of the prototype: a band pass and a band stop have twice
  // as many poles. At least 1; what is too much DesignError tells. Default 41. (ftIIR holds a low
  // order only, ftBiquadIIR any.)
  std::int32_t Order() const { return FOrder; }
  void SetOrder(std::int32_t AValue);
  // Default ftFIR.
  TQSFilterType FilterType() const { return FFilterType; }
  void SetFilterType(TQSFilterType AValue);
  // Of ftFIR. Default wtHamming.
  TQSWindowType WindowType() const { return FWindowType; }
  void SetWindowType(TQSWindowType AValue);
  // Of the others. Default iirButterworth.
  TQSIIRFilterType IIRFilterType() const { return FIIRFilterType; }
  void SetIIRFilterType(TQSIIRFilterType AValue);
  // Of wtKaiser its shape from 0 to 1, of iirChebyshev the ripple in dB, above 0; of nothing else.
  // Default 1.
  double Alpha() const { return FAlpha; }
  void SetAlpha(double AValue);

  // The taps of the last design, in the layout of its type; none where it failed.
  std::int32_t TapsCount() const { return FrequencyResponse().TapsCount(); }
  double Taps(std::int32_t AIndex) const { return FrequencyResponse().Tap(AIndex); }

  // For a design tool without a stream: sets a SampleRate that is good for the frequencies.
  virtual void AutoCalcRate() {}

 protected:
  TQSSimpleFilter(TConstruct AConstruct, TQSDesignFilterType ADesignType)
      : TQSCommonTapsFilter(AConstruct), FDesignType(ADesignType) {}

  // What goes into the design in place of the frequencies that were set, and what there is to say
  // of that.
  struct TEdges {
    double First;
    double Second = -1.0;
    std::vector<std::string> Notes{};
  };
  virtual TEdges Edges(double ASampleRate) const = 0;
  // The design for a stream of that rate; called under the lock.
  TRef<IQSFilterInfo> GetFilterInfo(double ASampleRate) const;
  // Sets AEdge to what a rate allows, and says so.
  static void LimitEdge(double& AEdge, const char* AName, double ASampleRate,
                        std::vector<std::string>& ANotes);
  void SetRateFor(double AFrequency);

  TQSTapsDesign IntInit(double ASampleRate) const override;
  std::vector<std::string> DesignNotes(double ASampleRate) const override;
  void StreamStop() override;

  const TQSDesignFilterType FDesignType;

 private:
  TField<std::int32_t> FOrder;
  TField<TQSFilterType> FFilterType;
  TField<TQSWindowType> FWindowType;
  TField<TQSIIRFilterType> FIIRFilterType;
  TField<double> FAlpha;
};

}  // namespace tessalune
