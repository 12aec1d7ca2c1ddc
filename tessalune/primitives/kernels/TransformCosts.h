#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <limits>
#include <type_traits>

// What the parts of a transform cost, for the choice of its split. Only ratios mean anything.
// bench/fit_transforms measures the splits of many lengths and prints a table anew, in nanoseconds
// of the machine that it runs on. The tables of AVX2 and AVX-512 are of a Zen 4 at 3.7 GHz; those
// of the baseline are estimates.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The radix that belongs to a kind of work is given with it.
enum class TWork {
  Fused4,      // a whole transform of 4 Radix values
  Fused8,      // of 8 Radix values
  Fused16,     // of 16 Radix values
  First,       // a column of a short first step
  Last,        // a row of a short second step
  Inner,       // the innermost factor of a column, once
  Merge,       // a stage of a column, for one row
  Long,        // a radix without straight-line code, for each of its squared values
  Turn,        // rows of long columns, as many as lanes, turned
  LongRoots,   // the same by roots that are products
  Few,         // a row of fewer columns, or a column of fewer rows, than lanes
  Call,        // a transform
  RealInner,   // the innermost factor of a real column
  RealMerge,   // a stage of a real column, for one row of its bins
  RealRow,     // a short row of a real transform
  RealLine,    // a value of a longer one, beside its factors
  RealMiddle,  // a bin of the row M/2
  RealCall,    // a transform
  RealRoots,   // rows of long columns turned by roots that are products
  RealPass     // a bin of the pass that takes two interleaved spectra apart
};

constexpr const char* WorkName(TWork AWork) noexcept {
  constexpr const char* Names[] = {"Fused4",   "Fused8",     "Fused16",   "First",     "Last",
                                   "Inner",    "Merge",      "Long",      "Turn",      "LongRoots",
                                   "Few",      "Call",       "RealInner", "RealMerge", "RealRow",
                                   "RealLine", "RealMiddle", "RealCall",  "RealRoots", "RealPass"};
  return Names[static_cast<int>(AWork)];
}

struct TWorkCost {
  TWork Work;
  int Radix;
  double Cost;
};

