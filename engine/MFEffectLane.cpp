#include "engine/MFEffectLane.h"

#include "engine/MFLaneTags.h"

void mfSetUpPatternTable(MFTableXY& table, int32_t columns, int32_t group, int32_t tag,
                         float defaultValue) {
    table.setFlags(MFTable::pluginFlags);
    table.setRange(0.0f, 1.0f);
    table.setDefault(defaultValue);
    table.setSize(columns, 0);
    table.fillDefault();
    table.setRowCount(MFEffectLane::patternCount);
    for (int32_t r = 0; r < MFEffectLane::patternCount; ++r)
        if (MFTable* row = table.row(r))
            row->fillDefault();
    table.id = group;
    table.tag = tag;
}

MFEffectLane::MFEffectLane(MFSystemInfo& context, int32_t laneIndex)
    : zones(context, editGroup, patternCount, false), tableA(context, stepCount),
      tableB(context, stepCount) {
    const MFLaneTags& t = mflane::tags[laneIndex];
    zones.tag = t.lane;
    mfSetUpPatternTable(tableA, stepCount, editGroup, t.tableA, 0.0f);
    mfSetUpPatternTable(tableB, stepCount, editGroup, t.tableB, 0.0f);
}

void MFEffectLane::selectPattern(int32_t pattern) {
    zones.current = pattern;
    zones.previous = pattern;
    tableA.setRow(float(pattern));
    tableB.setRow(float(pattern));
}
