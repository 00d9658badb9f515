// The lane editor driven through the frame as the mouse drives it: painting, resizing,
// pushing, moving and deleting zones, the cells it draws, a drawing pass that meets a busy
// lane, and a painted zone heard in the audio right after.

#include "PluginEditorRig.h"
#include "pattern/PatternTestSupport.h"

#include "editor/MFUniClientEditor.h"
#include "editor/views/MFZoneView.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFZone.h"
#include "platform/MFMessageService.h"
#include "support/FakeHost.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

using namespace editortest;

namespace {

// The plug-in with its editor open headless, every effect lane of the current pattern
// emptied, so that a test sees only the zones it paints.
struct EditorRig : PluginWithEditor {
    EditorRig() {
        for (int32_t lane = 0; lane < mflane::count; ++lane)
            plugin().getLane(lane).zones.clearZones(false);
        editor().openHeadless();
        editor().idle();
    }
    MFZoneHandlerContainer<MFFloatZoneHandler>& lane(int32_t effect) {
        return plugin().getLane(effect).zones;
    }
    // The middle of a step on an effect's lane, as the layout places it.
    static CPoint at(int32_t effect, int32_t step) {
        return CPoint(184 + 18 * step + 9, 92 + 18 * effect + 8);
    }
    void press(int32_t effect, int32_t step, long buttons = cbutton::left) {
        frame().onMouseDown(at(effect, step), buttons);
    }
    // Moves step by step, as a real mouse passes every step on its way.
    void dragTo(int32_t effect, int32_t from, int32_t to, long buttons = cbutton::left) {
        const int32_t direction = to > from ? 1 : -1;
        for (int32_t s = from; s != to;) {
            s += direction;
            frame().onMouseMoved(at(effect, s), buttons);
        }
    }
    void release(int32_t effect, int32_t step) {
        frame().onMouseUp(at(effect, step), 0);
        editor().idle();
    }
    void paint(int32_t effect, int32_t start, int32_t end) { ::paint(lane(effect), start, end); }
    // The zones of a lane as start, end pairs in list order.
    std::vector<std::pair<int32_t, int32_t>> spans(int32_t effect) {
        std::vector<std::pair<int32_t, int32_t>> out;
        for (MFZone* z : lane(effect).zones())
            if (!z->deleted.get())
                out.emplace_back(z->start, z->end);
        return out;
    }
};

using Spans = std::vector<std::pair<int32_t, int32_t>>;
constexpr int32_t filter = mflane::filter;
constexpr int64_t stepSamples = noiseStepSamples;

} // namespace

// --- gestures ------------------------------------------------------------------------------

// A press on an empty step makes a one-step zone and drags its right edge; dragging back
// past the press flips to the left edge, so the zone grows to the left of the press step.
// The lane's touch is reported as 1 at the press and 0 at the release.
TEST(ZoneView, PressPaintsAndDragsTheRightEdgeThenFlipsLeft) {
    EditorRig rig;
    const int32_t tag = mflane::tags[filter].lane;
    rig.press(filter, 5);
    EXPECT_EQ(rig.spans(filter), (Spans{{5, 5}}));
    EXPECT_EQ(rig.raw(tag), 1.0f);
    rig.dragTo(filter, 5, 8);
    EXPECT_EQ(rig.spans(filter), (Spans{{5, 8}}));
    rig.dragTo(filter, 8, 3);
    EXPECT_EQ(rig.spans(filter), (Spans{{3, 5}}));
    rig.release(filter, 3);
    EXPECT_EQ(rig.raw(tag), 0.0f);

    // The audio side's step table agrees, zone number 1 on 3..5 and nothing around it.
    const MFFloatZoneHandler* h = rig.lane(filter).currentHandler();
    for (int32_t s = 0; s < 10; ++s)
        EXPECT_EQ(h->stepValue(s), s >= 3 && s <= 5 ? 1.0f : 0.0f) << "step " << s;

    // The y position is ignored while dragging: a move far below the lane still resizes.
    rig.press(filter, 5);
    rig.frame().onMouseMoved(CPoint(EditorRig::at(filter, 7).x, 500), cbutton::left);
    EXPECT_EQ(rig.spans(filter), (Spans{{3, 7}}));
    rig.release(filter, 7);
}