constexpr TWorkCost BaselineCosts32[] = {
    {TWork::Fused4, 3, 60},      {TWork::Fused8, 3, 60},      {TWork::Fused16, 3, 60},
    {TWork::Fused4, 4, 80},      {TWork::Fused8, 4, 80},      {TWork::Fused16, 4, 80},
    {TWork::Fused4, 5, 100},     {TWork::Fused8, 5, 100},     {TWork::Fused16, 5, 100},
    {TWork::Fused4, 7, 140},     {TWork::Fused8, 7, 140},     {TWork::Fused16, 7, 140},
    {TWork::Fused4, 8, 170},     {TWork::Fused8, 8, 170},     {TWork::Fused16, 8, 170},
    {TWork::Fused4, 9, 200},     {TWork::Fused8, 9, 200},     {TWork::Fused16, 9, 200},
    {TWork::Fused4, 10, 230},    {TWork::Fused8, 10, 230},    {TWork::Fused16, 10, 230},
    {TWork::Fused4, 12, 280},    {TWork::Fused8, 12, 280},    {TWork::Fused16, 12, 280},
    {TWork::Fused4, 15, 350},    {TWork::Fused8, 15, 350},    {TWork::Fused16, 15, 350},
    {TWork::Fused4, 16, 400},    {TWork::Fused8, 16, 400},    {TWork::Fused16, 16, 400},
    {TWork::Fused4, 25, 700},    {TWork::Fused8, 25, 700},    {TWork::Fused16, 25, 700},
    {TWork::First, 2, 25},       {TWork::First, 3, 45},       {TWork::First, 4, 60},
    {TWork::First, 5, 80},       {TWork::First, 7, 130},      {TWork::First, 8, 150},
    {TWork::First, 9, 170},      {TWork::First, 10, 200},     {TWork::First, 11, 260},
    {TWork::First, 12, 250},     {TWork::First, 13, 330},     {TWork::First, 15, 340},
    {TWork::First, 16, 360},     {TWork::First, 20, 480},     {TWork::First, 25, 700},
    {TWork::First, 32, 850},     {TWork::Last, 2, 25},        {TWork::Last, 3, 45},
    {TWork::Last, 4, 60},        {TWork::Last, 5, 80},        {TWork::Last, 7, 130},
    {TWork::Last, 8, 150},       {TWork::Last, 9, 170},       {TWork::Last, 10, 200},
    {TWork::Last, 11, 260},      {TWork::Last, 12, 250},      {TWork::Last, 13, 330},
    {TWork::Last, 15, 340},      {TWork::Last, 16, 360},      {TWork::Last, 20, 480},
    {TWork::Last, 25, 700},      {TWork::Last, 32, 850},      {TWork::Inner, 2, 11},
    {TWork::Inner, 3, 27},       {TWork::Inner, 4, 35},       {TWork::Inner, 5, 56},
    {TWork::Inner, 7, 84},       {TWork::Inner, 8, 100},      {TWork::Inner, 11, 190},
    {TWork::Inner, 13, 260},     {TWork::Inner, 16, 275},     {TWork::Merge, 2, 11},
    {TWork::Merge, 3, 27},       {TWork::Merge, 4, 35},       {TWork::Merge, 5, 56},
    {TWork::Merge, 7, 84},       {TWork::Merge, 8, 100},      {TWork::Long, 0, 1.6},
    {TWork::Turn, 0, 16},        {TWork::LongRoots, 0, 20},   {TWork::Few, 0, 4},
    {TWork::Call, 0, 40},        {TWork::RealInner, 3, 15},   {TWork::RealInner, 4, 20},
    {TWork::RealInner, 5, 25},   {TWork::RealInner, 7, 35},   {TWork::RealInner, 8, 40},
    {TWork::RealInner, 9, 50},   {TWork::RealInner, 10, 60},  {TWork::RealInner, 11, 80},
    {TWork::RealInner, 12, 70},  {TWork::RealInner, 13, 100}, {TWork::RealInner, 15, 83},
    {TWork::RealInner, 16, 88},  {TWork::RealInner, 20, 140}, {TWork::RealInner, 25, 190},
    {TWork::RealInner, 32, 260}, {TWork::RealMerge, 2, 11},   {TWork::RealMerge, 3, 27},
    {TWork::RealMerge, 4, 35},   {TWork::RealMerge, 5, 56},   {TWork::RealMerge, 8, 100},
    {TWork::RealRow, 2, 25},     {TWork::RealRow, 3, 45},     {TWork::RealRow, 4, 60},
    {TWork::RealRow, 5, 80},     {TWork::RealRow, 7, 130},    {TWork::RealRow, 8, 150},
    {TWork::RealRow, 11, 260},   {TWork::RealRow, 13, 330},   {TWork::RealRow, 16, 360},
    {TWork::RealRow, 32, 850},   {TWork::RealLine, 0, 2},     {TWork::RealMiddle, 0, 6},
    {TWork::RealCall, 0, 100},   {TWork::RealRoots, 0, 30},   {TWork::RealPass, 0, 1},
};

