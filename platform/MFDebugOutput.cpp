#include "platform/MFDebugOutput.h"

#include <cstdio>
#include <cstdlib>

namespace {
const bool debugEnabled = std::getenv("CADENZOID_DEBUG") != nullptr;
}

void mfDebugOutput(const char* text) {
    if (debugEnabled)
        std::fprintf(stderr, "Cadenzoid: %s\n", text);
}
