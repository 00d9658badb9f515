#pragma once

#include "engine/MFParameterRecord.h"
#include "engine/MFParameterTable.h"
#include "engine/MFParameterValue.h"

#include <cstdint>
#include <vector>

class MFChunkableClass;

// The 338 records, the value block of every tag, and the lists the host interface,
// presets and MIDI learn walk.
class MFParameterRegistry {
public:
    static constexpr int32_t recordCount = mfParameterCount;
    static constexpr int32_t hostParameterCount = 117;
    static constexpr int32_t categoryCount = 15;
    // The category of the records a preset load never resets.
    static constexpr int32_t globalCategory = -1;
    static constexpr int32_t editableCount = 144;
    // The mutation of an effect's knob; switches and global controls are not mutated.
    static constexpr float knobMutationAmount = 0.1f;

    // Builds the records in construction order with their values at construction.
    MFParameterRegistry();
    MFParameterRegistry(const MFParameterRegistry&) = delete;
    MFParameterRegistry& operator=(const MFParameterRegistry&) = delete;

    // Second half of construction: ties each record to its value block or to the object
    // that saves itself, and fills the lists. `chunkableFor` answers for every binding
    // other than a plain value (null keeps the record a plain value).
    template <class Resolver> void wire(Resolver&& chunkableFor) {
        for (int32_t i = 0; i < recordCount; ++i) {
            const MFParameterRow& row = mfParameterTable[i];
            MFParameterRecord& r = records[i];
            r.value = &values[row.tag].raw;
            if (row.binding != MFParameterBinding::value)
                r.chunkable = chunkableFor(row);
        }
        fillLists();
    }

    MFRelaxed<float>& raw(int32_t tag) { return values[tag].raw; }
    float rawValue(int32_t tag) const { return values[tag].raw; }
    // The raw value held to 0..1, for the readers that map a value at the tick.
    float unitValue(int32_t tag) const { return mfUnitValue(values[tag].raw); }
    // Any tag 0..565; null for tags without a record.
    MFParameterRecord* byTag(int32_t tag);
    const MFParameterRow* rowByTag(int32_t tag) const;
    // The record of the category's list with this id, or null.
    MFParameterRecord* byId(int32_t category, int32_t id);
    // The first record of that name in construction order, or null.
    MFParameterRecord* byName(const char* name);

    MFParameterRecord records[recordCount];
    MFParameterValue values[mfTagCount];

    std::vector<MFParameterRecord*> recordsAll;
    std::vector<MFParameterRecord*> recordsGlobal;
    std::vector<MFParameterRecord*> recordsEditable;
    std::vector<MFParameterRecord*> recordsByCategory[categoryCount];
    MFParameterRecord* recordByTag[hostParameterCount] = {};

private:
    void fillLists();
    static bool isEditable(const MFParameterRow& row);

    int16_t recordOfTag[mfTagCount];
};
