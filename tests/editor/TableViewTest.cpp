// The step-table editor driven through the frame as the mouse drives it: painting, switch
// steps, straight lines, the edges, the alt nudge and its way back, the learn popup, the
// random fill, the ruler's labels, the idle that redraws only on a change, the Stutter's
// event rows, and a drawn table heard moving its knob in the plug-in's audio.

#include "PluginEditorRig.h"
#include "pattern/PatternTestSupport.h"

#include "editor/MFUniClientEditor.h"
#include "editor/toolkit/CFontDesc.h"
#include "editor/views/MFEventTableView.h"
#include "editor/views/MFTableView.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFTableXY.h"
#include "pattern/MFZone.h"
#include "support/FakeHost.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace editortest;

namespace {

constexpr int32_t steps = 32;
constexpr int32_t pitch = 18;
constexpr int32_t top = 10;
constexpr int32_t height = 51;
constexpr int32_t bottom = top + height;
constexpr int32_t tableTag = 483;

// A strip table as the plug-in has it (32 steps of 18 pixels, 51 high, twelve rows) in a
// frame of its own, without the zoom strip, as the editor shows it.
struct TableRig {
    TableRig() : table(info, steps), fixture(CRect(0, 0, 600, 80)) {
        table.setFlags(MFTable::pluginFlags);
        table.setRowCount(12);
        view = new MFTableView(CRect(0, top, steps * pitch, bottom), &fixture.listener, tableTag,
                               fixture.frame.get(), &table);
        view->overrideFlags(MFTableView::flagOverview, 0);
        fixture.frame->addView(view);
        fixture.idle();
    }
    static CPoint at(int32_t step, int32_t y = top + 20) { return CPoint(step * pitch + 9, y); }
    // The pixel row whose value is about v.
    static int32_t yFor(float v) { return bottom - int32_t(v * float(height)); }
    float v(int32_t step) { return table.normalisedAt(float(step)); }
    void set(int32_t step, float value) { table.setNormalised(step, value); }

    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
    MFTableXY table;
    FrameFixture fixture;
    MFTableView* view;
};

// Stands in for the learn popup: remembers what the table told it and how it was opened.
struct FakeLearnPopup : MFControl {
    explicit FakeLearnPopup(MFFrame* frame) : MFControl(CRect(0, 0, 77, 30), nullptr, 558, frame) {
        setVisible(false);
    }
    void setLearnTag(int32_t t) override { learnTag = t; }
    void setLearnSubIndex(int32_t s) override { learnSub = s; }
    void openModal(int32_t mode, const CPoint* where, int32_t t) override {
        openedMode = mode;
        openedTag = t;
        openedAt = where ? *where : CPoint(-1, -1);
        MFControl::openModal(mode, where, t);
    }
    void closeModal() override {
        MFControl::closeModal();
        setVisible(false);
    }
    int32_t learnTag = -1, learnSub = -1, openedMode = -1, openedTag = -1;
    CPoint openedAt{-1, -1};
};

// A popup entry that reports to the table view.
struct PopupEntry : CControl {
    PopupEntry(int32_t t, float v) : CControl(CRect(0, 0, 1, 1), nullptr, t) { value = v; }
};

} // namespace

// --- gestures ------------------------------------------------------------------------------

// A press on a switch step flips it between 0 and 1 and takes no moves: a drag across the
// neighbours afterwards changes none of them, and a second press flips it back.
TEST(TableView, SwitchStepsToggleAtThePressAndADragPaintsNothingElse) {
    TableRig rig;
    rig.table.setFlags(MFTableView::flagSwitches);
    rig.set(7, 0.4f);
    rig.fixture.press(TableRig::at(5));
    for (int32_t s = 6; s <= 12; ++s)
        rig.fixture.move(TableRig::at(s, top + 2));
    rig.fixture.release(TableRig::at(12));
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), s == 5 ? 1.0f : s == 7 ? 0.4f : 0.0f) << "step " << s;
    rig.fixture.press(TableRig::at(5));
    rig.fixture.release(TableRig::at(5));
    EXPECT_EQ(rig.v(5), 0.0f);
    // Any value that is not 0 counts as on and goes to 0.
    rig.fixture.press(TableRig::at(7));
    EXPECT_EQ(rig.v(7), 0.0f);
    EXPECT_FALSE(rig.view->isDragging());
}

