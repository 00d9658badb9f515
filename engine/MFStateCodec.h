#pragma once

#include "engine/MFMidiMaps.h"
#include "engine/MFParameterRegistry.h"
#include "engine/MFParameterSink.h"

#include <cstdint>
#include <string>
#include <vector>

class MFChunk;

// What a state load needs from the plug-in besides its parameters: the silence of the
// audio thread while structures are rebuilt, and the clean-up after.
class MFStateOwner : public virtual MFParameterSink {
public:
    // Sets `loading`; unless the caller stands on the audio thread, waits for the block
    // in flight to end. False when the audio thread never left its block: then nothing
    // may be changed, and `loading` is cleared again.
    virtual bool beginLoad(bool onAudioThread) = 0;
    // Zeroes the registered sample buffers, clears `loading`, asks the editor to refresh.
    virtual void finishLoad() = 0;
};

// The one writer and the one reader of the plug-in's persistent state: the host's
// chunks and preset files alike. Category 0 is the whole plug-in, 1 to 14 one effect.
class MFStateCodec {
public:
    static constexpr int32_t headerLength = 5;
    static constexpr int32_t pluginVersion = 1;
    static constexpr int32_t formatVersion = 3;
    static constexpr int32_t productId = 110108;
    static constexpr int32_t listEnd = -1;
    static constexpr int32_t mapListEnd = -2;
    static constexpr int32_t mapBlockEnd = -3;
    static constexpr int32_t globalMapEnd = -4;
    static constexpr int32_t sectionNumber = 16;
    static constexpr int32_t nameCount = 15;

    MFStateCodec(MFParameterRegistry& registry, MFMidiMaps& maps,
                 std::vector<std::string>& presetNames, MFStateOwner& owner);

    // Writes the whole stream; call it twice, measuring and then for real.
    void writeState(MFChunk& chunk, int32_t category);
    // Reads a stream into the plug-in. Returns true when the state was loaded. A stream
    // rejected by its header, its versions or its structure leaves everything as it was.
    bool readState(MFChunk& chunk, int32_t category, bool recallAll, bool silent,
                   bool onAudioThread);

    int32_t curProgram = 0;
    int32_t folderIndex = 0;
    uint8_t isolateMaps = 0;

private:
    // One pass over the stream behind the version words. With `apply` clear nothing is
    // changed: the pass proves that the stream is whole before anything is reset.
    void readBody(MFChunk& chunk, int32_t category, int32_t format, bool recallAll, bool apply);
    void readMaps(MFChunk& chunk, int32_t format, bool recallAll, bool apply);
    void readGlobalMap(MFChunk& chunk, int32_t format, bool recallAll, bool apply);
    static void writeEntries(MFChunk& chunk, const std::vector<MFMapEntry>& list);

    MFParameterRegistry& registry;
    MFMidiMaps& maps;
    std::vector<std::string>& presetNames;
    MFStateOwner& owner;
};
