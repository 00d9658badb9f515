#pragma once

#include <cstdint>

// What a record is tied to once the value blocks, lanes and tables exist.
enum class MFParameterBinding : uint8_t {
    value,      // a plain float in the value blocks
    lane,       // an effect lane (bindIndex: lane in chain order), plus its panel value
    masterLane, // the "loopbar" lane
    tableA,     // first step table of the lane bindIndex
    tableB,     // second step table of the lane bindIndex
    eventTable, // the Stutter's event rows, 0 pan and 1 level
    mouseArea,  // the six floats of a mouse area (0 pattern keys, 1 column, 2 tempo)
};

// One row of the parameter table: everything about a record that is fixed.
struct MFParameterRow {
    int16_t tag;
    int16_t id; // -1: not saved
    const char* name;
    bool isSwitch;
    float initial;      // raw value at construction
    float defaultValue; // what a preset's missing item falls back to
    MFParameterBinding binding;
    int8_t bindIndex;
    int8_t presetCategory; // 1..14: the effect preset that holds it; 0 none
    bool global;           // a preset load leaves it alone
};

constexpr int32_t mfParameterCount = 338;

// Every record in construction order, which is also ascending tag order and the
// order of the saved stream.
extern const MFParameterRow mfParameterTable[mfParameterCount];
