// The types of streams, by which pins know one another.
#pragma once

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/primitives/QSComplex.h>

#include <cstdint>

namespace tessalune {

// Blocks of samples. The last word of each is what graph files and events call it.
inline constexpr TKLDataType RealStream{TGUID("58041272-EF20-4696-87E6-9EE46ABFBD89"),
                                        "blocks of real samples", 8, "real"};
inline constexpr TKLDataType ComplexStream{TGUID("BD797143-D7C6-4033-B686-9ABA658346CF"),
                                           "blocks of complex samples", 16, "complex"};
inline constexpr TKLDataType IntegerStream{TGUID("473B965F-AB43-4493-B9E3-BEE9CF0803D4"),
                                           "blocks of integers", 4, "integer"};
inline constexpr TKLDataType UnsignedStream{TGUID("69C07AA6-2A4D-4B94-9D13-8CDE2F9FA089"),
                                            "blocks of unsigned integers", 4, "unsigned"};
inline constexpr TKLDataType BlockStream{TGUID("BD807B57-05AE-44E0-A99F-3D9BAD83395E"),
                                         "blocks of bytes", 1, "block"};

// Single values.
inline constexpr TKLDataType RealValue{TGUID("6B7C1D3E-94A2-4F0B-8E57-2D1C5A903F64"),
                                       "single real values", 8, "real value"};
inline constexpr TKLDataType ComplexValue{TGUID("C0E5B8A7-3F41-4D96-A1C8-7B26E49D0F15"),
                                          "single complex values", 16, "complex value"};
inline constexpr TKLDataType IntegerValue{TGUID("1F9D62C4-58BE-47A3-9C07-E63A4B81D25F"),
                                          "single integer values", 8, "integer value"};
// Ticks that carry nothing.
inline constexpr TKLDataType ClockTick{TGUID("A4728F0D-6C15-4B3E-B9D2-05E7C318A6F9"), "clock ticks",
                                       0, "tick"};

// The five sample types, in the order of the table above.
inline const TKLDataTypes& SampleTypes() {
  static const TKLDataTypes Types{&RealStream, &ComplexStream, &IntegerStream, &UnsignedStream,
                                  &BlockStream};
  return Types;
}

// A sample type as a C++ type: the one place where the two meet.
template <class T>
struct TSampleTraits;
template <>
struct TSampleTraits<double> {
  static constexpr const TKLDataType& Type = RealStream;
};
template <>
struct TSampleTraits<TComplex> {
  static constexpr const TKLDataType& Type = ComplexStream;
};
template <>
struct TSampleTraits<std::int32_t> {
  static constexpr const TKLDataType& Type = IntegerStream;
};
template <>
struct TSampleTraits<std::uint32_t> {
  static constexpr const TKLDataType& Type = UnsignedStream;
};
template <>
struct TSampleTraits<std::uint8_t> {
  static constexpr const TKLDataType& Type = BlockStream;
};

template <class T>
struct TSampleTag {
  using TSample = T;
};

// Calls AVisit(TSampleTag<T>()) with the sample type that AID names; false if it names none.
template <class TVisit>
bool VisitSampleType(const TGUID& AID, TVisit&& AVisit) {
  if (AID == RealStream.ID) return AVisit(TSampleTag<double>()), true;
  if (AID == ComplexStream.ID) return AVisit(TSampleTag<TComplex>()), true;
  if (AID == IntegerStream.ID) return AVisit(TSampleTag<std::int32_t>()), true;
  if (AID == UnsignedStream.ID) return AVisit(TSampleTag<std::uint32_t>()), true;
  if (AID == BlockStream.ID) return AVisit(TSampleTag<std::uint8_t>()), true;
  return false;
}

}  // namespace tessalune
