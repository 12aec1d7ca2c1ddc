// Records that a static object makes before main: the tables are bound by then, so they serve on.
#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>

namespace tessalune::test {
namespace {

// One record of each unit.
struct TRecords {
  TRecords() noexcept {
    const double Tap = 0.5;
    Made[0] = ippsDFTInitAlloc_R_64f(&Dft, 1, IPP_FFT_NODIV_BY_ANY, ippAlgHintNone);
    Made[1] = ippsHilbertInitAlloc_32f32fc(&Hilbert, 1, ippAlgHintNone);
    Made[2] = ippsFIRInitAlloc_64f(&Fir, &Tap, 1, nullptr);
  }

  DFTSpec_R_64f* Dft = nullptr;
  HilbertSpec_32f32fc* Hilbert = nullptr;
  IppsFIRState_64f* Fir = nullptr;
  IppStatus Made[3];
};

// The earliest object that the tables promise to be bound for.
[[gnu::init_priority(102)]] const TRecords Records;

TEST(StaticObjects, MakePlansAndStatesThatServeTheProgram) {
  for (const IppStatus Status : Records.Made) ASSERT_EQ(Status, ippStsNoErr);
  const double X = 3;
  double Y[2];
  EXPECT_EQ(ippsDFTFwd_RToCCS_64f(&X, Y, Records.Dft, nullptr), ippStsNoErr);
  EXPECT_EQ(Y[0], 3);
  EXPECT_EQ(ippsFIR_64f(&X, Y, 1, Records.Fir), ippStsNoErr);
  EXPECT_EQ(Y[0], 1.5);
  EXPECT_EQ(ippsDFTFree_R_64f(Records.Dft), ippStsNoErr);
  EXPECT_EQ(ippsHilbertFree_32f32fc(Records.Hilbert), ippStsNoErr);
  EXPECT_EQ(ippsFIRFree_64f(Records.Fir), ippStsNoErr);
}

}  // namespace
}  // namespace tessalune::test
