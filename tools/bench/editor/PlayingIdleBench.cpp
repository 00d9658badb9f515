// The editor's idle while the sequence plays, and a page switch, on the user-interface
// thread without a display. Between timed idles the engine runs one tick with the host's
// position a step further on (not timed), so that each idle finds the playhead moved and,
// where the zones say so, other zones lit.

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "vst/VstAbi.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {
constexpr float rate = 48000.0f;
constexpr int32_t tickLength = 64;
constexpr double stepInBeats = 0.25; // sixteenths
constexpr float sixteenths = 0.15f;  // "Tempo" raw value for four steps per beat
constexpr int32_t pageTag = 320;
constexpr float pageScale = 0.071428575f;

vst::VstTimeInfo timeInfo{};

intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    if (opcode == vst::audioMasterVersion)
        return 2400;
    if (opcode == vst::audioMasterGetTime)
        return reinterpret_cast<intptr_t>(&timeInfo);
    return 0;
}

struct PlayingEditor {
    PlayingEditor()
        : plugin(std::make_unique<MFUniClient>(&hostCallback, &MFUniClientEditor::create)),
          silence(tickLength, 0.0f), out(2, std::vector<float>(tickLength)) {
        timeInfo = vst::VstTimeInfo{};
        timeInfo.tempo = 120.0;
        timeInfo.sampleRate = rate;
        timeInfo.flags = vst::kVstTransportPlaying | vst::kVstPpqPosValid | vst::kVstTempoValid;
        plugin->setSampleRate(rate);
        plugin->resume();
        plugin->setParameter(499, sixteenths);
        plugin->setParameter(501, 0.0f); // position by the host's song position
        plugin->setParameter(116, 0.0f); // no swing
        editor().openHeadless();
        editor().idle();
    }
    ~PlayingEditor() { editor().close(); }
    MFUniClientEditor& editor() { return *static_cast<MFUniClientEditor*>(plugin->getEditor()); }

    // Every effect lane holds zones `length` steps long with a step between them.
    void paintAll(int32_t length) {
        for (int32_t lane = 0; lane < mflane::count; ++lane) {
            auto& zones = plugin->getLane(lane).zones;
            zones.clearZones(false);
            for (int32_t first = 0; first < 32; first += length + 1) {
                MFZone* zone = zones.createZone(0);
                zone->setRange(first, std::min(31, first + length - 1));
                zones.addZone(zone);
            }
        }
    }

    // One tick of audio with the host a step further on, within the first 16 steps.
    void nextStep() {
        step = (step + 1) % 16;
        timeInfo.ppqPos = double(step) * stepInBeats;
        float* in[2] = {silence.data(), silence.data()};
        float* outs[2] = {out[0].data(), out[1].data()};
        plugin->processReplacing(in, outs, tickLength);
    }

    std::unique_ptr<MFUniClient> plugin;
    std::vector<float> silence;
    std::vector<std::vector<float>> out;
    int32_t step = 0;
};

// Only the playhead moves: every lane lies under one zone across all steps, lit throughout.
void EditorIdlePlayheadMoves(benchmark::State& state) {
    PlayingEditor rig;
    rig.paintAll(32);
    for (auto _ : state) {
        state.PauseTiming();
        rig.nextStep();
        state.ResumeTiming();
        rig.editor().idle();
    }
}
BENCHMARK(EditorIdlePlayheadMoves)->Unit(benchmark::kMicrosecond);

// The playhead moves and at each step the lit zone changes on all fourteen effect lanes:
// one-step zones with a gap between them, so every lane redraws at every idle.
void EditorIdleLitZonesChange(benchmark::State& state) {
    PlayingEditor rig;
    rig.paintAll(1);
    for (auto _ : state) {
        state.PauseTiming();
        rig.nextStep();
        state.ResumeTiming();
        rig.editor().idle();
    }
}
BENCHMARK(EditorIdleLitZonesChange)->Unit(benchmark::kMicrosecond);

// A click in the effect column: the page selector changes the page, and the next idle
// repaints the window with the other page's panel and tables.
void EditorPageSwitch(benchmark::State& state) {
    PlayingEditor rig;
    int32_t page = 0;
    for (auto _ : state) {
        page = page == 0 ? 9 : 0;
        rig.plugin->setParameter(pageTag, float(page) * pageScale);
        rig.editor().idle();
    }
}
BENCHMARK(EditorPageSwitch)->Unit(benchmark::kMillisecond);
} // namespace
