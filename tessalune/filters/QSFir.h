// A finite impulse response of the user's own.
#pragma once

#include <tessalune/frame/containers/QSReals.h>
#include <tessalune/frame/streams/QSTapsFilter.h>

namespace tessalune {

// y[n] = sum of Taps[k] x[n - k], k from 0. Without taps the filter is a wire; zeros alone are a
// filter that gives zeros. How it takes a change of taps over: QSTapsFilter.h. Accuracy and cost:
// ippsFIR_64f.
class TQSFir : public TQSCommonTapsFilter {
 public:
  explicit TQSFir(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Finite numbers. A change takes effect with the next block; a single Item that is set, with the
  // next change or start of a stream.
  TQSReals& Taps() { return FTaps; }

 protected:
  TQSTapsDesign IntInit(double ASampleRate) const override;

 private:
  TQSReals FTaps;
};

namespace QSFir {
void RegisterPkg();
}

}  // namespace tessalune
