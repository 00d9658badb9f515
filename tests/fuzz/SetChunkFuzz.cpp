// Hostile host chunks through the state reader exactly as setChunk runs it: the host's
// bytes copied, then read as a host recall. One load per input; the writer, which
// setChunk runs afterwards to keep the last state received, is left out, so the time
// goes to the reader. After the load every parameter is a number and the audio runs.
#include "FuzzPlugin.h"
#include "pattern/MFChunk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFUniClient& plugin = fuzzPlugin();
    if (size == 0)
        return 0;
    MFChunk chunk;
    chunk.attachCopy(data, size);
    plugin.readState(chunk, 0, true, false, false);
    fuzzCheckAudio(plugin);
    return 0;
}
