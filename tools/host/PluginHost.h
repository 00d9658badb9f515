#pragma once

#include "vst/VstAbi.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// A small VST 2.4 host: loads an effect library, answers its callbacks with a
// transport of our own, sends MIDI with sample offsets and processes audio in
// blocks of a chosen size or in a random slicing, like a real host would.
class PluginHost {
public:
    struct MidiMessage {
        int64_t frame; // absolute sample position of the event
        uint8_t bytes[3];
    };

    struct Transport {
        double tempo = 120.0;
        double ppqPosition = 0.0; // at the start of the next block
        bool playing = true;
        bool cycleActive = false;
        double cycleStart = 0.0;
        double cycleEnd = 0.0;
        bool provideTimeInfo = true; // false: getTime answers null
    };

    PluginHost();
    ~PluginHost();
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;

    // Loads and opens the library; false with lastError() set when it fails.
    bool load(const std::string& path);
    void unload();
    const std::string& lastError() const { return error; }
    vst::AEffect* effect() const { return plugin; }

    // Opens the effect at a rate and maximum block size and switches it on.
    void start(float sampleRate, int32_t maxBlock);
    void stop();

    intptr_t dispatch(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr,
                      float opt = 0.0f);
    std::string effectName();
    std::string vendorString();
    std::string parameterName(int32_t index);
    std::string parameterDisplay(int32_t index);
    int32_t canDo(const char* text);
    void setParameter(int32_t index, float value);
    float getParameter(int32_t index);
    // Finds a parameter by its name; -1 when no parameter carries it.
    int32_t findParameter(const std::string& name);

    std::vector<uint8_t> getChunk(bool isPreset);
    intptr_t setChunk(const std::vector<uint8_t>& data, bool isPreset);

    Transport& transport() { return clock; }
    void queueMidi(const MidiMessage& message);

    // Block slicing: a fixed size, or random sizes between 1 and maxBlock.
    void setBlockSize(int32_t size) {
        blockSize = size;
        randomBlocks = false;
    }
    void setRandomBlocks(uint32_t seed);
    void setInPlace(bool state) { inPlace = state; }

    // Processes frames of stereo audio; output may be the input. A mono effect (one
    // output) reads the left input and is heard on both outputs.
    void process(const float* inLeft, const float* inRight, float* outLeft, float* outRight,
                 int64_t frames);
    int64_t framesProcessed() const { return position; }

    // What the effect asked of the host.
    int32_t timeInfoRequests = 0;
    int32_t lastTimeInfoMask = 0;
    int32_t wantMidiRequests = 0;
    int32_t beginEditCalls = 0;
    int32_t endEditCalls = 0;
    int32_t automateCalls = 0;
    std::string vendorAnswer = "Cadenzoid Test Host";

private:
    static intptr_t callback(vst::AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                             void* ptr, float opt);
    intptr_t answer(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
    void processBlock(float* inLeft, float* inRight, float* outLeft, float* outRight,
                      int32_t frames);
    void sendMidiFor(int32_t frames);
    void advanceClock(int32_t frames);

    void* library = nullptr;
    vst::AEffect* plugin = nullptr;
    std::string error;
    float rate = 44100.0f;
    int32_t blockSize = 512;
    int32_t maxBlockSize = 4096;
    bool randomBlocks = false;
    bool inPlace = false;
    bool running = false;
    std::mt19937 random;
    Transport clock;
    vst::VstTimeInfo timeInfo{};
    int64_t position = 0;
    std::vector<MidiMessage> midi;
    std::size_t midiNext = 0;
    std::vector<vst::VstMidiEvent> eventStore;
    std::vector<uint8_t> eventList;
    std::vector<float> scratch[4];
    // Channels beyond the stereo pair, for effects that declare more: silent inputs and
    // outputs nobody reads.
    std::vector<float> spareInput, spareOutput;
    std::vector<float*> inputs, outputs;
};