// The pattern strip is a lane like the others: what is painted there becomes the loop
// range that the block driver reads from the first entries of its tables.
TEST(ZoneView, ThePatternStripPaintsTheLoopRange) {
    EditorRig rig;
    auto& strip = rig.plugin().getMasterLane();
    strip.clearZones(false);
    MFFrame& frame = rig.frame();
    const auto onStrip = [](int32_t step) { return CPoint(184 + 18 * step + 9, 80); };
    frame.onMouseDown(onStrip(2), cbutton::left);
    for (int32_t s = 3; s <= 9; ++s)
        frame.onMouseMoved(onStrip(s), cbutton::left);
    frame.onMouseUp(onStrip(9), 0);
    EXPECT_EQ(strip.zoneCount(), 1);
    EXPECT_EQ(strip.currentHandler()->startTable[0].load(), 2.0f);
    EXPECT_EQ(strip.currentHandler()->endTable[0].load(), 9.0f);
    EXPECT_EQ(rig.editor().getZoneView(0)->getLane(), &strip);
}

// An edge stops at the next zone; with shift it pushes that neighbour along until the
// neighbour is down to one step, and there the drag stops. The same holds to the left.
TEST(ZoneView, EdgeStopsAtANeighbourAndPushesItUnderShift) {
    EditorRig rig;
    rig.paint(filter, 2, 4);
    rig.paint(filter, 6, 9);
    rig.paint(filter, 11, 12);

    rig.press(filter, 4); // the right end of 2..4
    rig.dragTo(filter, 4, 7);
    EXPECT_EQ(rig.spans(filter), (Spans{{2, 5}, {6, 9}, {11, 12}}));
    rig.release(filter, 7);

    rig.press(filter, 5, cbutton::left | cbutton::shift);
    rig.dragTo(filter, 5, 8, cbutton::left | cbutton::shift);
    EXPECT_EQ(rig.spans(filter), (Spans{{2, 8}, {9, 9}, {11, 12}}));
    // One step further would swallow the neighbour: nothing changes, also not beyond.
    rig.dragTo(filter, 8, 10, cbutton::left | cbutton::shift);
    EXPECT_EQ(rig.spans(filter), (Spans{{2, 8}, {9, 9}, {11, 12}}));
    rig.release(filter, 10);

    // Leftwards: the start of 11..12 pushes the one-step zone at 9 only if it keeps a
    // step, which it cannot; without shift it stops at once.
    rig.press(filter, 11);
    rig.dragTo(filter, 11, 9);
    EXPECT_EQ(rig.spans(filter), (Spans{{2, 8}, {9, 9}, {10, 12}}));
    rig.release(filter, 9);
    rig.press(filter, 10, cbutton::left | cbutton::shift);
    rig.dragTo(filter, 10, 9, cbutton::left | cbutton::shift);
    EXPECT_EQ(rig.spans(filter), (Spans{{2, 8}, {9, 9}, {10, 12}}));
    rig.release(filter, 9);

    // And the step table never shows two zones on one step.
    const MFFloatZoneHandler* h = rig.lane(filter).currentHandler();
    EXPECT_EQ(h->stepValue(8), 1.0f);
    EXPECT_EQ(h->stepValue(9), 2.0f);
    EXPECT_EQ(h->stepValue(10), 3.0f);
}

// A press in the middle moves; a move onto another zone is refused while the ghost shows
// the target; a move whose end runs past step 32 is refused; control moves from an end.
TEST(ZoneView, MovesAreRefusedOntoZonesAndPastTheLastStep) {
    EditorRig rig;
    rig.paint(filter, 2, 4);
    rig.paint(filter, 8, 10);
    rig.paint(filter, 27, 29);
    MFZoneView* view = rig.editor().getZoneView(1 + filter);
    ASSERT_NE(view, nullptr);

    rig.press(filter, 3); // the middle: grabbed one step in
    EXPECT_TRUE(view->isMoving());
    rig.dragTo(filter, 3, 6);
    EXPECT_EQ(rig.spans(filter), (Spans{{5, 7}, {8, 10}, {27, 29}}));
    rig.editor().idle();
    const CPoint onB = EditorRig::at(filter, 8);
    const uint32_t before = pixelAt(rig.frame().getBackBuffer(), onB.x, onB.y);
    rig.dragTo(filter, 6, 7); // 6..8 would overlap 8..10
    EXPECT_EQ(rig.spans(filter), (Spans{{5, 7}, {8, 10}, {27, 29}}));
    rig.editor().idle();
    // The ghost, drawn over the zone at 8, changes its pixels; gone after the release.
    EXPECT_NE(pixelAt(rig.frame().getBackBuffer(), onB.x, onB.y), before);
    rig.release(filter, 7);
    EXPECT_EQ(pixelAt(rig.frame().getBackBuffer(), onB.x, onB.y), before);

    rig.press(filter, 28);
    rig.dragTo(filter, 28, 29); // 28..30: fine
    EXPECT_EQ(rig.spans(filter).back(), (std::pair<int32_t, int32_t>{28, 30}));
    rig.dragTo(filter, 29, 30); // 29..31: ends on the last step
    EXPECT_EQ(rig.spans(filter).back(), (std::pair<int32_t, int32_t>{29, 31}));
    rig.dragTo(filter, 30, 31); // 30..32 runs past it
    EXPECT_EQ(rig.spans(filter).back(), (std::pair<int32_t, int32_t>{29, 31}));
    rig.release(filter, 31);

    // With control, a press on an end moves rather than resizes.
    rig.press(filter, 8, cbutton::left | cbutton::control);
    EXPECT_TRUE(view->isMoving());
    rig.dragTo(filter, 8, 12, cbutton::left | cbutton::control);
    EXPECT_EQ(rig.spans(filter)[1], (std::pair<int32_t, int32_t>{12, 14}));
    rig.release(filter, 12);
}

