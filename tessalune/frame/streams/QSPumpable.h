// A source as a host runs it, whatever its class.
#pragma once

#include <tessalune/frame/runtime/QSEvent.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tessalune {

class TKLBasicPin;

// What drives a generator that is its own pump; in order from 0.
enum class TQSClockSource : std::uint8_t {
  csAuto,      // csExternal if ClockInputPin has a link when the stream starts, else csInternal
  csInternal,  // its own clock thread
  csExternal,  // ticks on ClockInputPin, or calls of Pump
};
template <>
struct TEnumNames<TQSClockSource> {
  static constexpr std::array<std::string_view, 3> Names{"csAuto", "csInternal", "csExternal"};
};

// How a source kept to its own clock, since its stream began. Times are in seconds.
struct TClockLag {
  double Greatest = 0.0;    // by which a block was late
  double GreatestAt = 0.0;  // since the clock was started, when that was
  double Skipped = 0.0;     // of the stream that was left out to catch up
  std::int64_t SkippedBlocks = 0;
};

// A component that makes a stream by itself. A host asks each component by dynamic_cast whether it
// is one. The stream leaves by the component's published output pins.
//
// All of it may be called on any thread, and from inside a block, on the thread that makes it.
class IPumpable {
 public:
  // Starts the stream, unless one runs or the source cannot start now; what prevents it that the
  // user should know of is an EQSException.
  virtual void Start() = 0;
  // Ends the stream; nothing if none runs. Called inside a block, it takes effect behind that
  // block, which is the last.
  virtual void Stop() = 0;
  // Makes one block, on this thread, while ClockSource is csExternal. True if the stream still
  // runs.
  virtual bool Pump() = 0;
  virtual bool IsRunning() const = 0;
  // The stream has ended and its sinks know. A class that publishes the event does so as "OnStop".
  virtual void SetOnStop(TNotifyEvent AHandler) = 0;

  // While false, Start does nothing, whoever asks.
  virtual bool Enabled() const = 0;
  virtual void SetEnabled(bool AValue) = 0;

  // What drives the source from its next start on.
  virtual TQSClockSource ClockSource() const = 0;
  virtual void SetClockSource(TQSClockSource AValue) = 0;
  // The input whose ticks drive it at csExternal; null if it has none.
  virtual TKLBasicPin* TickPin() { return nullptr; }
  virtual TClockLag ClockLag() const { return {}; }

  virtual double SampleRate() const = 0;        // Hz
  virtual std::int32_t BufferSize() const = 0;  // samples a block
  // From the next block on none holds more than ASamples samples (at least 1), whatever it is that
  // tells how long a block is, until the next call. BufferSize stays.
  virtual void LimitBlock(std::int64_t ASamples) = 0;

  // True if the stream ends without being stopped, and the samples that it has in all: empty while
  // nobody knows.
  virtual bool EndsByItself() const { return false; }
  virtual std::optional<std::int64_t> Length() const { return std::nullopt; }

 protected:
  ~IPumpable() = default;
};

}  // namespace tessalune
