#pragma once

#include <tessalune/frame/streams/QSBlockBuilder.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace tessalune {

// The analytic signal of a real stream: in frames of BufferSize samples, one behind the other, each
// transformed by itself, so that it is periodic in the frame. Its real parts are the samples, its
// imaginary parts those shifted by 90 degrees (primitives/QSHilbertDispatcher.h). It is computed in
// single precision: both parts have 24 significant bits, and what is beyond some 3.4e38 becomes
// infinite.
//
// OutputPin sends a frame of complex samples as soon as the last of its samples is there;
// ShiftedOutputPin, while it is linked, sends the imaginary parts before. What a stream leaves in a
// frame that is not full is dropped. Blocks outside a stream are dropped. Frames are computed on
// the thread that delivers the block.
class TQSHilbert : public TLockComponent {
 public:
  explicit TQSHilbert(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSinkPin& InputPin() { return FInputPin; }
  TQSKLComplexSourcePin& OutputPin() { return FOutputPin; }
  TQSKLRealSourcePin& ShiftedOutputPin() { return FShiftedOutputPin; }

  // Samples of a frame; at least 1, default 1024. Takes effect with the next start.
  std::int32_t BufferSize() const { return FBufferSize; }
  void SetBufferSize(std::int32_t AValue);

 private:
  struct TFree {
    void operator()(HilbertSpec_32f32fc* APlan) const;
  };

  TKLNotifyEvent SourceEvent();
  TKLNotifyResult SinkDispatch(IKLNotifyOperation& AOperation);
  void Reset();
  void Stop();
  TKLNotifyResult ProcessHilbert(TRef<IQSDataBuffer> AFrame);
  void SingleHilbert(const double* AInBuffer, TComplex* AOutBuffer, std::int32_t ABufSize);

  TQSKLRealSinkPin FInputPin;
  TQSKLComplexSourcePin FOutputPin;
  TQSKLRealSourcePin FShiftedOutputPin;
  TField<std::int32_t> FBufferSize;

  // Of the thread that delivers the stream.
  bool FRunning = false;
  std::int32_t FFrameSize = 0;  // of this stream
  TQSBlockCutter FFrames;
  // From the stream's first frame on.
  std::unique_ptr<HilbertSpec_32f32fc, TFree> FIntState;
  std::vector<float> FF32Buffer;
  std::vector<Ipp32fc> FFC32Buffer;
};

namespace QSHilbert {
void RegisterPkg();
}

}  // namespace tessalune