// Right click on an empty step leaves the lane as it is; right click on a zone and a
// double click with the left button delete it; every delete reports the touch.
TEST(ZoneView, RightClickAndDoubleClickDelete) {
    EditorRig rig;
    const int32_t tag = mflane::tags[filter].lane;
    rig.paint(filter, 2, 4);
    rig.paint(filter, 10, 10);
    rig.plugin().setParameter(tag, 0.0f);

    rig.press(filter, 6, cbutton::right);
    rig.release(filter, 6);
    EXPECT_EQ(rig.spans(filter), (Spans{{2, 4}, {10, 10}}));
    EXPECT_EQ(rig.raw(tag), 0.0f);

    rig.press(filter, 3, cbutton::right);
    EXPECT_EQ(rig.spans(filter), (Spans{{10, 10}}));
    EXPECT_EQ(rig.raw(tag), 1.0f);
    rig.press(filter, 10, cbutton::left | cbutton::doubleClick);
    EXPECT_TRUE(rig.spans(filter).empty());
    EXPECT_EQ(rig.lane(filter).zoneCount(), 0);
    EXPECT_EQ(rig.lane(filter).currentHandler()->stepValue(10), 0.0f);

    // The zone being dragged, deleted by a right click mid-drag, ends the gesture; so does
    // a pattern switch under a drag, which leaves the other pattern's zone alone.
    rig.press(filter, 5);
    rig.dragTo(filter, 5, 7);
    rig.press(filter, 6, cbutton::left | cbutton::right);
    EXPECT_TRUE(rig.spans(filter).empty());
    rig.dragTo(filter, 7, 9);
    rig.release(filter, 9);
    EXPECT_TRUE(rig.spans(filter).empty());
    rig.press(filter, 5);
    rig.lane(filter).current = 1;
    rig.dragTo(filter, 5, 9);
    rig.release(filter, 9);
    EXPECT_TRUE(rig.spans(filter).empty());
    rig.lane(filter).current = 0;
    EXPECT_EQ(rig.spans(filter), (Spans{{5, 5}}));
}

// A delete while the audio side holds the lane past the wait says so, hides the zone and
// leaves it in the trash; the idle finishes the job once the lane is free.
TEST(ZoneView, ADeleteRefusedByABusyLaneIsFinishedByTheIdle) {
    EditorRig rig;
    rig.paint(filter, 2, 4);
    rig.lane(filter).setBusy(true);
    const MessageCapture messages;
    rig.press(filter, 3, cbutton::right);
    EXPECT_EQ(messages.shown(),
              std::vector<std::string>{"Can't delete Zone. Reduce CPU Usage and try again."});
    EXPECT_EQ(rig.lane(filter).zoneCount(), 1);
    EXPECT_TRUE(rig.spans(filter).empty());

    rig.editor().idle(); // still busy: nothing is freed
    EXPECT_EQ(rig.lane(filter).zoneCount(), 1);
    rig.lane(filter).setBusy(false);
    rig.editor().idle();
    EXPECT_EQ(rig.lane(filter).zoneCount(), 0);
    EXPECT_TRUE(rig.lane(filter).currentHandler()->trashList().empty());
    EXPECT_EQ(rig.lane(filter).currentHandler()->stepValue(3), 0.0f);
}