// With shift the drag keeps the press as the anchor: every step from the press to the
// mouse lies on the straight line between the two values, also when the mouse comes back.
// Without shift the steps between two moves are filled from the last move instead.
TEST(TableView, ShiftDragDrawsAStraightLineFromThePress) {
    const auto line = [](float a, float b, int32_t from, int32_t to, int32_t k) {
        return a + (b - a) * float(k - from) / float(to - from);
    };
    TableRig shifted;
    const float v0 = 0.0f, v1 = 1.0f;
    const float v2 = float(bottom - TableRig::yFor(0.5f)) / float(height);
    shifted.fixture.press(TableRig::at(2, bottom - 1), cbutton::left | cbutton::shift);
    const float pressed = shifted.v(2);
    shifted.fixture.move(TableRig::at(12, top - 5), cbutton::left | cbutton::shift);
    for (int32_t k = 2; k <= 12; ++k)
        EXPECT_NEAR(shifted.v(k), line(pressed, v1, 2, 12, k), 1e-5f) << "step " << k;
    shifted.fixture.move(TableRig::at(7, TableRig::yFor(0.5f)), cbutton::left | cbutton::shift);
    for (int32_t k = 2; k <= 7; ++k)
        EXPECT_NEAR(shifted.v(k), line(pressed, v2, 2, 7, k), 1e-5f) << "step " << k;
    shifted.fixture.release(TableRig::at(7));
    EXPECT_NEAR(pressed, v0 + 1.0f / float(height), 1e-6f);

    // The same moves without shift: step 4 comes from the first move's fill, not the line.
    TableRig plain;
    plain.fixture.press(TableRig::at(2, bottom - 1));
    plain.fixture.move(TableRig::at(12, top - 5));
    plain.fixture.move(TableRig::at(7, TableRig::yFor(0.5f)));
    EXPECT_NEAR(plain.v(4), line(pressed, v1, 2, 12, 4), 1e-5f);
    EXPECT_NEAR(plain.v(9), line(v1, v2, 12, 7, 9), 1e-5f);
    EXPECT_NEAR(shifted.v(4), line(pressed, v2, 2, 7, 4), 1e-5f);
}

// A drag far past either end of the strip writes the first or the last step and nothing
// beyond: the last step does not wrap to the first, and the guard entry follows step 0.
TEST(TableView, ADragBeyondEitherEdgeKeepsTheFirstOrLastStep) {
    TableRig rig;
    rig.fixture.press(TableRig::at(1, TableRig::yFor(0.5f)));
    rig.fixture.move(CPoint(-300, TableRig::yFor(0.5f)));
    rig.fixture.release(CPoint(-300, 0));
    EXPECT_GT(rig.v(0), 0.45f);
    EXPECT_GT(rig.v(1), 0.45f);
    EXPECT_EQ(rig.v(31), 0.0f);
    EXPECT_EQ(rig.v(2), 0.0f);

    rig.fixture.press(TableRig::at(30, TableRig::yFor(0.25f)));
    rig.fixture.move(CPoint(5000, TableRig::yFor(0.25f)));
    rig.fixture.release(CPoint(5000, 0));
    EXPECT_NEAR(rig.v(31), 0.25f, 0.03f);
    EXPECT_NEAR(rig.v(30), 0.25f, 0.03f);
    EXPECT_GT(rig.v(0), 0.45f) << "the first step was overwritten by a wrap";
    MFTable* row = rig.table.row(0);
    EXPECT_EQ(row->rawEntry(steps), row->rawEntry(0));
    EXPECT_EQ(rig.view->columnAt(-1), 0);
    EXPECT_EQ(rig.view->columnAt(100000), steps - 1);
}

