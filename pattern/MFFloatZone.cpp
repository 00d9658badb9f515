#include "pattern/MFFloatZone.h"

#include "pattern/MFFloatZoneHandler.h"

void MFFloatZone::setRange(int32_t newStart, int32_t newEnd) {
    MFZone::setRange(newStart, newEnd);
    if (handler)
        handler->rebuildTables();
}

void MFFloatZone::setEnd(int32_t newEnd) {
    MFZone::setEnd(newEnd);
    if (handler)
        handler->rebuildTables();
}

void MFFloatZone::setStart(int32_t newStart) {
    MFZone::setStart(newStart);
    if (handler)
        handler->rebuildTables();
}