// Zones changed behind the view's back show at the next idle once the lane says so with
// its dirty flag, which the view clears; a pattern change made elsewhere (a MIDI note)
// reaches the lanes at the next idle with no flag at all.
TEST(ZoneView, IdleRedrawsOnADirtyLaneOrAPatternChange) {
    EditorRig rig;
    const CPoint p = EditorRig::at(filter, 5);
    const uint32_t blank = pixelAt(rig.frame().getBackBuffer(), p.x, p.y);
    rig.paint(filter, 4, 6);
    rig.lane(filter).dirty = true;
    rig.editor().idle();
    EXPECT_FALSE(rig.lane(filter).dirty);
    const uint32_t painted = pixelAt(rig.frame().getBackBuffer(), p.x, p.y);
    rig.lane(filter).current = 3; // an empty pattern
    rig.editor().idle();
    EXPECT_NE(painted, blank);
    EXPECT_EQ(pixelAt(rig.frame().getBackBuffer(), p.x, p.y), blank);
    rig.lane(filter).current = 0;
    rig.editor().idle();
    EXPECT_EQ(pixelAt(rig.frame().getBackBuffer(), p.x, p.y), painted);
}

// --- drawing ------------------------------------------------------------------------------

namespace {

// A lane that turns busy after a given number of isBusy questions, as if the audio side
// started walking the list in the middle of a drawing pass.
struct TurningBusyLane : MFFloatZoneHandler {
    using MFFloatZoneHandler::MFFloatZoneHandler;
    bool isBusy() const override { return busyAfter >= 0 && questions++ >= busyAfter; }
    void turnBusyAfter(int32_t n) {
        busyAfter = n;
        questions = 0;
    }
    int32_t busyAfter = -1;
    mutable int32_t questions = 0;
};

// A view of 32 steps of 18 pixels on a frame of its own, drawing opaque cells from a
// strip whose rows can be told apart by their colour.
struct CellRig {
    CellRig() : handler(info, -1, true), fixture(CRect(0, 0, 600, 40)) {
        strip = makeNumberedStrip(18, 17, 8);
        view = new MFZoneView(CRect(0, 10, 576, 27), &fixture.listener, 466, fixture.frame.get(),
                              &handler);
        view->setup(32, nullptr, strip, true, true, 0, false, {}, {}, false, {}, 32, 0);
        strip->forget();
        fixture.frame->addView(view);
    }
    void paint(int32_t start, int32_t end) { ::paint(handler, start, end); }
    // The strip row drawn on a step, or -1 where nothing was.
    int row(int32_t step) const { return numberedRow(fixture.pixel(18 * step + 9, 18)); }

    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
    TurningBusyLane handler;
    FrameFixture fixture;
    CBitmap* strip;
    MFZoneView* view;
};

} // namespace

// One cell per step: a one-step zone its own cell, a longer one left end, middles and
// right end; the marked zone from the second group of four.
TEST(ZoneView, DrawsTheSpriteCellsOfEachZone) {
    CellRig rig;
    rig.paint(2, 2);
    rig.paint(5, 8);
    rig.paint(31, 31);
    rig.handler.markedStep = 2; // the third zone in the list
    rig.fixture.idle();
    const std::pair<int32_t, int> cells[] = {{1, -1}, {2, 0}, {3, -1}, {5, 1}, {6, 2},
                                             {7, 2},  {8, 3}, {9, -1}, {31, 4}};
    for (const auto& [step, row] : cells)
        EXPECT_EQ(rig.row(step), row) << "step " << step;
    // The last pixel column of the lane belongs to the last step.
    EXPECT_EQ(numberedRow(rig.fixture.pixel(575, 18)), 4);

    // The step under the mouse: a pixel shared by two steps is the lower one's.
    EXPECT_EQ(rig.view->stepAt(0), 0);
    EXPECT_EQ(rig.view->stepAt(18), 0);
    EXPECT_EQ(rig.view->stepAt(19), 1);
    EXPECT_EQ(rig.view->stepAt(575), 31);
    EXPECT_EQ(rig.view->stepAt(600), -1);
}

// A pass that meets a busy lane stops at once and leaves the rest; the view stays dirty,
// so the next pass draws every zone.
TEST(ZoneView, ADrawingPassThatMeetsBusyStopsAndTheNextCompletes) {
    CellRig rig;
    rig.paint(2, 3);
    rig.paint(10, 12);
    rig.handler.markedStep = -1;  // no zone lit
    rig.handler.turnBusyAfter(1); // the question before the second zone is answered "busy"
    rig.fixture.idle();
    EXPECT_EQ(rig.row(2), 1);
    EXPECT_EQ(rig.row(10), -1);
    EXPECT_EQ(rig.row(11), -1);
    rig.handler.turnBusyAfter(-1);
    rig.fixture.idle();
    EXPECT_EQ(rig.row(10), 1);
    EXPECT_EQ(rig.row(11), 2);
    EXPECT_EQ(rig.row(12), 3);
}