// A right click gives the learn popup the view's tag and the step under the mouse, shows
// it and opens it as modal in mode 2; the table itself is not touched.
TEST(TableView, ARightClickOpensTheLearnPopupWithTheStep) {
    TableRig rig;
    auto* popup = new FakeLearnPopup(rig.fixture.frame.get());
    rig.fixture.frame->addView(popup);
    rig.view->setLearnMenu(popup);
    const CPoint where = TableRig::at(13, top + 4);
    rig.fixture.press(where, cbutton::right);
    EXPECT_TRUE(popup->isVisible());
    EXPECT_EQ(popup->learnTag, tableTag);
    EXPECT_EQ(popup->learnSub, 13);
    EXPECT_EQ(popup->openedMode, 2);
    EXPECT_EQ(popup->openedTag, tableTag);
    EXPECT_EQ(popup->openedAt, where);
    EXPECT_EQ(rig.fixture.frame->getModalControl(), popup);
    EXPECT_EQ(rig.v(13), 0.0f);
    EXPECT_FALSE(rig.view->isDragging());
    popup->closeModal();
    // Step 0 and step 31 are told apart from the pixels at the two ends.
    rig.fixture.press(CPoint(0, top + 4), cbutton::right);
    EXPECT_EQ(popup->learnSub, 0);
    popup->closeModal();
    rig.fixture.press(CPoint(steps * pitch - 1, top + 4), cbutton::right);
    EXPECT_EQ(popup->learnSub, 31);
}

// Alt nudges the whole curve: 500 pixels up raise every step by 1 and clip at 1, 500 down
// clip at 0, and a return to the press height gives back exactly the values of the
// moment of the press, since each move starts again from the copy taken then.
TEST(TableView, AnAltDragOfFiveHundredPixelsMovesAllBarsByOneAndTheReturnRestores) {
    TableRig rig;
    std::vector<float> before(steps);
    for (int32_t s = 0; s < steps; ++s) {
        rig.set(s, float((s * 7) % 32) / 31.0f);
        before[std::size_t(s)] = rig.v(s);
    }
    const long alt = cbutton::left | cbutton::alt;
    const CPoint start = TableRig::at(9, top + 25);
    rig.fixture.press(start, alt);
    EXPECT_TRUE(rig.view->isNudging());
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), before[std::size_t(s)]) << "the press alone changes nothing";

    // Up by 100 pixels: +0.2 with clipping; the mouse moves in steps as a real one does.
    for (int32_t dy = 10; dy <= 100; dy += 10)
        rig.fixture.move(CPoint(start.x, start.y - dy), alt);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_NEAR(rig.v(s), std::min(1.0f, before[std::size_t(s)] + 0.2f), 1e-5f);
    for (int32_t dy = 110; dy <= 500; dy += 10)
        rig.fixture.move(CPoint(start.x, start.y - dy), alt);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), 1.0f) << "step " << s;
    for (int32_t dy = -490; dy <= 500; dy += 10)
        rig.fixture.move(CPoint(start.x + dy / 10, start.y + dy), alt);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), 0.0f) << "step " << s;
    ASSERT_NE(rig.view->getUndoTable(), nullptr);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.view->getUndoTable()->rawEntry(s), before[std::size_t(s)]);

    rig.fixture.move(start, alt);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), before[std::size_t(s)]) << "step " << s;
    rig.fixture.release(start, 0);
    EXPECT_FALSE(rig.view->isNudging());
}

// --- popup and random ---------------------------------------------------------------------

