#include <tessalune/primitives/kernels/RealDft.h>

namespace tessalune::TESSALUNE_BUILTINS {

TESSALUNE_REAL_DFT(template, float)

}  // namespace tessalune::TESSALUNE_BUILTINS
