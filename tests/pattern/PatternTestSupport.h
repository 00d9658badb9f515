#pragma once

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"

#include <vector>

// A shared context as the plug-in object would own it.
struct PatternContext {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
};
