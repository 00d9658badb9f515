#pragma once

#include "effects/MFSystemInfo.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFTableXY.h"
#include "pattern/MFZoneHandlerContainer.h"

#include <cstdint>

// What one effect owns besides the effect itself: its lane of zones over the twelve
// patterns and its two step tables.
class MFEffectLane {
public:
    static constexpr int32_t patternCount = 12;
    static constexpr int32_t stepCount = 32;
    // Lanes and tables of effects answer to init, copy, paste and Chaos; group 1.
    static constexpr int32_t editGroup = 1;

    MFEffectLane(MFSystemInfo& context, int32_t laneIndex);
    MFEffectLane(const MFEffectLane&) = delete;
    MFEffectLane& operator=(const MFEffectLane&) = delete;

    // Stores the pattern in the lane and selects the row in both tables.
    void selectPattern(int32_t pattern);

    MFZoneHandlerContainer<MFFloatZoneHandler> zones;
    MFTableXY tableA;
    MFTableXY tableB;
};

// Prepares a table of `columns` steps with one row per pattern, the plug-in's display
// options and the unit range.
void mfSetUpPatternTable(MFTableXY& table, int32_t columns, int32_t group, int32_t tag,
                         float defaultValue);
