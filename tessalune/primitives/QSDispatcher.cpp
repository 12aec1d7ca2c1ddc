#include <tessalune/primitives/QSDispatcher.h>

namespace tessalune {

TESSALUNE_DEFINE_PRIMITIVES(QSDispatcher, TESSALUNE_QSDISPATCHER_PRIMITIVES)

IppStatus ippsSquare_Direct_64f(double* pDst, std::int32_t len, double magn, double rfreq,
                                double asym, double* pPhase) noexcept {
  return builtins::ippsSquare_Direct_64f(pDst, len, magn, rfreq, asym, pPhase);
}

}  // namespace tessalune
