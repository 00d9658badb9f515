#pragma once

#include "pattern/MFChunkableClass.h"
#include "pattern/MFZoneInformer.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// The sequencer's note: an inclusive span of steps during which a lane's effect is on.
// Setters store without validation and then tell the listeners.
class MFZone : public MFChunkableClass, public MFZoneInformer {
public:
    MFZone() = default;
    ~MFZone() override = default;

    // Body: 0; start; end. A first word other than 0 is a corrupt zone (status 4).
    int32_t readChunk(MFChunk& chunk, bool skip) override;
    void writeChunk(MFChunk& chunk) override;

    virtual void setRange(int32_t newStart, int32_t newEnd);
    virtual void setEnd(int32_t newEnd);
    virtual void setStart(int32_t newStart);
    virtual int32_t zoneType() const { return 0; }
    virtual void reservedZoneOperation() {}

    int32_t start = 0;
    int32_t end = 0;
    // Cross-thread handshake bytes: an audio client holds the zone / a delete has begun.
    MFFlag inUse;
    MFFlag deleted;
};