constexpr TWorkCost BaselineCosts64[] = {
    {TWork::Fused4, 3, 60},      {TWork::Fused8, 3, 60},      {TWork::Fused16, 3, 60},
    {TWork::Fused4, 4, 80},      {TWork::Fused8, 4, 80},      {TWork::Fused16, 4, 80},
    {TWork::Fused4, 5, 100},     {TWork::Fused8, 5, 100},     {TWork::Fused16, 5, 100},
    {TWork::Fused4, 7, 140},     {TWork::Fused8, 7, 140},     {TWork::Fused16, 7, 140},
    {TWork::Fused4, 8, 170},     {TWork::Fused8, 8, 170},     {TWork::Fused16, 8, 170},
    {TWork::Fused4, 9, 200},     {TWork::Fused8, 9, 200},     {TWork::Fused16, 9, 200},
    {TWork::Fused4, 10, 230},    {TWork::Fused8, 10, 230},    {TWork::Fused16, 10, 230},
    {TWork::Fused4, 12, 280},    {TWork::Fused8, 12, 280},    {TWork::Fused16, 12, 280},
    {TWork::Fused4, 15, 350},    {TWork::Fused8, 15, 350},    {TWork::Fused16, 15, 350},
    {TWork::Fused4, 16, 400},    {TWork::Fused8, 16, 400},    {TWork::Fused16, 16, 400},
    {TWork::Fused4, 25, 700},    {TWork::Fused8, 25, 700},    {TWork::Fused16, 25, 700},
    {TWork::First, 2, 25},       {TWork::First, 3, 45},       {TWork::First, 4, 60},
    {TWork::First, 5, 80},       {TWork::First, 7, 130},      {TWork::First, 8, 150},
    {TWork::First, 9, 170},      {TWork::First, 10, 200},     {TWork::First, 11, 260},
    {TWork::First, 12, 250},     {TWork::First, 13, 330},     {TWork::First, 15, 340},
    {TWork::First, 16, 360},     {TWork::First, 20, 480},     {TWork::First, 25, 700},
    {TWork::First, 32, 850},     {TWork::Last, 2, 25},        {TWork::Last, 3, 45},
    {TWork::Last, 4, 60},        {TWork::Last, 5, 80},        {TWork::Last, 7, 130},
    {TWork::Last, 8, 150},       {TWork::Last, 9, 170},       {TWork::Last, 10, 200},
    {TWork::Last, 11, 260},      {TWork::Last, 12, 250},      {TWork::Last, 13, 330},
    {TWork::Last, 15, 340},      {TWork::Last, 16, 360},      {TWork::Last, 20, 480},
    {TWork::Last, 25, 700},      {TWork::Last, 32, 850},      {TWork::Inner, 2, 11},
    {TWork::Inner, 3, 27},       {TWork::Inner, 4, 35},       {TWork::Inner, 5, 56},
    {TWork::Inner, 7, 84},       {TWork::Inner, 8, 100},      {TWork::Inner, 11, 190},
    {TWork::Inner, 13, 260},     {TWork::Inner, 16, 275},     {TWork::Merge, 2, 11},
    {TWork::Merge, 3, 27},       {TWork::Merge, 4, 35},       {TWork::Merge, 5, 56},
    {TWork::Merge, 7, 84},       {TWork::Merge, 8, 100},      {TWork::Long, 0, 1.6},
    {TWork::Turn, 0, 16},        {TWork::LongRoots, 0, 20},   {TWork::Few, 0, 4},
    {TWork::Call, 0, 40},        {TWork::RealInner, 3, 15},   {TWork::RealInner, 4, 20},
    {TWork::RealInner, 5, 25},   {TWork::RealInner, 7, 35},   {TWork::RealInner, 8, 40},
    {TWork::RealInner, 9, 50},   {TWork::RealInner, 10, 60},  {TWork::RealInner, 11, 80},
    {TWork::RealInner, 12, 70},  {TWork::RealInner, 13, 100}, {TWork::RealInner, 15, 83},
    {TWork::RealInner, 16, 88},  {TWork::RealInner, 20, 140}, {TWork::RealInner, 25, 190},
    {TWork::RealInner, 32, 260}, {TWork::RealMerge, 2, 11},   {TWork::RealMerge, 3, 27},
    {TWork::RealMerge, 4, 35},   {TWork::RealMerge, 5, 56},   {TWork::RealMerge, 8, 100},
    {TWork::RealRow, 2, 25},     {TWork::RealRow, 3, 45},     {TWork::RealRow, 4, 60},
    {TWork::RealRow, 5, 80},     {TWork::RealRow, 7, 130},    {TWork::RealRow, 8, 150},
    {TWork::RealRow, 11, 260},   {TWork::RealRow, 13, 330},   {TWork::RealRow, 16, 360},
    {TWork::RealRow, 32, 850},   {TWork::RealLine, 0, 2},     {TWork::RealMiddle, 0, 6},
    {TWork::RealCall, 0, 100},   {TWork::RealRoots, 0, 30},   {TWork::RealPass, 0, 1},
};

