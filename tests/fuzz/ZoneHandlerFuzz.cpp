// Hostile lane bodies: must never read outside the input, crash or grow without bound.
#include "FuzzContext.h"
#include "pattern/MFFloatZoneHandler.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFFloatZoneHandler lane(fuzzContext(), 1, true);
    MFChunk skip;
    skip.attachCopy(data, size);
    const int32_t skipStatus = lane.readChunk(skip, true);
    if (lane.zoneCount() != 0)
        std::abort(); // skip must change nothing

    MFChunk real;
    real.attachCopy(data, size);
    const int32_t status = lane.readChunk(real, false);
    // Skipping and reading consume the same words and agree on the outcome.
    if (status != skipStatus || (status == 1 && real.position != skip.position))
        std::abort();
    for (int s = 0; s < MFFloatZoneHandler::stepCount; ++s) {
        const float v = lane.stepTable[s];
        if (!(v >= 0.0f && v <= float(lane.zoneCount())))
            std::abort();
    }
    fuzzCheckRewrite(lane);
    return 0;
}