// The popup's random entry fills every step inside the owner's random range, wrapping
// around 1 when the range is inverted; two fills differ; other entries change nothing.
TEST(TableView, TheRandomFillStaysInsideTheOwnersRange) {
    TableRig rig;
    rig.info.randomLow = 0.2f;
    rig.info.randomHigh = 0.4f;
    PopupEntry random(MFTableView::tagRandom, 1.0f);
    rig.view->valueChanged(&random);
    std::vector<float> first(steps);
    for (int32_t s = 0; s < steps; ++s) {
        first[std::size_t(s)] = rig.v(s);
        EXPECT_GE(rig.v(s), 0.2f) << "step " << s;
        EXPECT_LE(rig.v(s), 0.4f) << "step " << s;
    }
    const auto [lo, hi] = std::minmax_element(first.begin(), first.end());
    EXPECT_GT(*hi - *lo, 0.1f) << "the values spread over the range";
    EXPECT_FALSE(rig.table.isBusy());

    rig.view->valueChanged(&random);
    int32_t differing = 0;
    for (int32_t s = 0; s < steps; ++s)
        differing += rig.v(s) != first[std::size_t(s)];
    EXPECT_GT(differing, steps / 2);

    // Low above high: the range runs from 0.8 through 1 on to 0.2.
    rig.info.randomLow = 0.8f;
    rig.info.randomHigh = 0.2f;
    rig.view->valueChanged(&random);
    int32_t upper = 0, lower = 0;
    for (int32_t s = 0; s < steps; ++s) {
        const float v = rig.v(s);
        EXPECT_TRUE(v >= 0.8f || v <= 0.2f) << "step " << s << " " << v;
        (v >= 0.8f ? upper : lower) += 1;
    }
    EXPECT_GT(upper, 0);
    EXPECT_GT(lower, 0);

    // A release (value 0) and an unknown tag leave the table as it is.
    std::vector<float> now(steps);
    for (int32_t s = 0; s < steps; ++s)
        now[std::size_t(s)] = rig.v(s);
    PopupEntry released(MFTableView::tagRandom, 0.0f);
    PopupEntry unknown(10059, 1.0f);
    rig.view->valueChanged(&released);
    rig.view->valueChanged(&unknown);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), now[std::size_t(s)]);
    // Fill default brings back the table's default.
    PopupEntry fill(MFTableView::tagFillDefault, 1.0f);
    rig.view->valueChanged(&fill);
    for (int32_t s = 0; s < steps; ++s)
        EXPECT_EQ(rig.v(s), rig.table.getDefault());
}

// --- ruler and drawing -------------------------------------------------------------------

// 32 steps in 576 pixels: a step is 18 wide, so only the eight beats are labelled, each
// 3 pixels left of its step and the first held inside the strip. Wider steps add the
// sub-steps: alone up to 30 pixels, as "beat.sub" beyond.
TEST(TableView, TheRulerOfThirtyTwoStepsShowsBeatsAndNoSubSteps) {
    std::vector<MFTableView::RulerLabel> labels;
    MFTableView::rulerLabels(32, 576, 5, labels);
    ASSERT_EQ(labels.size(), 8u);
    for (int32_t b = 0; b < 8; ++b) {
        EXPECT_EQ(labels[std::size_t(b)].beat, b + 1);
        EXPECT_EQ(labels[std::size_t(b)].subStep, 0);
        EXPECT_EQ(labels[std::size_t(b)].x, std::max(0, b * 72 - 3));
    }

    MFTableView::rulerLabels(24, 576, 5, labels); // 24 pixels a step
    ASSERT_EQ(labels.size(), 24u);
    EXPECT_EQ(labels[1].subStep, 2);
    EXPECT_FALSE(labels[1].full);
    EXPECT_EQ(labels[5].beat, 2);
    EXPECT_EQ(labels[5].subStep, 2);

    MFTableView::rulerLabels(16, 576, 5, labels); // 36 pixels a step
    ASSERT_EQ(labels.size(), 16u);
    EXPECT_TRUE(labels[3].full);
    EXPECT_EQ(labels[3].beat, 1);
    EXPECT_EQ(labels[3].subStep, 4);
    // The last label would leave the strip: it moves inside.
    const MFTableView::RulerLabel& last = labels.back();
    EXPECT_LE(last.x + 3 * 5, 576);
}

