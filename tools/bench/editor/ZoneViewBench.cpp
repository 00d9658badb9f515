// The lane editor's costs on the user-interface thread, without a display: one step of a
// zone drag from the mouse move to the lane's pixels in the back buffer, and the idle
// that redraws all fifteen lanes after a pattern change.

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CMouseEvent.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace {
intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    return opcode == vst::audioMasterVersion ? 2400 : 0;
}

struct OpenEditor {
    OpenEditor()
        : plugin(std::make_unique<MFUniClient>(&hostCallback, &MFUniClientEditor::create)) {
        editor().openHeadless();
        editor().idle();
    }
    ~OpenEditor() { editor().close(); }
    MFUniClientEditor& editor() { return *static_cast<MFUniClientEditor*>(plugin->getEditor()); }
    // The middle of a step on an effect's lane.
    static CPoint at(int32_t effect, int32_t step) {
        return CPoint(184 + 18 * step + 9, 92 + 18 * effect + 8);
    }
    std::unique_ptr<MFUniClient> plugin;
};
} // namespace

// Press on an empty Filter step, then each iteration drags the right edge one step out
// or back and runs the idle that draws it.
void ZoneDragStep(benchmark::State& state) {
    OpenEditor rig;
    const int32_t lane = mflane::filter;
    rig.plugin->getLane(lane).zones.clearZones(false);
    MFFrame& frame = *rig.editor().getFrame();
    frame.onMouseDown(OpenEditor::at(lane, 4), cbutton::left);
    frame.onMouseMoved(OpenEditor::at(lane, 20), cbutton::left);
    rig.editor().idle();
    int32_t step = 20;
    for (auto _ : state) {
        step = step == 20 ? 21 : 20;
        frame.onMouseMoved(OpenEditor::at(lane, step), cbutton::left);
        rig.editor().idle();
    }
    frame.onMouseUp(OpenEditor::at(lane, step), 0);
}
BENCHMARK(ZoneDragStep)->Unit(benchmark::kMicrosecond);

// A MIDI note switches the pattern: the next idle redraws every effect lane, each with
// a few zones.
void ZonePatternSwitchIdle(benchmark::State& state) {
    OpenEditor rig;
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        auto& zones = rig.plugin->getLane(lane).zones;
        for (int32_t pattern = 0; pattern < 2; ++pattern) {
            zones.current = pattern;
            zones.clearZones(false);
            for (int32_t first = pattern; first < 32; first += 6) {
                MFZone* zone = zones.createZone(0);
                zone->setRange(first, first + 2);
                zones.addZone(zone);
            }
        }
    }
    int32_t pattern = 0;
    for (auto _ : state) {
        pattern ^= 1;
        for (int32_t lane = 0; lane < mflane::count; ++lane)
            rig.plugin->getLane(lane).zones.current = pattern;
        rig.editor().idle();
    }
}
BENCHMARK(ZonePatternSwitchIdle)->Unit(benchmark::kMicrosecond);