// The drop preview follows the mouse's height for the length, stops short of the next
// zone, and makes the zone on commit.
TEST(ZoneView, DropPreviewFitsTheFreeRangeAndCommits) {
    CellRig rig;
    rig.paint(10, 12);
    // Top of the lane: the longest preview, cut at the zone at 10.
    EXPECT_TRUE(rig.view->previewDrop(0, MFZoneView::dropMode, CPoint(18 * 4 + 9, 10), false));
    EXPECT_EQ(rig.view->getDropStart(), 4);
    EXPECT_EQ(rig.view->getDropEnd(), 9);
    // Near the bottom: length (1 - 16/17) * 13 truncates to 0, one step.
    rig.view->previewDrop(0, MFZoneView::dropMode, CPoint(18 * 4 + 9, 26), false);
    EXPECT_EQ(rig.view->getDropEnd(), 4);
    // On a zone: no preview. Another mode: not answered.
    rig.view->previewDrop(0, MFZoneView::dropMode, CPoint(18 * 11 + 9, 20), false);
    EXPECT_EQ(rig.view->getDropStart(), -1);
    EXPECT_FALSE(rig.view->previewDrop(0, 1, CPoint(18 * 4 + 9, 20), false));
    rig.view->previewDrop(0, MFZoneView::dropMode, CPoint(18 * 20 + 9, 18), true);
    EXPECT_EQ(rig.view->getDropStart(), -1);
    ASSERT_EQ(rig.handler.zoneCount(), 2);
    EXPECT_EQ(rig.handler.zoneAt(20)->start, 20);
    EXPECT_EQ(rig.handler.zoneAt(20)->end, 26); // (1 - 8/17) * 13 = 6.88: six steps on
}

// --- the painted zone, saved and heard ----------------------------------------------------

namespace {

bool containsWords(const void* data, int32_t bytes, const std::vector<uint32_t>& words) {
    const std::size_t length = words.size() * sizeof(uint32_t);
    const auto* b = static_cast<const unsigned char*>(data);
    for (int32_t i = 0; i + int32_t(length) <= bytes; ++i)
        if (std::memcmp(b + i, words.data(), length) == 0)
            return true;
    return false;
}

} // namespace

// A zone painted with the mouse on the Filter lane is in the saved state and gates the
// filter in the very next audio: the same plug-in without the zone gives the same output
// before the zone and a clearly different one inside it.
TEST(ZoneView, APaintedZoneIsSavedAndGatesItsEffect) {
    EditorRig painted;
    painted.press(filter, 4);
    painted.dragTo(filter, 4, 7);
    painted.release(filter, 7);
    EditorRig plain;

    // The lane's body: 1, magic, one zone of type 0: 0, start, end.
    const std::vector<uint32_t> body = {1, 520860, 1, 0, 0, 4, 7};
    void* data = nullptr;
    int32_t bytes = painted.plugin().getChunk(&data, false);
    EXPECT_TRUE(containsWords(data, bytes, body));
    bytes = plain.plugin().getChunk(&data, false);
    EXPECT_FALSE(containsWords(data, bytes, body));

    // Ten steps through a dark filter.
    painted.plugin().setParameter(44, 0.2f); // "FilterCutoff"
    plain.plugin().setParameter(44, 0.2f);
    const std::vector<float> withZone = playNoise(painted, 10 * stepSamples);
    const std::vector<float> without = playNoise(plain, 10 * stepSamples);
    ASSERT_EQ(withZone.size(), without.size());
    std::vector<float> difference(withZone.size());
    for (std::size_t i = 0; i < withZone.size(); ++i)
        difference[i] = withZone[i] - without[i];

    // Before step 4 the two runs are the same computation: no trace of the zone.
    EXPECT_LT(signal::peak(difference.data(), 4 * stepSamples), 1e-6f);
    // Inside (after the attack of the first step) the dark filter takes away much of the
    // white noise: the difference is at least a third of the plain output's level.
    const std::size_t from = 5 * stepSamples;
    const std::size_t n = 3 * stepSamples;
    const double changed = signal::rms(&difference[from], n);
    const double level = signal::rms(&without[from], n);
    EXPECT_GT(changed, level / 3.0) << changed << " vs " << level;
}
