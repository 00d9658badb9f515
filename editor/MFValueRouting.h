#pragma once

#include <cstdint>

// The scale that brings a control's whole-number value to the 0..1 of an internal
// parameter. The engine adds a small offset before truncating, so these are deliberately
// not exact fractions.
namespace mfrouting {

struct ScaleRow {
    float scale;
    const int16_t* tags;
    int32_t count;
};

extern const ScaleRow scaleTable[];
extern const int32_t scaleRowCount;

// The scale of an internal tag, or 1 when it is sent as it is.
float scaleOf(int32_t tag);

constexpr float bypassScale = 0.5f;
constexpr int32_t firstBypassTag = 102, lastBypassTag = 115;
constexpr int32_t pageTag = 320, columnTag = 321, tempoTag = 499, patternKeysTag = 0;
constexpr int32_t aboutTag = 504, nextProgramTag = 519, previousProgramTag = 520;
constexpr int32_t mainPresetTag = 117;
constexpr int32_t textLearnTag = 1000000;

} // namespace mfrouting
