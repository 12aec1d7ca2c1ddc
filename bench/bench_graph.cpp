// What a running graph costs beside the same arithmetic as plain loops over arrays: the hop from
// component to component, sums of several streams, a whole graph that writes a file, and the
// generator's saw tooth.
// Each case compares what the graph delivers with what the loop computes before it measures.
#include "StreamBench.h"
#include "Verify.h"

#include <tessalune/filters/QSAbs.h>
#include <tessalune/filters/QSAdd.h>
#include <tessalune/filters/QSApplyRealConst.h>
#include <tessalune/filters/QSToSquare.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSSignalGen.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace tessalune::bench {
namespace {

using TSamples = std::vector<double>;

constexpr double Start = 20000.0;
constexpr double Step = 1.5;

// A constant through a row of filters that each add Step.
class THopGraph {
 public:
  THopGraph(int AHops, std::int32_t ASize) {
    FGenerator->SetSignalType(TQSSignalType::stDc);
    FGenerator->SetClockSource(TQSClockSource::csExternal);
    FGenerator->SetBufferSize(ASize);
    TKLBasicPin* Output = &FGenerator->OutputPin();
    for (int I = 0; I < AHops; ++I) {
      FFilters.push_back(Create<TQSApplyRealConst>());
      FFilters.back()->SetValue(Step);
      Output->Connect(FFilters.back()->InputPin());
      Output = &FFilters.back()->OutputPin();
    }
    Output->Connect(End.Pin);
    FGenerator->Start();
  }
  void Pump() { FGenerator->Pump(); }
  TEnd End;

 private:
  TOwned<TQSSignalGen> FGenerator = Create<TQSSignalGen>();
  std::vector<TOwned<TQSApplyRealConst>> FFilters;
};

// The same, as a good programmer would write it: an array a stage.
class THopLoop {
 public:
  THopLoop(int AHops, std::int32_t ASize)
      : FStages(static_cast<std::size_t>(AHops) + 1, TSamples(static_cast<std::size_t>(ASize))) {}
  void Pump() {
    std::fill(FStages[0].begin(), FStages[0].end(), Start);
    for (std::size_t I = 1; I < FStages.size(); ++I) {
      const double* __restrict In = FStages[I - 1].data();
      double* __restrict Out = FStages[I].data();
      const std::size_t Count = FStages[I].size();
      for (std::size_t J = 0; J < Count; ++J) Out[J] = In[J] + Step;
      benchmark::ClobberMemory();
    }
  }
  const TSamples& Last() const { return FStages.back(); }

 private:
  std::vector<TSamples> FStages;
};

void MeasureHops(benchmark::State& AState, int AHops, std::int32_t ASize) {
  THopGraph Graph(AHops, ASize);
  THopLoop Loop(AHops, ASize);
  Graph.Pump();
  Loop.Pump();
  Verify(Graph.End.Last->GetSize() == ASize &&
             std::equal(Loop.Last().begin(), Loop.Last().end(), Graph.End.Last->Read()),
         "hop");
  for (auto _ : AState) Graph.Pump();
  AState.counters["above_plain_s/hop"] =
      SecondsAbovePlain(Graph, Loop, ASize) / static_cast<double>(AHops + 1);
}

void MeasurePlainHops(benchmark::State& AState, int AHops, std::int32_t ASize) {
  THopLoop Loop(AHops, ASize);
  for (auto _ : AState) Loop.Pump();
}

// --- sums ---

// Blocks that others hold too, on all inputs of a sum.
class TSumGraph {
 public:
  TSumGraph(int AInputs, std::int32_t ASize) {
    FSum->InputPins().SetCount(static_cast<std::uint32_t>(AInputs));
    FSum->OutputPin().Connect(End.Pin);
    for (int I = 0; I < AInputs; ++I) {
      FFeeds.push_back(std::make_unique<TQSKLRealSourcePin>(TKLPinOwner()));
      FFeeds.back()->Connect(FSum->InputPins()[static_cast<std::size_t>(I)]);
      FBlocks.push_back(IQSRealBuffer::CreateSize(ASize));
      FBlocks.back()->SetValue(Start + Step * I);
    }
    for (auto& Feed : FFeeds) Feed->Notify(MakeRef<TKLStartSampleRateOperation>(44100.0));
  }
  void Pump() {
    for (std::size_t I = 0; I < FFeeds.size(); ++I) FFeeds[I]->SubmitBuffer(FBlocks[I]);
  }
  const std::vector<TRef<IQSRealBuffer>>& Blocks() const { return FBlocks; }
  TEnd End;

