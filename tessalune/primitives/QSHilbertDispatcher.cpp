#include <tessalune/primitives/QSHilbertDispatcher.h>

namespace tessalune {

TESSALUNE_DEFINE_PRIMITIVES(QSHilbertDispatcher, TESSALUNE_QSHILBERTDISPATCHER_PRIMITIVES)

}  // namespace tessalune
