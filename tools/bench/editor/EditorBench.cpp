// The editor's costs on the user-interface thread, without a display: opening (the first
// editor of the process decodes the skin, a second one shares it), a full repaint of the
// window, and an idle when nothing has changed. Memory of the decoded skin is reported as
// a counter.

#include "editor/MFBitmapTable.h"
#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFDisplay.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFKnob.h"
#include "editor/controls/MFValueFormats.h"
#include "editor/toolkit/CBitmap.h"
#include "engine/MFUniClient.h"

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <memory>

namespace {
intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    return opcode == vst::audioMasterVersion ? 2400 : 0;
}

std::unique_ptr<MFUniClient> makePlugin() {
    return std::make_unique<MFUniClient>(&hostCallback, &MFUniClientEditor::create);
}

MFUniClientEditor& editorOf(MFUniClient& plugin) {
    return *static_cast<MFUniClientEditor*>(plugin.getEditor());
}

double decodedSkinBytes() {
    double bytes = 0.0;
    for (int id = MFUniClientEditor::firstBitmapId; id <= MFUniClientEditor::lastBitmapId; ++id)
        if (CBitmap* b = MFBitmapTable::getBitmap(id); b && b->isLoaded())
            bytes += double(cairo_image_surface_get_stride(b->surface())) * b->getHeight();
    return bytes;
}

// Open to first pixels: the frame and its views built, the whole window drawn once.
void openAndDraw(MFUniClientEditor& editor) {
    editor.openHeadless();
    editor.idle();
}

// The first editor of the process: the table is empty at each open, so it decodes.
void EditorOpenFirst(benchmark::State& state) {
    auto plugin = makePlugin();
    MFUniClientEditor& editor = editorOf(*plugin);
    for (auto _ : state) {
        openAndDraw(editor);
        state.PauseTiming();
        editor.close();
        state.ResumeTiming();
    }
}
BENCHMARK(EditorOpenFirst)->Unit(benchmark::kMillisecond);

// A second editor while another holds the skin.
void EditorOpenSecond(benchmark::State& state) {
    auto holder = makePlugin();
    editorOf(*holder).openHeadless();
    auto plugin = makePlugin();
    MFUniClientEditor& editor = editorOf(*plugin);
    for (auto _ : state) {
        openAndDraw(editor);
        state.PauseTiming();
        editor.close();
        state.ResumeTiming();
    }
    state.counters["skinBytes"] = decodedSkinBytes();
}
BENCHMARK(EditorOpenSecond)->Unit(benchmark::kMillisecond);

// Every view of the 770 x 525 window drawn into the back buffer.
void EditorFullRepaint(benchmark::State& state) {
    auto plugin = makePlugin();
    MFUniClientEditor& editor = editorOf(*plugin);
    editor.openHeadless();
    editor.idle();
    for (auto _ : state) {
        editor.forceRedraw();
        editor.idle();
    }
}
BENCHMARK(EditorFullRepaint)->Unit(benchmark::kMicrosecond);

// The host's idle when no bound float has changed: every control compares, nothing draws.
void EditorIdleNothingChanged(benchmark::State& state) {
    auto plugin = makePlugin();
    MFUniClientEditor& editor = editorOf(*plugin);
    editor.openHeadless();
    editor.idle();
    const long passes = editor.getFrame()->getDrawPassCount();
    for (auto _ : state)
        editor.idle();
    if (editor.getFrame()->getDrawPassCount() != passes)
        state.SkipWithError("an idle with nothing changed drew");
    state.counters["views"] = double(editor.getFrame()->getNbViews());
}
BENCHMARK(EditorIdleNothingChanged)->Unit(benchmark::kMicrosecond);

// A frame of plain views to compare the editor's own with: a 770 x 525 background, 120 knobs from
// 128-frame strips and 120 text displays, each with its own bound float, all drawn at each pass.
struct SyntheticWindow {
    static constexpr int columns = 12;
    static constexpr int rows = 10;

    SyntheticWindow() : frame(CRect(0, 0, 770, 525), nullptr, nullptr) {
        frame.setFont(&font);
        CBitmap* ground = solid(770, 525, 0xFF202428u);
        frame.setBackground(ground);
        ground->forget();
        CBitmap* strip = solid(40, 40 * 128, 0xFF808890u);
        CBitmap* face = solid(39, 15, 0xFF101010u);
        for (int i = 0; i < columns * rows; ++i) {
            const int x = 10 + (i % columns) * 62;
            const int y = 5 + (i / columns) * 52;
            values[i] = float(i) / float(columns * rows);
            auto* knob =
                new MFKnob(CRect(x, y, x + 40, y + 40), nullptr, i, &frame, strip, 40, 128, 0.5f);
            knob->bind(&values[i]);
            frame.addView(knob);
            auto* display =
                new MFDisplay(CRect(x - 1, y + 36, x + 38, y + 51), nullptr, i, &frame, face);
            display->bind(&values[i]);
            display->setFormatter(formatPercent);
            display->setTextColour(CColor{255, 255, 255, 255});
            display->setTextSize(9);
            display->setInsets(1, 1, 1, 1);
            frame.addView(display);
        }
        strip->forget();
        face->forget();
    }
    static CBitmap* solid(int w, int h, uint32_t pixel) {
        cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        cairo_t* cr = cairo_create(s);
        cairo_set_source_rgba(cr, ((pixel >> 16) & 0xFF) / 255.0, ((pixel >> 8) & 0xFF) / 255.0,
                              (pixel & 0xFF) / 255.0, 1.0);
        cairo_paint(cr);
        cairo_destroy(cr);
        return new CBitmap(s);
    }

    CFontDesc font{"Arial", 12};
    MFRelaxed<float> values[columns * rows];
    MFFrame frame;
};

void SyntheticWindowFullRepaint(benchmark::State& state) {
    SyntheticWindow window;
    window.frame.idle();
    for (auto _ : state) {
        window.frame.forceRedraw();
        window.frame.idle();
    }
    state.counters["views"] = double(window.frame.getNbViews());
}
BENCHMARK(SyntheticWindowFullRepaint)->Unit(benchmark::kMicrosecond);

void SyntheticWindowIdleNothingChanged(benchmark::State& state) {
    SyntheticWindow window;
    window.frame.idle();
    for (auto _ : state)
        window.frame.idle();
    state.counters["views"] = double(window.frame.getNbViews());
}
BENCHMARK(SyntheticWindowIdleNothingChanged)->Unit(benchmark::kMicrosecond);
} // namespace

BENCHMARK_MAIN();