constexpr TWorkCost Avx2Costs32[] = {
    {TWork::Fused4, 3, 12.4},     {TWork::Fused8, 3, 24},       {TWork::Fused16, 3, 14.1},
    {TWork::Fused4, 4, 12.5},     {TWork::Fused8, 4, 23},       {TWork::Fused16, 4, 18.8},
    {TWork::Fused4, 5, 21.5},     {TWork::Fused8, 5, 40.8},     {TWork::Fused16, 5, 23.4},
    {TWork::Fused4, 7, 29.5},     {TWork::Fused8, 7, 38.4},     {TWork::Fused16, 7, 32.8},
    {TWork::Fused4, 8, 24.2},     {TWork::Fused8, 8, 33.2},     {TWork::Fused16, 8, 39.9},
    {TWork::Fused4, 9, 46.9},     {TWork::Fused8, 9, 46.9},     {TWork::Fused16, 9, 46.9},
    {TWork::Fused4, 10, 53.9},    {TWork::Fused8, 10, 58.9},    {TWork::Fused16, 10, 53.9},
    {TWork::Fused4, 12, 43.7},    {TWork::Fused8, 12, 62.6},    {TWork::Fused16, 12, 65.7},
    {TWork::Fused4, 15, 67.5},    {TWork::Fused8, 15, 70.1},    {TWork::Fused16, 15, 82.1},
    {TWork::Fused4, 16, 61},      {TWork::Fused8, 16, 65.9},    {TWork::Fused16, 16, 93.8},
    {TWork::Fused4, 25, 70},      {TWork::Fused8, 25, 164},     {TWork::Fused16, 25, 164},
    {TWork::First, 2, 5.86},      {TWork::First, 3, 10.6},      {TWork::First, 4, 14.1},
    {TWork::First, 5, 18.8},      {TWork::First, 7, 30.5},      {TWork::First, 8, 17.6},
    {TWork::First, 9, 41.7},      {TWork::First, 10, 42},       {TWork::First, 11, 51.5},
    {TWork::First, 12, 44.3},     {TWork::First, 13, 64.6},     {TWork::First, 15, 54.8},
    {TWork::First, 16, 47.6},     {TWork::First, 20, 81.6},     {TWork::First, 25, 125},
    {TWork::First, 32, 135},      {TWork::Last, 2, 9.57},       {TWork::Last, 3, 15.1},
    {TWork::Last, 4, 10.6},       {TWork::Last, 5, 18.5},       {TWork::Last, 7, 18.4},
    {TWork::Last, 8, 6.79},       {TWork::Last, 9, 16.9},       {TWork::Last, 10, 16.5},
    {TWork::Last, 11, 28.9},      {TWork::Last, 12, 16.7},      {TWork::Last, 13, 38.6},
    {TWork::Last, 15, 33.1},      {TWork::Last, 16, 25},        {TWork::Last, 20, 44.4},
    {TWork::Last, 25, 72.2},      {TWork::Last, 32, 93.7},      {TWork::Inner, 2, 3.32},
    {TWork::Inner, 3, 3.78},      {TWork::Inner, 4, 6.83},      {TWork::Inner, 5, 6.58},
    {TWork::Inner, 7, 12.5},      {TWork::Inner, 8, 12.4},      {TWork::Inner, 11, 27.3},
    {TWork::Inner, 13, 43.4},     {TWork::Inner, 16, 35.6},     {TWork::Merge, 2, 2.29},
    {TWork::Merge, 3, 2.89},      {TWork::Merge, 4, 5.33},      {TWork::Merge, 5, 6.72},
    {TWork::Merge, 7, 15.8},      {TWork::Merge, 8, 17.6},      {TWork::Long, 0, 0.329},
    {TWork::Turn, 0, 25.1},       {TWork::LongRoots, 0, 28.6},  {TWork::Few, 0, 3.14},
    {TWork::Call, 0, 32.6},       {TWork::RealInner, 3, 3.52},  {TWork::RealInner, 4, 4.69},
    {TWork::RealInner, 5, 5.86},  {TWork::RealInner, 7, 7.26},  {TWork::RealInner, 8, 12.8},
    {TWork::RealInner, 9, 7.97},  {TWork::RealInner, 10, 19.2}, {TWork::RealInner, 11, 12.9},
    {TWork::RealInner, 12, 12.6}, {TWork::RealInner, 13, 17.7}, {TWork::RealInner, 15, 17.4},
    {TWork::RealInner, 16, 13.1}, {TWork::RealInner, 20, 29},   {TWork::RealInner, 25, 31.8},
    {TWork::RealInner, 32, 31.6}, {TWork::RealMerge, 2, 1.72},  {TWork::RealMerge, 3, 2.32},
    {TWork::RealMerge, 4, 2.44},  {TWork::RealMerge, 5, 4.06},  {TWork::RealMerge, 8, 15.1},
    {TWork::RealRow, 2, 5.86},    {TWork::RealRow, 3, 10.6},    {TWork::RealRow, 4, 4.35},
    {TWork::RealRow, 5, 3.28},    {TWork::RealRow, 7, 20},      {TWork::RealRow, 8, 4.01},
    {TWork::RealRow, 11, 29},     {TWork::RealRow, 13, 77.4},   {TWork::RealRow, 16, 15},
    {TWork::RealRow, 32, 49.2},   {TWork::RealLine, 0, 0.428},  {TWork::RealMiddle, 0, 1.53},
    {TWork::RealCall, 0, 30.9},   {TWork::RealRoots, 0, 42.9},  {TWork::RealPass, 0, 0.518},
};