// The view as drawn: the bars in the bar colour up to their value, the current step framed
// in the highlight colour, and a ruler (when the table asks for one) with text only at beats.
TEST(TableView, DrawsBarsTheCurrentStepAndTheRulerAtBeatsOnly) {
    TableRig rig;
    MFRelaxed<float> playing = 6.5f;
    rig.view->watchStep(&playing);
    rig.set(3, 1.0f);
    rig.set(6, 1.0f);
    rig.set(8, 0.5f);
    rig.fixture.idle();
    const uint32_t bar = argb(136, 5, 5), yellow = argb(255, 255, 0);
    EXPECT_EQ(rig.fixture.pixel(3 * pitch + 9, top + 2), bar);
    EXPECT_EQ(rig.fixture.pixel(3 * pitch + 1, top + 20), bar);
    // The playing step: its bar inside a frame of the highlight colour.
    EXPECT_EQ(rig.fixture.pixel(6 * pitch + 9, top + 20), bar);
    EXPECT_EQ(rig.fixture.pixel(6 * pitch + 1, top + 20), yellow);
    EXPECT_EQ(rig.fixture.pixel(7 * pitch - 1, top + 20), yellow);
    EXPECT_EQ(rig.fixture.pixel(8 * pitch + 9, bottom - 5), bar);
    EXPECT_NE(rig.fixture.pixel(8 * pitch + 9, top + 5), bar);
    EXPECT_NE(rig.fixture.pixel(4 * pitch + 9, bottom - 5), bar);
    // The gap between two bars shows the grid line.
    EXPECT_EQ(rig.fixture.pixel(4 * pitch, top + 30), argb(74, 74, 74));

    CFontDesc font("Arial", 12);
    rig.view->setFont(&font);
    rig.table.setFlags(MFTableView::flagRuler);
    rig.view->setDirty();
    rig.fixture.idle();
    const uint32_t grey = argb(74, 74, 74);
    const auto textIn = [&](int32_t from, int32_t to) {
        int32_t n = 0;
        for (int32_t x = from; x < to; ++x)
            for (int32_t y = top; y < top + MFTableView::rulerHeight; ++y)
                n += rig.fixture.pixel(x, y) != grey;
        return n;
    };
    const float step = float(steps * pitch - MFTableView::sideWidth) / float(steps);
    for (int32_t beat = 0; beat < 8; ++beat) {
        const int32_t x = int32_t(float(beat * 4) * step);
        EXPECT_GT(textIn(std::max(0, x - 3), x + 8), 0) << "beat " << beat + 1;
        EXPECT_EQ(textIn(x + 12, int32_t(float(beat * 4 + 4) * step) - 4), 0)
            << "text between beats " << beat + 1 << " and " << beat + 2;
    }
}

// The smoothed curve: each step's first part (the smoothing times the step's 18 pixels)
// ramps from the step before, and the first step ramps from the last, since the pattern
// loops; the rest of the step holds its value.
TEST(TableView, TheCurveRampsIntoEachStepOverTheSmoothedPart) {
    TableRig rig;
    MFRelaxed<float> smooth = 0.5f;
    rig.view->setSmoothValue(&smooth);
    rig.view->overrideFlags(MFTableView::flagOverview, MFTableView::flagSmoothCurve);
    rig.set(31, 1.0f);
    rig.set(1, 0.5f);
    rig.fixture.idle();
    const std::vector<float>& curve = rig.view->getCurveCache();
    ASSERT_EQ(curve.size(), std::size_t(steps * pitch + 1));
    for (int32_t px = 0; px < 9; ++px)
        EXPECT_NEAR(curve[std::size_t(px)], 1.0f - float(px) / 9.0f, 1e-5f) << "pixel " << px;
    for (int32_t px = 9; px < 18; ++px)
        EXPECT_EQ(curve[std::size_t(px)], 0.0f) << "pixel " << px;
    for (int32_t px = 18; px < 27; ++px)
        EXPECT_NEAR(curve[std::size_t(px)], 0.5f * float(px - 18) / 9.0f, 1e-5f) << "pixel " << px;
    for (int32_t px = 27; px < 36; ++px)
        EXPECT_EQ(curve[std::size_t(px)], 0.5f) << "pixel " << px;
    // Without smoothing the curve is the steps themselves.
    smooth = 0.0f;
    rig.fixture.idle();
    EXPECT_EQ(rig.view->getCurveCache()[0], 0.0f);
    EXPECT_EQ(rig.view->getCurveCache()[18], 0.5f);
}

