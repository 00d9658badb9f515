#pragma once

#include "pattern/MFZone.h"

class MFFloatZoneHandler;

// A zone of a float lane: every change rebuilds its handler's step tables.
class MFFloatZone : public MFZone {
public:
    explicit MFFloatZone(MFFloatZoneHandler* owningHandler) : handler(owningHandler) {}

    void setRange(int32_t newStart, int32_t newEnd) override;
    void setEnd(int32_t newEnd) override;
    void setStart(int32_t newStart) override;

    MFFloatZoneHandler* handler;
};