constexpr TWorkCost Avx2Costs64[] = {
    {TWork::Fused4, 3, 12},       {TWork::Fused8, 3, 11.1},     {TWork::Fused16, 3, 11.1},
    {TWork::Fused4, 4, 9.81},     {TWork::Fused8, 4, 14.8},     {TWork::Fused16, 4, 14.8},
    {TWork::Fused4, 5, 20},       {TWork::Fused8, 5, 18.6},     {TWork::Fused16, 5, 18.6},
    {TWork::Fused4, 7, 28.8},     {TWork::Fused8, 7, 26},       {TWork::Fused16, 7, 26},
    {TWork::Fused4, 8, 24.9},     {TWork::Fused8, 8, 31.6},     {TWork::Fused16, 8, 31.6},
    {TWork::Fused4, 9, 37.1},     {TWork::Fused8, 9, 37.1},     {TWork::Fused16, 9, 37.1},
    {TWork::Fused4, 10, 39.1},    {TWork::Fused8, 10, 42.7},    {TWork::Fused16, 10, 42.7},
    {TWork::Fused4, 12, 37.9},    {TWork::Fused8, 12, 52},      {TWork::Fused16, 12, 52},
    {TWork::Fused4, 15, 54.4},    {TWork::Fused8, 15, 65},      {TWork::Fused16, 15, 65},
    {TWork::Fused4, 16, 51.1},    {TWork::Fused8, 16, 74.2},    {TWork::Fused16, 16, 74.2},
    {TWork::Fused4, 25, 105},     {TWork::Fused8, 25, 130},     {TWork::Fused16, 25, 130},
    {TWork::First, 2, 4.64},      {TWork::First, 3, 8.35},      {TWork::First, 4, 5.18},
    {TWork::First, 5, 13.1},      {TWork::First, 7, 18},        {TWork::First, 8, 16},
    {TWork::First, 9, 26.1},      {TWork::First, 10, 28},       {TWork::First, 11, 44.7},
    {TWork::First, 12, 31.3},     {TWork::First, 13, 61.3},     {TWork::First, 15, 47.9},
    {TWork::First, 16, 41},       {TWork::First, 20, 68},       {TWork::First, 25, 102},
    {TWork::First, 32, 115},      {TWork::Last, 2, 0.243},      {TWork::Last, 3, 1.81},
    {TWork::Last, 4, 3.35},       {TWork::Last, 5, 4.11},       {TWork::Last, 7, 9.59},
    {TWork::Last, 8, 6.44},       {TWork::Last, 9, 11.2},       {TWork::Last, 10, 15.5},
    {TWork::Last, 11, 27},        {TWork::Last, 12, 16.6},      {TWork::Last, 13, 36.6},
    {TWork::Last, 15, 30},        {TWork::Last, 16, 23.1},      {TWork::Last, 20, 45},
    {TWork::Last, 25, 62.5},      {TWork::Last, 32, 84.1},      {TWork::Inner, 2, 1.84},
    {TWork::Inner, 3, 3.43},      {TWork::Inner, 4, 12.3},      {TWork::Inner, 5, 6.26},
    {TWork::Inner, 7, 11},        {TWork::Inner, 8, 10.5},      {TWork::Inner, 11, 29.3},
    {TWork::Inner, 13, 42.6},     {TWork::Inner, 16, 28.4},     {TWork::Merge, 2, 2.15},
    {TWork::Merge, 3, 2.9},       {TWork::Merge, 4, 4.81},      {TWork::Merge, 5, 7.71},
    {TWork::Merge, 7, 15.1},      {TWork::Merge, 8, 17.3},      {TWork::Long, 0, 0.334},
    {TWork::Turn, 0, 10.3},       {TWork::LongRoots, 0, 15.3},  {TWork::Few, 0, 3.98},
    {TWork::Call, 0, 12},         {TWork::RealInner, 3, 2.79},  {TWork::RealInner, 4, 3.71},
    {TWork::RealInner, 5, 4.64},  {TWork::RealInner, 7, 1.89},  {TWork::RealInner, 8, 4.5},
    {TWork::RealInner, 9, 2.12},  {TWork::RealInner, 10, 5.45}, {TWork::RealInner, 11, 5.32},
    {TWork::RealInner, 12, 7.51}, {TWork::RealInner, 13, 10.3}, {TWork::RealInner, 15, 11.2},
    {TWork::RealInner, 16, 8.67}, {TWork::RealInner, 20, 19.1}, {TWork::RealInner, 25, 28.6},
    {TWork::RealInner, 32, 30.8}, {TWork::RealMerge, 2, 2.22},  {TWork::RealMerge, 3, 3.05},
    {TWork::RealMerge, 4, 5.33},  {TWork::RealMerge, 5, 7.75},  {TWork::RealMerge, 8, 18.9},
    {TWork::RealRow, 2, 4.64},    {TWork::RealRow, 3, 8.35},    {TWork::RealRow, 4, 0.642},
    {TWork::RealRow, 5, 0.518},   {TWork::RealRow, 7, 6.03},    {TWork::RealRow, 8, 4.64},
    {TWork::RealRow, 11, 24.1},   {TWork::RealRow, 13, 37.3},   {TWork::RealRow, 16, 13.6},
    {TWork::RealRow, 32, 60.5},   {TWork::RealLine, 0, 0.434},  {TWork::RealMiddle, 0, 1.69},
    {TWork::RealCall, 0, 23.9},   {TWork::RealRoots, 0, 17.4},  {TWork::RealPass, 0, 0.822},
};