// A drawing pass that finds the table busy waits a bounded while and draws anyway; it
// leaves the busy flag alone and its own drawing flag down.
TEST(TableView, ADrawingPassThatMeetsABusyTableEndsAndLowersItsFlag) {
    TableRig rig;
    rig.set(2, 1.0f);
    rig.table.setFlags(MFTableView::flagBusy);
    const long drawn = rig.view->getDrawCount();
    rig.view->setDirty();
    rig.fixture.idle();
    EXPECT_EQ(rig.view->getDrawCount(), drawn + 1);
    EXPECT_TRUE(rig.table.getFlags() & MFTableView::flagBusy);
    EXPECT_FALSE(rig.table.getFlags() & MFTableView::flagDrawing);
    rig.table.clearFlags(MFTableView::flagBusy);
}

// --- idle ----------------------------------------------------------------------------------

// An idle with nothing changed draws nothing; a value written by someone else, a new row,
// the sequencer's move to another step and a new smoothing each draw once; a hidden table
// does no work.
TEST(TableView, TheIdleRedrawsOnlyWhenTheTableOrTheStepChanges) {
    TableRig rig;
    MFRelaxed<float> playing = 0.0f;
    MFRelaxed<float> smooth = 0.0f;
    rig.view->watchStep(&playing);
    rig.view->setSmoothValue(&smooth);
    rig.fixture.idle();
    const auto drawsAfter = [&rig](auto change) {
        const long before = rig.view->getDrawCount();
        change();
        for (int i = 0; i < 4; ++i)
            rig.fixture.idle();
        return rig.view->getDrawCount() - before;
    };
    EXPECT_EQ(drawsAfter([] {}), 0);
    EXPECT_EQ(drawsAfter([&] { playing = 0.7f; }), 0) << "the same step";
    EXPECT_EQ(drawsAfter([&] { playing = 1.2f; }), 1);
    // A step further, only the two steps whose mark changed go to the screen.
    rig.fixture.window.presented.clear();
    EXPECT_EQ(drawsAfter([&] { playing = 2.0f; }), 1);
    ASSERT_FALSE(rig.fixture.window.presented.empty());
    CRect pushed = rig.fixture.window.presented[0];
    for (const CRect& r : rig.fixture.window.presented)
        pushed = pushed.unionWith(r);
    EXPECT_GE(pushed.left, 1 * pitch);
    EXPECT_LE(pushed.right, 3 * pitch);
    EXPECT_EQ(drawsAfter([&] { rig.set(20, 0.6f); }), 1);
    EXPECT_EQ(drawsAfter([&] { rig.table.setRow(3.0f); }), 1);
    EXPECT_EQ(drawsAfter([&] { smooth = 0.5f; }), 1);
    EXPECT_EQ(drawsAfter([] {}), 0);

    rig.view->setVisible(false);
    EXPECT_EQ(drawsAfter([&] { rig.set(21, 0.6f); }), 0);
}

// A view passing over the table (the playhead) makes the frame redraw that area: the
// table copies the graph it has into it rather than drawing the graph again.
TEST(TableView, AnAreaRedrawnOverTheTableCopiesTheGraphWithoutRedrawingIt) {
    TableRig rig;
    rig.set(6, 1.0f);
    rig.fixture.idle();
    auto* passing =
        new MFControl(CRect(6 * pitch, 0, 7 * pitch, 80), nullptr, -1, rig.fixture.frame.get());
    rig.fixture.frame->addView(passing);
    rig.fixture.idle();
    const long drawn = rig.view->getDrawCount();
    for (int i = 0; i < 3; ++i) {
        passing->setDirty();
        rig.fixture.idle();
    }
    EXPECT_EQ(rig.view->getDrawCount(), drawn);
    EXPECT_EQ(rig.fixture.pixel(6 * pitch + 9, top + 20), argb(136, 5, 5));
    // A change of the table itself still draws the graph, once.
    rig.set(6, 0.0f);
    passing->setDirty();
    rig.fixture.idle();
    EXPECT_EQ(rig.view->getDrawCount(), drawn + 1);
    EXPECT_NE(rig.fixture.pixel(6 * pitch + 9, top + 20), argb(136, 5, 5));
}

