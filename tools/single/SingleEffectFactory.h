#pragma once

#include <cstdint>
#include <memory>

class MFEffect;
class MFSystemInfo;

// One effect class by its name, with the parameter index of its gate (-1: none).
struct SingleEffectEntry {
    const char* name;
    int32_t gateIndex;
    std::unique_ptr<MFEffect> (*create)(MFSystemInfo& context);
};

// Null when no effect carries the name.
const SingleEffectEntry* findSingleEffect(const char* name);