 private:
  TOwned<TQSAdd> FSum = Create<TQSAdd>();
  std::vector<std::unique_ptr<TQSKLRealSourcePin>> FFeeds;
  std::vector<TRef<IQSRealBuffer>> FBlocks;
};

class TSumLoop {
 public:
  explicit TSumLoop(const TSumGraph& AGraph)
      : FIn(AGraph.Blocks()), FOut(static_cast<std::size_t>(FIn[0]->GetSize())) {}
  void Pump() {
    Add(FIn[0]->Read(), FIn[1]->Read());
    for (std::size_t I = 2; I < FIn.size(); ++I) Add(FOut.data(), FIn[I]->Read());
  }
  const TSamples& Last() const { return FOut; }

 private:
  void Add(const double* AFirst, const double* ASecond) {
    double* const Out = FOut.data();
    const std::size_t Count = FOut.size();
#pragma GCC ivdep
    for (std::size_t J = 0; J < Count; ++J) Out[J] = AFirst[J] + ASecond[J];
    benchmark::ClobberMemory();
  }
  const std::vector<TRef<IQSRealBuffer>> FIn;
  TSamples FOut;
};

void MeasureSum(benchmark::State& AState, int AInputs, std::int32_t ASize) {
  TSumGraph Graph(AInputs, ASize);
  TSumLoop Loop(Graph);
  Graph.Pump();
  Loop.Pump();
  Verify(Graph.End.Last->GetSize() == ASize &&
             std::equal(Loop.Last().begin(), Loop.Last().end(), Graph.End.Last->Read()),
         "sum");
  for (auto _ : AState) Graph.Pump();
  AState.counters["above_plain_s/input"] =
      SecondsAbovePlain(Graph, Loop, ASize) / static_cast<double>(AInputs);
}

void MeasurePlainSum(benchmark::State& AState, int AInputs, std::int32_t ASize) {
  TSumGraph Graph(AInputs, ASize);
  TSumLoop Loop(Graph);
  for (auto _ : AState) Loop.Pump();
}

// --- a graph that writes a file ---

constexpr std::int32_t FileBlock = 1024;
constexpr std::int32_t FileBlocks = 1024;
constexpr double Gain = 0.5;
constexpr double Shift = 3.0;
constexpr double Threshold = 1000.0;

std::string FileFor(const char* AWho) {
  return (std::filesystem::temp_directory_path() /
          ("tessalune-bench-" + std::to_string(getpid()) + '-' + AWho + ".bin"))
      .string();
}

void WriteByGraph(const std::string& AFileName) {
  auto Generator = Create<TQSSignalGen>();
  auto Amplifier = Create<TQSApplyRealConst>();
  auto Adder = Create<TQSApplyRealConst>();
  auto Rectifier = Create<TQSAbs>();
  auto Square = Create<TQSToSquare>();
  auto Logger = Create<TQSLogger>();
  Generator->SetSignalType(TQSSignalType::stSquare);
  Generator->SetClockSource(TQSClockSource::csExternal);
  Generator->SetBufferSize(FileBlock);
  Amplifier->SetApplyOperation(TQSRealApplyOperation::faoMultiply);
  Amplifier->SetValue(Gain);
  Adder->SetValue(Shift);
  Square->SetLevel(Threshold);
  Logger->SetFileName(AFileName);
  Generator->OutputPin().Connect(Amplifier->InputPin());
  Amplifier->OutputPin().Connect(Adder->InputPin());
  Adder->OutputPin().Connect(Rectifier->InputPin());
  Rectifier->OutputPin().Connect(Square->InputPin());
  Square->OutputPin().Connect(Logger->InputPin());
  Generator->Start();
  for (int I = 0; I < FileBlocks; ++I) Generator->Pump();
  Generator->Stop();
}

void WriteByLoop(const std::string& AFileName) {
  std::FILE* File = std::fopen(AFileName.c_str(), "wb");
  std::setvbuf(File, nullptr, _IONBF, 0);
  TSamples Block(FileBlock);
  double Phase = 0.0;
  for (int I = 0; I < FileBlocks; ++I) {
    ippsSquare_Direct_64f(Block.data(), FileBlock, Start, 500.0 / 44100.0, 0.0, &Phase);
    for (double& X : Block) X *= Gain;
    for (double& X : Block) X += Shift;
    for (double& X : Block) X = std::fabs(X);
    for (double& X : Block) X = X > Threshold ? 1000.0 : -1000.0;
    std::fwrite(Block.data(), sizeof(double), Block.size(), File);
  }
  std::fclose(File);
}

std::string Content(const std::string& AFileName) {
  std::ifstream File(AFileName, std::ios::binary);
  return {std::istreambuf_iterator<char>(File), {}};
}

void MeasureFile(benchmark::State& AState, void (*AWrite)(const std::string&)) {
  const std::string FileName = FileFor("measured");
  const std::string Other = FileFor("reference");
  WriteByGraph(FileName);
  WriteByLoop(Other);
  const bool Same = Content(FileName) == Content(Other);
  for (auto _ : AState) {
    if (Same) AWrite(FileName);
  }
  std::filesystem::remove(FileName);
  std::filesystem::remove(Other);
  Verify(Same, "file");
  AState.counters["s/sample"] = PerSample(std::int64_t{FileBlock} * FileBlocks);
}

// --- the saw tooth, which only the generator makes ---

constexpr double SawFrequency = 441.0;  // 100 samples a cycle at the default rate

void MeasureSawTooth(benchmark::State& AState, std::int32_t ASize) {
  auto Generator = Create<TQSSignalGen>();
  TEnd End;
  Generator->SetSignalType(TQSSignalType::stSawToothUp);
  Generator->SetFrequency(SawFrequency);
  Generator->SetClockSource(TQSClockSource::csExternal);
  Generator->SetBufferSize(ASize);
  Generator->OutputPin().Connect(End.Pin);
  Generator->Start();
  Generator->Pump();
  const double* Samples = End.Last->Read();
  Verify(Samples[0] == -Start && Samples[100] == Start && Samples[50] == 0.0, "sawtooth");
  for (auto _ : AState) Generator->Pump();
  AState.counters["s/sample"] = PerSample(ASize);
}

void MeasurePlainSawTooth(benchmark::State& AState, std::int32_t ASize) {
  TSamples Samples(static_cast<std::size_t>(ASize));
  double Phase = 0.0;
  for (auto _ : AState) {
    for (double& X : Samples) {
      X = Start * (2.0 * Phase - 1.0);
      Phase += SawFrequency / 44100.0;
      if (Phase >= 1.0) Phase -= 1.0;
    }
    benchmark::DoNotOptimize(Samples.data());
    benchmark::ClobberMemory();
  }
  AState.counters["s/sample"] = PerSample(ASize);
}

const bool IsRegistered = [] {
  for (const int Hops : {1, 8, 32}) {
    for (const std::int32_t Size : {16, 1024, 65536}) {
      const std::string What = "hop" + std::to_string(Hops);
      benchmark::RegisterBenchmark(NameOf(What, Size, "tessalune").c_str(), MeasureHops, Hops,
                                   Size);
      benchmark::RegisterBenchmark(NameOf(What, Size, "plain").c_str(), MeasurePlainHops, Hops,
                                   Size);
    }
  }
  for (const int Inputs : {2, 10}) {
    const std::string What = "sum/" + std::to_string(Inputs) + 'x';
    benchmark::RegisterBenchmark((What + "1024/tessalune").c_str(), MeasureSum, Inputs, 1024);
    benchmark::RegisterBenchmark((What + "1024/plain").c_str(), MeasurePlainSum, Inputs, 1024);
  }
  const std::int64_t Samples = std::int64_t{FileBlock} * FileBlocks;
  benchmark::RegisterBenchmark(NameOf("file", Samples, "tessalune").c_str(), MeasureFile,
                               WriteByGraph);
  benchmark::RegisterBenchmark(NameOf("file", Samples, "plain").c_str(), MeasureFile, WriteByLoop);
  for (const std::int32_t Size : {1024, 65536}) {
    benchmark::RegisterBenchmark(NameOf("sawtooth", Size, "tessalune").c_str(), MeasureSawTooth,
                                 Size);
    benchmark::RegisterBenchmark(NameOf("sawtooth", Size, "plain").c_str(), MeasurePlainSawTooth,
                                 Size);
  }
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