// --- event rows ----------------------------------------------------------------------------

// The Stutter's event table shows every row as a band; a press picks the band under the
// mouse, the drag writes only that row, and the value maps within the band.
TEST(TableView, EventRowsAreChosenByHeightAndOnlyThatRowChanges) {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
    MFTableXY table(info, 8);
    table.setFlags(MFTable::pluginFlags);
    table.setRowCount(12);
    for (int32_t r = 0; r < 12; ++r) {
        table.row(r)->setDefault(0.5f);
        table.row(r)->fillDefault();
    }
    FrameFixture fixture(CRect(0, 0, 200, 60));
    auto* view = new MFEventTableView(CRect(0, 0, 144, 48), &fixture.listener, 292,
                                      fixture.frame.get(), &table);
    fixture.frame->addView(view);
    fixture.idle();

    // Twelve rows in 48 pixels: band r is rows 4r to 4r + 3.
    EXPECT_EQ(view->rowAt(0), 0);
    EXPECT_EQ(view->rowAt(21), 5);
    EXPECT_EQ(view->rowAt(47), 11);
    fixture.press(CPoint(2 * 18 + 9, 20)); // row 5, the band's top pixel: full
    fixture.move(CPoint(4 * 18 + 9, 47));  // far below the band: empty
    fixture.release(CPoint(4 * 18 + 9, 47));
    EXPECT_EQ(view->getEditRow(), 5);
    EXPECT_EQ(table.normalisedAtRow(2.0f, 5), 1.0f);
    EXPECT_EQ(table.normalisedAtRow(4.0f, 5), 0.0f);
    EXPECT_NEAR(table.normalisedAtRow(3.0f, 5), 0.5f, 1e-6f);
    for (int32_t r = 0; r < 12; ++r) {
        for (int32_t c = 0; c < 8; ++c) {
            if (r != 5 || c < 2 || c > 4) {
                EXPECT_EQ(table.normalisedAtRow(float(c), r), 0.5f) << r << "," << c;
            }
        }
    }
}

// --- in the editor -------------------------------------------------------------------------

namespace {

constexpr int32_t filter = mflane::filter;

// The plug-in with its editor open headless on the Filter's page.
struct EditorRig : PluginWithEditor {
    EditorRig() {
        editor().openHeadless();
        showPage(9);
        editor().idle();
    }
};

} // namespace

// Every effect's two tables sit in the strip on their sub-pages, bound to the lane's own
// tables, and the Stutter's event tables in its panel; findControl finds each by its tag.
TEST(TableView, TheEditorPlacesEveryTableOnItsPage) {
    EditorRig rig;
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        const MFLaneTags& t = mflane::tags[lane];
        auto* a = dynamic_cast<MFTableView*>(rig.editor().findControl(t.tableA));
        auto* b = dynamic_cast<MFTableView*>(rig.editor().findControl(t.tableB));
        ASSERT_NE(a, nullptr) << t.name;
        ASSERT_NE(b, nullptr) << t.name;
        EXPECT_EQ(a->getTable(), &rig.plugin().getLane(lane).tableA) << t.name;
        EXPECT_EQ(b->getTable(), &rig.plugin().getLane(lane).tableB) << t.name;
        EXPECT_EQ(a->getPageBit(), t.tablePageA) << t.name;
        EXPECT_EQ(b->getPageBit(), t.tablePageB) << t.name;
        EXPECT_EQ(a->getViewSize(), CRect(185, 345, 761, 396));
        // On the Filter page table A shows, and no other table of the strip.
        EXPECT_EQ(a->isShown(), lane == filter) << t.name;
        EXPECT_FALSE(b->isShown()) << t.name;
    }
    for (int32_t e = 0; e < 2; ++e) {
        auto* v = dynamic_cast<MFEventTableView*>(rig.editor().findControl(e == 0 ? 292 : 297));
        ASSERT_NE(v, nullptr);
        EXPECT_EQ(v->getTable(), &rig.plugin().getEventTable(e));
        EXPECT_EQ(v->getPageBit(), 7);
    }
}

