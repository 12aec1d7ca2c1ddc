// Takes in the whole library.
#pragma once

#include <tessalune/primitives/BasicFilters.h>
#include <tessalune/primitives/BasicWindows.h>
#include <tessalune/primitives/Dct.h>
#include <tessalune/primitives/InstructionSet.h>
#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/Libcdispatcher.h>
#include <tessalune/primitives/PrimitiveTable.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSComplex.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/primitives/QSSubDispatcher.h>
#include <tessalune/primitives/Transforms.h>
#include <tessalune/primitives/VBIPPSLoader.h>
#include <tessalune/primitives/VBMalloc.h>

#include <tessalune/frame/pins/KLOperations.h>
#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/runtime/QSCalls.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSClock.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSData.h>
#include <tessalune/frame/runtime/QSEvent.h>
#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSField.h>
#include <tessalune/frame/runtime/QSFiles.h>
#include <tessalune/frame/runtime/QSFlagSet.h>
#include <tessalune/frame/runtime/QSGuid.h>
#include <tessalune/frame/runtime/QSLock.h>
#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/runtime/QSMemory.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSPublished.h>
#include <tessalune/frame/runtime/QSReference.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/runtime/QSSerialization.h>
#include <tessalune/frame/runtime/QSThread.h>
#include <tessalune/frame/runtime/VBComponent.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSCommonGen.h>
#include <tessalune/frame/streams/QSFilterThread.h>
#include <tessalune/frame/streams/QSPumpable.h>
#include <tessalune/frame/streams/QSSimpleDataBuffer.h>
#include <tessalune/frame/streams/QSStreamPins.h>
#include <tessalune/frame/streams/QSStreamTypes.h>
#include <tessalune/frame/streams/QSValuePins.h>

#include <tessalune/sources/QSFileFailure.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>
#include <tessalune/sources/QSSignalGen.h>

#include <tessalune/filters/QSAbs.h>
#include <tessalune/filters/QSApplyComplexConst.h>
#include <tessalune/filters/QSApplyIntConst.h>
#include <tessalune/filters/QSApplyRealConst.h>
#include <tessalune/filters/QSRealTodB.h>
#include <tessalune/filters/QSToSquare.h>

#include <tessalune/package/TessalunePkg.h>
