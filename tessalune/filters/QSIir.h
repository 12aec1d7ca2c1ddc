// Infinite impulse responses of the user's own: as one direct form, and as a chain of sections.
#pragma once

#include <tessalune/frame/containers/QSReals.h>
#include <tessalune/frame/streams/QSTapsFilter.h>

namespace tessalune {

// What the two have in common. Whether the filter is stable is the user's concern: a pole outside
// the unit circle lets the output grow without end. How a change of coefficients is taken over:
// QSTapsFilter.h. Coefficients that give no filter (A0 = 0) make it a wire, and DesignError says
// so.
class TQSCommonIirFilter : public TQSCommonTapsFilter {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  explicit TQSCommonIirFilter(TConstruct AConstruct) : TQSCommonTapsFilter(AConstruct) {}
};

// A0 y[n] = B0 x[n] + B1 x[n - 1] + ... - A1 y[n - 1] - ... The higher the order, the less do such
// coefficients, rounded to double, say where the poles are: from order 10 or so, and for edges far
// below the sample rate sooner, a chain of sections is the better choice.
class TQSIir : public TQSCommonIirFilter {
 public:
  explicit TQSIir(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Two pairs or more; none, and the filter is a wire. Adding, clearing and assigning take effect
  // with the next block; single values that are set, with the next of those or the next start of a
  // stream, as do values that a property stream brings.
  TQSDualReals& Taps() { return FTaps; }

 protected:
  TQSTapsDesign IntInit(double ASampleRate) const override;

 private:
  TQSDualReals FTaps;
};

// A chain of sections of second order, each as above with three pairs of coefficients. B0 may be 0:
// such a section has a delay in it.
class TQSBiQuadIir : public TQSCommonIirFilter {
 public:
  explicit TQSBiQuadIir(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // In the order in which they filter; none, and the filter is a wire. When a change takes effect:
  // as for TQSIir.
  TQSBiQuads& BiQuads() { return FBiQuads; }

 protected:
  TQSTapsDesign IntInit(double ASampleRate) const override;

 private:
  TQSBiQuads FBiQuads;
};

namespace QSIir {
void RegisterPkg();
}
namespace QSBiQuadIir {
void RegisterPkg();
}

}  // namespace tessalune