// Once drawn, the strip's table costs the editor's idle nothing until something changes.
TEST(TableView, TheEditorsIdleWithNothingChangedDrawsNoTable) {
    EditorRig rig;
    auto* view = static_cast<MFTableView*>(rig.editor().findControl(mflane::tags[filter].tableA));
    rig.editor().idle();
    const long drawn = view->getDrawCount();
    const long passes = rig.frame().getDrawPassCount();
    for (int i = 0; i < 5; ++i)
        rig.editor().idle();
    EXPECT_EQ(view->getDrawCount(), drawn);
    EXPECT_EQ(rig.frame().getDrawPassCount(), passes);
    // The random button goes through the plug-in; the table shows it at the next idle.
    rig.plugin().getLane(filter).tableA.random();
    rig.editor().idle();
    EXPECT_EQ(view->getDrawCount(), drawn + 1);
}

// The Filter's table A, drawn with the mouse through the editor's frame (low in the first
// half of the pattern, high in the second) and pointed at "FilterCutoff", moves that knob
// step by step while the plug-in plays, and the audio follows: the fully wet low-pass lets
// through far less of the white noise in the low half than in the high half.
TEST(TableView, ADrawnTableDrivesItsKnobInTheAudio) {
    EditorRig rig;
    MFUniClient& p = rig.plugin();
    MFZoneHandlerContainer<MFFloatZoneHandler>& lane = p.getLane(filter).zones;
    lane.clearZones(false);
    paint(lane, 0, 31);

    const auto at = [](int32_t step, int32_t y) { return CPoint(185 + 18 * step + 9, y); };
    const int32_t low = 396 - 5, high = 396 - 46; // about 0.1 and 0.9
    rig.frame().onMouseDown(at(0, low), cbutton::left);
    for (int32_t s = 1; s < 16; ++s)
        rig.frame().onMouseMoved(at(s, low), cbutton::left);
    for (int32_t s = 16; s < 32; ++s)
        rig.frame().onMouseMoved(at(s, high), cbutton::left);
    rig.frame().onMouseUp(at(31, high), 0);
    rig.editor().idle();
    MFTableXY& table = p.getLane(filter).tableA;
    EXPECT_NEAR(table.normalisedAt(3.0f), 5.0f / 51.0f, 1e-6f);
    EXPECT_NEAR(table.normalisedAt(20.0f), 46.0f / 51.0f, 1e-6f);

    p.setParameter(469, 0.5f);                        // "classicfiltertyp_": low-pass
    p.setParameter(mflane::tags[filter].listA, 0.3f); // table A drives row 2, "FilterCutoff"
    constexpr int64_t stepSamples = noiseStepSamples;
    std::vector<float> cutoffAtStep(steps, -1.0f);
    const std::vector<float> out = playNoise(rig, steps * stepSamples, [&](int64_t sample) {
        // The knob's value in the middle of each step.
        const int64_t step = sample / stepSamples;
        if (step < steps && sample % stepSamples >= stepSamples / 2 &&
            cutoffAtStep[std::size_t(step)] < 0.0f)
            cutoffAtStep[std::size_t(step)] = p.getRegistry().raw(44).load();
    });
    for (int32_t s = 1; s < steps; ++s)
        EXPECT_NEAR(cutoffAtStep[std::size_t(s)], table.normalisedAt(float(s)), 1e-4f)
            << "step " << s;

    // Six steps of each half, well away from the change: a cutoff of some 15 Hz against
    // one of some 12 kHz on white noise. A quarter is far above what the dark half lets
    // through (about a ninth) and far below what an unmodulated filter would (all).
    const std::size_t n = 6 * stepSamples;
    const double dark = signal::rms(&out[4 * stepSamples], n);
    const double bright = signal::rms(&out[20 * stepSamples], n);
    EXPECT_GT(bright, 4.0 * dark) << dark << " vs " << bright;
}
