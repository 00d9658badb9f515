// The audio thread's cost of a MIDI program change: the 64-sample block that receives
// it, against an ordinary block of the same session. The load itself runs on the
// loader's thread and is left out of the timing; the audio keeps running meanwhile.
#include "engine/MFUniClient.h"
#include "pattern/MFChunk.h"
#include "presets/MFSettingsStore.h"
#include "vst/VstAbi.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr float rate = 48000.0f;
constexpr int blockSize = 64;
constexpr int programs = 4;

intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    static vst::VstTimeInfo time = [] {
        vst::VstTimeInfo t{};
        t.sampleRate = rate;
        t.tempo = 120.0;
        t.flags = vst::kVstTransportPlaying | vst::kVstPpqPosValid | vst::kVstTempoValid;
        return t;
    }();
    if (opcode == vst::audioMasterVersion)
        return 2400;
    if (opcode == vst::audioMasterGetTime) {
        time.ppqPos += blockSize * 120.0 / 60.0 / rate;
        return reinterpret_cast<intptr_t>(&time);
    }
    return 0;
}

// A private home with program changes accepted and a "Midi Programs" folder of whole
// states, each with every lane painted so that a load has real work to do.
class Session {
public:
    Session() {
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "cadenzoid-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        root = pattern;
        setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
        setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
        {
            MFSettingsStore store;
            store.open("Cadenzoid");
            store.setInteger("firstuse", 1);
            store.setInteger("ignorePrgChange", 0);
        }
        const fs::path folder = root / "library" / "Midi Programs";
        fs::create_directories(folder);
        {
            auto writer = std::make_unique<MFUniClient>(&hostCallback);
            for (int k = 0; k < programs; ++k) {
                writer->setParameter(7, 0.1f * float(k + 1));
                MFChunk chunk;
                chunk.beginMeasure(120.0f, rate);
                writer->writeState(chunk, 0);
                chunk.allocateMeasured();
                writer->writeState(chunk, 0);
                const std::string file = (folder / ("p" + std::to_string(k) + ".cdz")).string();
                FILE* out = std::fopen(file.c_str(), "wb");
                std::fwrite(chunk.data, 4, std::size_t(chunk.capacity()), out);
                std::fclose(out);
            }
        }
        plugin = std::make_unique<MFUniClient>(&hostCallback);
        plugin->getPresetLibrary().scan((root / "library").string());
        plugin->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        plugin->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        events = reinterpret_cast<vst::VstEvents*>(eventBytes);
        events->events[0] = reinterpret_cast<vst::VstEvent*>(&message);
        message.type = vst::kVstMidiType;
        message.byteSize = int32_t(sizeof message);
        message.midiData[0] = char(0xC0);
    }
    ~Session() {
        plugin.reset();
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    // One block, with a program change when program >= 0; returns its wall time.
    double block(int program) {
        float* inputs[2] = {in, in};
        float* outputs[2] = {outLeft, outRight};
        events->numEvents = program >= 0 ? 1 : 0;
        message.midiData[1] = char(program >= 0 ? program : 0);
        const auto start = std::chrono::steady_clock::now();
        plugin->processEvents(events);
        plugin->processReplacing(inputs, outputs, blockSize);
        const auto end = std::chrono::steady_clock::now();
        return std::chrono::duration<double>(end - start).count();
    }
    // Plays on, as a host would, until the loader has finished its loads.
    void settle(uint32_t loads) {
        while (plugin->getProgramLoader().completed() < loads) {
            block(-1);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

    std::filesystem::path root;
    std::unique_ptr<MFUniClient> plugin;
    alignas(vst::VstEvents) char eventBytes[sizeof(vst::VstEvents) + sizeof(vst::VstEvent*)] = {};
    vst::VstEvents* events = nullptr;
    vst::VstMidiEvent message{};
    float in[blockSize] = {};
    float outLeft[blockSize] = {};
    float outRight[blockSize] = {};
};

void BM_OrdinaryBlock(benchmark::State& state) {
    Session session;
    for (int k = 0; k < 100; ++k)
        session.block(-1);
    for (auto _ : state)
        state.SetIterationTime(session.block(-1));
}
BENCHMARK(BM_OrdinaryBlock)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_BlockWithProgramChange(benchmark::State& state) {
    Session session;
    for (int k = 0; k < 100; ++k)
        session.block(-1);
    uint32_t loads = 0;
    int program = 0;
    for (auto _ : state) {
        state.SetIterationTime(session.block(program));
        program = (program + 1) % programs;
        session.settle(++loads);
    }
}
BENCHMARK(BM_BlockWithProgramChange)->UseManualTime()->Unit(benchmark::kMicrosecond);

// The load itself, which used to run inside the block that received the message and now
// runs on the loader's thread: reading one whole state from the library.
void BM_WholeStateLoad(benchmark::State& state) {
    Session session;
    int program = 0;
    for (auto _ : state) {
        MFChunk* preset = session.plugin->getPresetLibrary().midiProgram(program);
        program = (program + 1) % programs;
        const auto start = std::chrono::steady_clock::now();
        preset->position = 0;
        session.plugin->readState(*preset, 0, false, true, true);
        const auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    }
}
BENCHMARK(BM_WholeStateLoad)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
