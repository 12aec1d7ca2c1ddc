// The units of the package; each registers its class.
#pragma once

namespace workshop::MovingMean {
void RegisterPkg();
}
namespace workshop::Sawtooth {
void RegisterPkg();
}
namespace workshop::CrestFactor {
void RegisterPkg();
}
