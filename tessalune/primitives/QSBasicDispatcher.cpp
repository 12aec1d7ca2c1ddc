#include <tessalune/primitives/QSBasicDispatcher.h>

namespace tessalune {

TESSALUNE_DEFINE_PRIMITIVES(QSBasicDispatcher, TESSALUNE_QSBASICDISPATCHER_PRIMITIVES)

}  // namespace tessalune
