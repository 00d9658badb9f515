// Hostile pattern-container bodies: the lane must stay usable whatever the input says.
#include "FuzzContext.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFZoneHandlerContainer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFZoneHandlerContainer<MFFloatZoneHandler> lane(fuzzContext(), 1, 12, true);
    MFChunk skip;
    skip.attachCopy(data, size);
    lane.readChunk(skip, true);

    MFChunk real;
    real.attachCopy(data, size);
    lane.current = 3;
    lane.readChunk(real, false);
    if (lane.current != 3 || lane.currentHandler() == nullptr)
        std::abort();
    lane.currentHandler()->stepValue(0);
    fuzzCheckRewrite(lane);
    return 0;
}