constexpr TWorkCost Avx512Costs32[] = {
    {TWork::Fused4, 3, 12.9},     {TWork::Fused8, 3, 24.5},     {TWork::Fused16, 3, 68.7},
    {TWork::Fused4, 4, 12.3},     {TWork::Fused8, 4, 20.9},     {TWork::Fused16, 4, 62.1},
    {TWork::Fused4, 5, 18.2},     {TWork::Fused8, 5, 43.9},     {TWork::Fused16, 5, 78.5},
    {TWork::Fused4, 7, 52.8},     {TWork::Fused8, 7, 36.9},     {TWork::Fused16, 7, 102},
    {TWork::Fused4, 8, 64.1},     {TWork::Fused8, 8, 36.3},     {TWork::Fused16, 8, 86.4},
    {TWork::Fused4, 9, 75.4},     {TWork::Fused8, 9, 75.4},     {TWork::Fused16, 9, 75.4},
    {TWork::Fused4, 10, 86.7},    {TWork::Fused8, 10, 47},      {TWork::Fused16, 10, 86.7},
    {TWork::Fused4, 12, 106},     {TWork::Fused8, 12, 54.7},    {TWork::Fused16, 12, 106},
    {TWork::Fused4, 15, 132},     {TWork::Fused8, 15, 71.8},    {TWork::Fused16, 15, 132},
    {TWork::Fused4, 16, 151},     {TWork::Fused8, 16, 60.9},    {TWork::Fused16, 16, 151},
    {TWork::Fused4, 25, 264},     {TWork::Fused8, 25, 264},     {TWork::Fused16, 25, 264},
    {TWork::First, 2, 9.43},      {TWork::First, 3, 17},        {TWork::First, 4, 22.6},
    {TWork::First, 5, 30.2},      {TWork::First, 7, 49},        {TWork::First, 8, 56.6},
    {TWork::First, 9, 64.1},      {TWork::First, 10, 75.4},     {TWork::First, 11, 98},
    {TWork::First, 12, 94.3},     {TWork::First, 13, 124},      {TWork::First, 15, 128},
    {TWork::First, 16, 52.2},     {TWork::First, 20, 150},      {TWork::First, 25, 159},
    {TWork::First, 32, 197},      {TWork::Last, 2, 16.4},       {TWork::Last, 3, 25.2},
    {TWork::Last, 4, 36.2},       {TWork::Last, 5, 44.7},       {TWork::Last, 7, 57.1},
    {TWork::Last, 8, 49.5},       {TWork::Last, 9, 69},         {TWork::Last, 10, 61.8},
    {TWork::Last, 11, 89.4},      {TWork::Last, 12, 70},        {TWork::Last, 13, 107},
    {TWork::Last, 15, 93.4},      {TWork::Last, 16, 83.2},      {TWork::Last, 20, 168},
    {TWork::Last, 25, 191},       {TWork::Last, 32, 245},       {TWork::Inner, 2, 4.61},
    {TWork::Inner, 3, 17},        {TWork::Inner, 4, 17.8},      {TWork::Inner, 5, 27.1},
    {TWork::Inner, 7, 45.7},      {TWork::Inner, 8, 46.9},      {TWork::Inner, 11, 75.8},
    {TWork::Inner, 13, 98.6},     {TWork::Inner, 16, 97.9},     {TWork::Merge, 2, 3.82},
    {TWork::Merge, 3, 5.27},      {TWork::Merge, 4, 8.87},      {TWork::Merge, 5, 12},
    {TWork::Merge, 7, 23.6},      {TWork::Merge, 8, 25.9},      {TWork::Long, 0, 0.562},
    {TWork::Turn, 0, 21.9},       {TWork::LongRoots, 0, 9.74},  {TWork::Few, 0, 3.71},
    {TWork::Call, 0, 48.5},       {TWork::RealInner, 3, 5.66},  {TWork::RealInner, 4, 7.54},
    {TWork::RealInner, 5, 9.43},  {TWork::RealInner, 7, 9.68},  {TWork::RealInner, 8, 15.1},
    {TWork::RealInner, 9, 15.6},  {TWork::RealInner, 10, 22.6}, {TWork::RealInner, 11, 14.5},
    {TWork::RealInner, 12, 26.2}, {TWork::RealInner, 13, 30.2}, {TWork::RealInner, 15, 23},
    {TWork::RealInner, 16, 29.7}, {TWork::RealInner, 20, 36.6}, {TWork::RealInner, 25, 51.4},
    {TWork::RealInner, 32, 95.2}, {TWork::RealMerge, 2, 4.33},  {TWork::RealMerge, 3, 7.52},
    {TWork::RealMerge, 4, 12.5},  {TWork::RealMerge, 5, 15.8},  {TWork::RealMerge, 8, 35.9},
    {TWork::RealRow, 2, 9.43},    {TWork::RealRow, 3, 17},      {TWork::RealRow, 4, 22.6},
    {TWork::RealRow, 5, 30.2},    {TWork::RealRow, 7, 49},      {TWork::RealRow, 8, 12.5},
    {TWork::RealRow, 11, 26.2},   {TWork::RealRow, 13, 124},    {TWork::RealRow, 16, 59.7},
    {TWork::RealRow, 32, 185},    {TWork::RealLine, 0, 0.832},  {TWork::RealMiddle, 0, 1.6},
    {TWork::RealCall, 0, 46.8},   {TWork::RealRoots, 0, 0.566}, {TWork::RealPass, 0, 0.407},
};

