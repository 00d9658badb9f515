#pragma once

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "pattern/MFChunk.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

// One shared context for all inputs, like a plug-in instance that loads many states.
inline MFSystemInfo& fuzzContext() {
    static MFBufferRegistry registry;
    static std::vector<MFBPMChangeInterface*> listeners;
    static MFSystemInfo info(registry, listeners);
    return info;
}

// Writes the object twice and aborts if the measuring pass disagrees with the write.
template <class T> void fuzzCheckRewrite(T& object) {
    MFChunk c;
    c.beginMeasure(120.0f, 44100.0f);
    object.writeChunk(c);
    const int32_t measured = c.position;
    c.allocateMeasured();
    c.position = 0;
    object.writeChunk(c);
    if (c.position != measured || c.overrun())
        std::abort();
}
