#pragma once

#include "pattern/MFZoneHandler.h"

// The lane the plug-in uses: after every edit it flattens its zones into three
// 128-entry tables that the audio thread reads one entry per step, without a lock.
class MFFloatZoneHandler : public MFZoneHandler {
public:
    MFFloatZoneHandler(MFSystemInfo& owner, int32_t id, bool temporary);

    MFZone* createZone(int32_t zoneType) override;
    bool isMarkedStep(int32_t step) override { return step == markedStep; }
    int32_t zoneNumberAt(int32_t step) override;

    // Zone i (from 0) covering step s writes i + 1 at s; later zones win on overlap.
    void rebuildTables();

    // Audio-thread reader: 0 outside any zone or the table.
    float stepValue(int32_t step) const {
        return step >= 0 && step < stepCount ? stepTable[step].load() : 0.0f;
    }

    MFRelaxed<float> startTable[stepCount];
    MFRelaxed<float> endTable[stepCount];
    MFRelaxed<float> stepTable[stepCount];
    MFRelaxed<float> zoneCountF = 0.0f;
    int32_t markedStep = 0;

protected:
    void zonesChanged() override { rebuildTables(); }
};
