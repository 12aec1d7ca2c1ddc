#include "FrameTools.h"
