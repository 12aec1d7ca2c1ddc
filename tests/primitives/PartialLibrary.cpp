// A primitive library that offers three names of two units and nothing else. Each answers with a
// status that no built-in gives.
#include <tessalune/primitives/QSComplex.h>

#include <cstdint>

extern "C" {

std::int32_t ippsTone_Direct_64f(double*, std::int32_t, double, double, double*, std::int32_t) {
  return 1001;
}

std::int32_t ippsConj_64fc(const tessalune::TComplex*, tessalune::TComplex*, std::int32_t) {
  return 1002;
}

std::int32_t ippsAddC_64f(const double*, double, double*, std::int32_t) { return 1003; }
}
