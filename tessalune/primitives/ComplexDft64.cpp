#include <tessalune/primitives/kernels/ComplexDft.h>

namespace tessalune::TESSALUNE_BUILTINS {

TESSALUNE_COMPLEX_DFT(template, double)

}  // namespace tessalune::TESSALUNE_BUILTINS
