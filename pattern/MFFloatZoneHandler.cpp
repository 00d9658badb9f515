#include "pattern/MFFloatZoneHandler.h"

#include "pattern/MFFloatZone.h"

#include <algorithm>

MFFloatZoneHandler::MFFloatZoneHandler(MFSystemInfo& systemInfo, int32_t groupId, bool isTemporary)
    : MFZoneHandler(systemInfo, groupId, isTemporary) {}

MFZone* MFFloatZoneHandler::createZone(int32_t) {
    return new MFFloatZone(this);
}

int32_t MFFloatZoneHandler::zoneNumberAt(int32_t step) {
    return step >= 0 && step < stepCount ? int32_t(stepTable[step].load()) : -1;
}

void MFFloatZoneHandler::rebuildTables() {
    for (auto& entry : stepTable)
        entry = 0.0f;
    const int32_t count = int32_t(zoneList.size());
    for (int32_t i = 0; i < count; ++i) {
        const MFZone* zone = zoneList[std::size_t(i)];
        if (i < stepCount) {
            startTable[i] = float(zone->start);
            endTable[i] = float(zone->end);
        }
        // Loaded zones are not validated; only the table's own range is written.
        const int32_t from = std::max(zone->start, 0);
        const int32_t to = std::min(zone->end, lastStep);
        for (int32_t s = from; s <= to; ++s)
            stepTable[s] = float(i + 1);
    }
    zoneCountF = float(count);
}
