#pragma once

// Developer diagnostics that users never see (wrong parameter indexes and the like).
// Silent unless CADENZOID_DEBUG is set in the environment when the library loads.
void mfDebugOutput(const char* text);
