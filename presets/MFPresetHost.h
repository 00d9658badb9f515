#pragma once

#include <cstdint>
#include <string>

class MFChunk;

// What the preset flows need from the plug-in object: its state reader and writer, the
// per-category preset names, the program position in the library and the host display.
class MFPresetHost {
public:
    virtual ~MFPresetHost() = default;
    virtual bool readState(MFChunk& chunk, int32_t category, bool recallAll, bool silent,
                           bool onAudioThread) = 0;
    // Must start with MFChunk::writeHeader() and write the same words in both passes.
    virtual void writeState(MFChunk& chunk, int32_t category) = 0;
    virtual std::string& presetName(int32_t category) = 0;
    virtual void setFolderIndex(int32_t index) = 0;
    virtual void setCurrentProgram(int32_t program) = 0;
    virtual float currentTempo() = 0;
    virtual float currentSampleRate() = 0;
    virtual void refreshHostDisplay() = 0;
    // The whole-state previous and next: step through the host's programs.
    virtual void stepPrograms(int32_t direction) { (void)direction; }
    // Held by the preset flows while they touch the state and the library, so that a load
    // on another thread never meets them half done. Recursive: readState takes it too.
    virtual void lockState() {}
    virtual void unlockState() {}
};
