#pragma once

#include "platform/MFRelaxed.h"

#include <cstdint>

class MFChunkableClass;

// One thing the user can set: a knob the host sees, a button only the editor sees, or
// a lane or table that saves itself. The tag is the number setParameter knows it by,
// the id the key under which it is saved; there is no rule between the two.
struct MFParameterRecord {
    static constexpr int32_t flagValue = 1;
    static constexpr int32_t flagSwitch = 2;
    static constexpr int32_t notSaved = -1;

    int32_t id = notSaved;
    int32_t index = 0; // the tag
    int32_t kind = 1;
    MFRelaxed<float>* value = nullptr;
    int32_t group = 0;
    float defaultValue = 0.0f;
    MFChunkableClass* chunkable = nullptr;
    const char* name = "";
    const char* unit = "";
    int32_t flags = flagValue;
    int32_t category = 0;
    int32_t option = -1;
    uint8_t keepOnPreset = 0;
    // How far a mutation (key F2) may move the value either way; 0 leaves it alone.
    float mutationAmount = 0.0f;

    bool isSwitch() const { return (flags & flagSwitch) != 0; }
};
