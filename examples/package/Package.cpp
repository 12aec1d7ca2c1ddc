#include "workshop.h"

#include <tessalune/package/QSPackages.h>

TESSALUNE_PACKAGE("Workshop - Example Package", {"MovingMean", &workshop::MovingMean::RegisterPkg},
                  {"Sawtooth", &workshop::Sawtooth::RegisterPkg},
                  {"CrestFactor", &workshop::CrestFactor::RegisterPkg})
