// The step-table editor's costs on the user-interface thread, without a display: one step
// of a drag from the mouse move to the table's pixels in the back buffer, and a full
// redraw of the table (its offscreen pass and the copy into the back buffer).

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CMouseEvent.h"
#include "editor/toolkit/COffscreenContext.h"
#include "editor/views/MFTableView.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFTableXY.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

namespace {
intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    return opcode == vst::audioMasterVersion ? 2400 : 0;
}

constexpr float pageScale = 0.071428575f;
constexpr int32_t filterPage = 9;

// The editor on the Filter page, its table A filled with a curve and a smoothing set.
struct OpenTable {
    OpenTable() : plugin(std::make_unique<MFUniClient>(&hostCallback, &MFUniClientEditor::create)) {
        MFTableXY& table = plugin->getLane(mflane::filter).tableA;
        for (int32_t s = 0; s < 32; ++s)
            table.setNormalised(s, 0.5f + 0.4f * std::sin(float(s) * 0.4f));
        plugin->setParameter(mflane::tags[mflane::filter].smoothA, 0.3f);
        editor().openHeadless();
        plugin->setParameter(320, float(filterPage) * pageScale);
        editor().idle();
        view = static_cast<MFTableView*>(editor().findControl(mflane::tags[mflane::filter].tableA));
    }
    ~OpenTable() { editor().close(); }
    MFUniClientEditor& editor() { return *static_cast<MFUniClientEditor*>(plugin->getEditor()); }
    static CPoint at(int32_t step, int32_t y) { return CPoint(185 + 18 * step + 9, y); }
    std::unique_ptr<MFUniClient> plugin;
    MFTableView* view = nullptr;
};
} // namespace

// Press on a step, then each iteration moves the mouse to the next step at another
// height (painting it) and runs the idle that draws the table.
void TableDragStep(benchmark::State& state) {
    OpenTable rig;
    MFFrame& frame = *rig.editor().getFrame();
    frame.onMouseDown(OpenTable::at(10, 370), cbutton::left);
    int32_t step = 10;
    for (auto _ : state) {
        step = step == 10 ? 11 : 10;
        frame.onMouseMoved(OpenTable::at(step, step == 10 ? 360 : 380), cbutton::left);
        rig.editor().idle();
    }
    frame.onMouseUp(OpenTable::at(step, 370), 0);
    if (!rig.view || rig.view->getDrawCount() < long(state.iterations()))
        state.SkipWithError("the drag did not redraw the table");
}
BENCHMARK(TableDragStep)->Unit(benchmark::kMicrosecond);

// The table marked dirty and drawn by the next idle, as after a value from the audio side.
void TableFullRedraw(benchmark::State& state) {
    OpenTable rig;
    for (auto _ : state) {
        rig.view->setDirty();
        rig.editor().idle();
    }
    if (rig.view->getDrawCount() < long(state.iterations()))
        state.SkipWithError("the table was not redrawn");
}
BENCHMARK(TableFullRedraw)->Unit(benchmark::kMicrosecond);

// The view's own part of a redraw: the offscreen pass and the one copy, into a context of
// the window's size, without the frame's pass over what lies beneath.
void TableViewDrawOnly(benchmark::State& state) {
    OpenTable rig;
    COffscreenContext target(MFUniClientEditor::width, MFUniClientEditor::height);
    for (auto _ : state) {
        rig.view->setDirty();
        rig.view->draw(target);
    }
    benchmark::DoNotOptimize(target.getSurface());
}
BENCHMARK(TableViewDrawOnly)->Unit(benchmark::kMicrosecond);
