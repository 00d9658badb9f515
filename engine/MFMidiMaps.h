#pragma once

#include "platform/MFRelaxed.h"

#include <cstdint>
#include <vector>

// One learned assignment: a parameter tag and the row of a table control (0 otherwise).
struct MFMapEntry {
    int16_t tag = 0;
    int16_t sub = 0;
};

// The MIDI-learn assignments: a list per controller number and one for channel
// pressure. The main thread changes them only with `editing` set, so that the audio
// thread drops controller messages meanwhile instead of walking a changing list.
struct MFMidiMaps {
    static constexpr int32_t controllerCount = 128;

    std::vector<MFMapEntry> controllers[controllerCount];
    std::vector<MFMapEntry> global;
    MFFlag editing;
};
