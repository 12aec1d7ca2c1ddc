// The discrete cosine transform and its inverse, as filters of a real stream.
//
// Each block goes through the transform and comes out as a block of the same size N, which is the
// transform's length:
//   TQSDct         y[k] = s(k) sum over n of x[n] cos(pi (2n + 1) k / (2N)), type II
//   TQSInverseDct  x[n] = sum over k of s(k) y[k] cos(pi (2n + 1) k / (2N)), type III
// with s(0) = 1 / sqrt(N), else s(k) = sqrt(2 / N). The pair is orthonormal: the sum of squares
// stays, and the inverse of the transform gives the block back within rounding (primitives/Dct.h).
//
// A block of any size, and no block depends on another. A size that differs from that of the block
// before costs the making of a plan; a block without samples passes. Memory for a plan or for the
// work that is not to be had is an EQSException.
#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <cstdint>
#include <memory>

namespace tessalune {

// What the twins have in common; TSpec is the kind of plan.
template <class TSpec>
class TQSDctOf : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;

 protected:
  void StreamStop() override;
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  struct TFree {
    void operator()(TSpec* APlan) const;
  };

  void SetSamples(std::int32_t ASamples);

  // Of the thread that computes: the plan of the stream's last block, null before its first.
  std::unique_ptr<TSpec, TFree> FIntState;
  std::int32_t FBufferSize = 0;
};

extern template class TQSDctOf<DCTFwdSpec_64f>;
extern template class TQSDctOf<DCTInvSpec_64f>;

class TQSDct : public TQSDctOf<DCTFwdSpec_64f> {
 public:
  using TQSDctOf::TQSDctOf;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

class TQSInverseDct : public TQSDctOf<DCTInvSpec_64f> {
 public:
  using TQSDctOf::TQSDctOf;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

namespace QSDct {
void RegisterPkg();
}

}  // namespace tessalune
