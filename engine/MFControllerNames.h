#pragma once

#include <cstdint>

// The MIDI controller names of the learn menu, by menu place.
class MFControllerNames {
public:
    static constexpr int32_t count = 127;

    // The name at a menu place; an empty text outside 0..count-1.
    static const char* controllerName(int32_t index);
};