constexpr TWorkCost Avx512Costs64[] = {
    {TWork::Fused4, 3, 20.8},     {TWork::Fused8, 3, 30.8},     {TWork::Fused16, 3, 17.5},
    {TWork::Fused4, 4, 10.7},     {TWork::Fused8, 4, 34.6},     {TWork::Fused16, 4, 23.3},
    {TWork::Fused4, 5, 17.1},     {TWork::Fused8, 5, 41.7},     {TWork::Fused16, 5, 29.2},
    {TWork::Fused4, 7, 23.6},     {TWork::Fused8, 7, 47.9},     {TWork::Fused16, 7, 40.8},
    {TWork::Fused4, 8, 20.5},     {TWork::Fused8, 8, 47.9},     {TWork::Fused16, 8, 49.6},
    {TWork::Fused4, 9, 58.3},     {TWork::Fused8, 9, 58.3},     {TWork::Fused16, 9, 58.3},
    {TWork::Fused4, 10, 67.1},    {TWork::Fused8, 10, 86.1},    {TWork::Fused16, 10, 67.1},
    {TWork::Fused4, 12, 29.5},    {TWork::Fused8, 12, 75.8},    {TWork::Fused16, 12, 81.6},
    {TWork::Fused4, 15, 48.5},    {TWork::Fused8, 15, 112},     {TWork::Fused16, 15, 102},
    {TWork::Fused4, 16, 42.2},    {TWork::Fused8, 16, 102},     {TWork::Fused16, 16, 117},
    {TWork::Fused4, 25, 88},      {TWork::Fused8, 25, 204},     {TWork::Fused16, 25, 204},
    {TWork::First, 2, 7.29},      {TWork::First, 3, 13.1},      {TWork::First, 4, 17.5},
    {TWork::First, 5, 23.3},      {TWork::First, 7, 37.9},      {TWork::First, 8, 13.6},
    {TWork::First, 9, 28.7},      {TWork::First, 10, 27.5},     {TWork::First, 11, 42.8},
    {TWork::First, 12, 32.6},     {TWork::First, 13, 66.3},     {TWork::First, 15, 59.4},
    {TWork::First, 16, 45},       {TWork::First, 20, 83.4},     {TWork::First, 25, 120},
    {TWork::First, 32, 164},      {TWork::Last, 2, 9.22},       {TWork::Last, 3, 13.5},
    {TWork::Last, 4, 12.4},       {TWork::Last, 5, 19.6},       {TWork::Last, 7, 21.7},
    {TWork::Last, 8, 25.1},       {TWork::Last, 9, 43.6},       {TWork::Last, 10, 41.9},
    {TWork::Last, 11, 61.1},      {TWork::Last, 12, 48.8},      {TWork::Last, 13, 77.1},
    {TWork::Last, 15, 70.8},      {TWork::Last, 16, 70},        {TWork::Last, 20, 107},
    {TWork::Last, 25, 140},       {TWork::Last, 32, 198},       {TWork::Inner, 2, 4.08},
    {TWork::Inner, 3, 10.8},      {TWork::Inner, 4, 14.2},      {TWork::Inner, 5, 16.3},
    {TWork::Inner, 7, 26},        {TWork::Inner, 8, 30.1},      {TWork::Inner, 11, 47.5},
    {TWork::Inner, 13, 67.5},     {TWork::Inner, 16, 74.2},     {TWork::Merge, 2, 4.11},
    {TWork::Merge, 3, 5.9},       {TWork::Merge, 4, 9.75},      {TWork::Merge, 5, 12.1},
    {TWork::Merge, 7, 23.4},      {TWork::Merge, 8, 29.1},      {TWork::Long, 0, 0.559},
    {TWork::Turn, 0, 9.44},       {TWork::LongRoots, 0, 9.27},  {TWork::Few, 0, 3.39},
    {TWork::Call, 0, 22},         {TWork::RealInner, 3, 4.37},  {TWork::RealInner, 4, 5.83},
    {TWork::RealInner, 5, 7.29},  {TWork::RealInner, 7, 7.6},   {TWork::RealInner, 8, 12.2},
    {TWork::RealInner, 9, 11.8},  {TWork::RealInner, 10, 17.7}, {TWork::RealInner, 11, 15.4},
    {TWork::RealInner, 12, 21.1}, {TWork::RealInner, 13, 22},   {TWork::RealInner, 15, 23.5},
    {TWork::RealInner, 16, 28},   {TWork::RealInner, 20, 38.5}, {TWork::RealInner, 25, 48},
    {TWork::RealInner, 32, 80.3}, {TWork::RealMerge, 2, 4.13},  {TWork::RealMerge, 3, 7.15},
    {TWork::RealMerge, 4, 11.2},  {TWork::RealMerge, 5, 15},    {TWork::RealMerge, 8, 34.4},
    {TWork::RealRow, 2, 7.29},    {TWork::RealRow, 3, 13.1},    {TWork::RealRow, 4, 2.01},
    {TWork::RealRow, 5, 2.44},    {TWork::RealRow, 7, 9.59},    {TWork::RealRow, 8, 12.9},
    {TWork::RealRow, 11, 35.6},   {TWork::RealRow, 13, 96.2},   {TWork::RealRow, 16, 49.5},
    {TWork::RealRow, 32, 143},    {TWork::RealLine, 0, 0.867},  {TWork::RealMiddle, 0, 1.86},
    {TWork::RealCall, 0, 26.8},   {TWork::RealRoots, 0, 8.37},  {TWork::RealPass, 0, 0.567},
};

template <bool AIsFirst, class A, class B>
constexpr const auto& Select(const A& AFirst, const B& ASecond) noexcept {
  if constexpr (AIsFirst)
    return AFirst;
  else
    return ASecond;
}

// The table of this set for samples of type T.
template <class T>
constexpr const auto& WorkCosts() noexcept {
  constexpr bool IsFloat = std::is_same_v<T, float>;
  if constexpr (CompiledSet == TInstructionSet::Avx512)
    return Select<IsFloat>(Avx512Costs32, Avx512Costs64);
  else if constexpr (CompiledSet == TInstructionSet::Avx2)
    return Select<IsFloat>(Avx2Costs32, Avx2Costs64);
  else
    return Select<IsFloat>(BaselineCosts32, BaselineCosts64);
}

template <class T>
constexpr double CostOf(TWork AWork, int ARadix) noexcept {
  for (const TWorkCost& Row : WorkCosts<T>())
    if (Row.Work == AWork && Row.Radix == ARadix) return Row.Cost;
  return std::numeric_limits<double>::infinity();
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
