#include "PluginEditorRig.h"

#include "editor/controls/MFControl.h"
#include "editor/controls/MFViewContainer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace editortest;
using namespace vst;

namespace {
bool bit(PluginWithEditor& p, int32_t b) {
    return p.plugin().getPanels().bit(b);
}

// Sends one value under a tag, as any control of that tag would.
void send(PluginWithEditor& p, int32_t tag, float value) {
    MFControl control(CRect(0, 0, 1, 1), &p.editor(), tag, p.editor().getFrame());
    control.setValue(value);
    p.editor().valueChanged(&control);
}

// The effect column: x inside it, the top and the bottom pixel of its mouse area.
constexpr int columnX = 60, columnTop = 91, columnBottom = 341;
// Pages by their bit: the top lane, the Filter, the bottom lane.
constexpr int xLoopBit = 14, filterBit = 9, reverbBit = 13;
} // namespace

// Whole-number control values reach internal parameters scaled into 0..1 by these exact
// constants (the engine truncates after a small offset, so a rounded constant would pick a
// neighbouring state). Written here from the routing contract, not from the code.
TEST(Routing, ScaleTableAndHostTags) {
    struct Expected {
        float scale;
        std::vector<int32_t> tags;
        float value; // a control value of that kind
    };
    const std::vector<Expected> table = {
        {0.5f,
         {120, 137, 138, 139, 142, 149, 167, 168, 169, 172, 178, 195, 196, 197, 200, 206, 224,
          225, 226, 229, 235, 251, 252, 253, 256, 262, 280, 281, 282, 285, 291, 305, 310, 311,
          312, 315, 325, 342, 343, 344, 347, 353, 369, 370, 371, 374, 380, 396, 398, 399, 402,
          403, 409, 421, 426, 427, 428, 431, 438, 456, 457, 458, 461, 467, 476, 487, 488, 489,
          492, 498, 501, 503, 512, 514, 525, 529, 546, 547, 548, 551, 557, 563, 564, 565},
         1.0f},
        {0.16667667f, {140, 141, 170, 171, 198, 199, 227, 228, 345, 346}, 5.0f},
        {0.20001f, {254, 255, 313, 314, 372, 373, 400, 401, 429, 430}, 4.0f},
        {0.14286715f, {283, 284, 459, 460, 490, 491, 549, 550}, 6.0f},
        {0.071428575f, {320}, 9.0f},
        {0.25f, {469}, 3.0f},
        {0.25001f, {558}, 2.0f},
        // Unscaled: the lanes, attack and release knobs and the step tables.
        {1.0f,
         {119, 148, 177, 205, 234, 261, 290, 324, 352, 379, 408, 437, 466, 502, 528, 127, 128},
         0.375f},
    };
    PluginWithEditor p;
    p.editor().openHeadless();
    for (const Expected& row : table)
        for (int32_t tag : row.tags) {
            send(p, tag, row.value);
            // The raw value is stored exactly as sent: equality, not a tolerance.
            EXPECT_EQ(p.raw(tag), row.value * row.scale) << "tag " << tag;
        }

    // Host parameters go through the host's automation; the fourteen bypass buttons at half.
    for (int32_t tag = 1; tag <= 116; ++tag) {
        const int before = p.host.automations;
        send(p, tag, 1.0f);
        const float expected = (tag >= 102 && tag <= 115) ? 0.5f : 1.0f;
        EXPECT_EQ(p.plugin().getParameter(tag), expected) << "tag " << tag;
        EXPECT_EQ(p.host.automations, before + 1) << "tag " << tag;
    }
}

// A click on a lane's bypass button toggles its effect between on (0.5) and off (0). Host
// automation of the switch and of a knob shows at the next idle, not before, and the next
// click toggles from what the automation left.
TEST(Routing, BypassButtonSendsHalfAndFollowsAutomation) {
    PluginWithEditor p;
    p.editor().openHeadless();
    p.idle();
    const CPoint reverbBypass(173, 334);
    MFControl* bypass = p.editor().findControl(115);
    MFControl* room = p.editor().findControl(67); // "ReverbRoom"
    ASSERT_TRUE(bypass && room);
    EXPECT_EQ(p.plugin().getParameter(115), 0.5f);
    p.click(reverbBypass);
    EXPECT_EQ(p.plugin().getParameter(115), 0.0f);
    p.idle(); // the click's own redraw is done: what follows is the automation's
    p.plugin().setParameter(115, 0.5f);
    p.plugin().setParameter(67, 0.25f);
    EXPECT_EQ(bypass->getValue(), 0.0f);
    EXPECT_NE(room->getValue(), 0.25f);
    p.idle();
    EXPECT_EQ(bypass->getValue(), 1.0f);
    EXPECT_EQ(room->getValue(), 0.25f);
    p.click(reverbBypass);
    EXPECT_EQ(p.plugin().getParameter(115), 0.0f);
}

// Preset stepping acts at the press; the about panel opens at the release.
TEST(Routing, PreviousNextAtPressAboutAtRelease) {
    PluginWithEditor p;
    p.editor().openHeadless();
    const CPoint next(179, 28), previous(21, 28), about(219, 28);
    // A twin plug-in stepped directly says where each press must land; the stepping
    // order itself is the engine's and tested there.
    PluginWithEditor twin;
    const int32_t program = p.plugin().getProgram();
    twin.plugin().stepProgram(1);
    p.frame().onMouseDown(next, cbutton::left);
    EXPECT_EQ(p.plugin().getProgram(), twin.plugin().getProgram());
    p.frame().onMouseUp(next, cbutton::left);
    EXPECT_EQ(p.plugin().getProgram(), twin.plugin().getProgram());
    twin.plugin().stepProgram(-1);
    p.frame().onMouseDown(previous, cbutton::left);
    EXPECT_EQ(p.plugin().getProgram(), twin.plugin().getProgram());
    EXPECT_EQ(p.plugin().getProgram(), program);
    p.frame().onMouseUp(previous, cbutton::left);

    p.frame().onMouseDown(about, cbutton::left);
    EXPECT_EQ(p.frame().getModalControl(), nullptr);
    p.frame().onMouseUp(about, cbutton::left);
    EXPECT_EQ(p.frame().getModalControl(), p.editor().getAboutPanel());
    // A press outside closes it again.
    p.click(CPoint(700, 480));
    EXPECT_EQ(p.frame().getModalControl(), nullptr);

    // Closed while the panel is open, the editor opens again without it.
    p.click(about);
    ASSERT_NE(p.frame().getModalControl(), nullptr);
    p.editor().close();
    p.editor().openHeadless();
    EXPECT_EQ(p.frame().getModalControl(), nullptr);
    p.click(about);
    EXPECT_EQ(p.frame().getModalControl(), p.editor().getAboutPanel());
}

// The effect column: its top row is X-Loop, its very bottom row 14 (Reverb); the page
// follows and the page on display is chosen again with a repaint.
TEST(Routing, EffectColumnRows) {
    PluginWithEditor p;
    p.editor().openHeadless();
    p.click(CPoint(columnX, columnBottom));
    EXPECT_FLOAT_EQ(p.raw(320), 13 * 0.07692308f);
    EXPECT_TRUE(bit(p, reverbBit));
    EXPECT_FALSE(bit(p, xLoopBit));
    p.click(CPoint(columnX, columnTop));
    EXPECT_EQ(p.raw(320), 0.0f);
    EXPECT_TRUE(bit(p, xLoopBit));
    EXPECT_FALSE(bit(p, reverbBit));

    // Only one page bit of the fourteen at a time, in lane order down the column.
    const int bitsDown[14] = {14, 1, 3, 4, 2, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    for (int row = 0; row < 14; ++row) {
        p.click(CPoint(columnX, 92 + 18 * row + 9));
        for (int b = 1; b <= 14; ++b)
            EXPECT_EQ(bit(p, b), b == bitsDown[row]) << "row " << row + 1 << " bit " << b;
    }

    // With the whole layout, an idle where nothing changed draws nothing: controls on
    // hidden pages must not ask for paint they never do. The page on display, chosen
    // again, repaints.
    send(p, 320, 13.0f);
    p.idle();
    p.idle();
    const long passes = p.frame().getDrawPassCount();
    for (int i = 0; i < 5; ++i)
        p.idle();
    EXPECT_EQ(p.frame().getDrawPassCount(), passes);
    send(p, 320, 13.0f);
    p.idle();
    EXPECT_GT(p.frame().getDrawPassCount(), passes);
}

// The page is the plug-in's: it survives closing the window, and a state saved on the
// Filter page opens on the Filter page in a fresh instance, with the saved knob values
// shown after the first idle.
TEST(Routing, PageSurvivesCloseAndTravelsWithTheState) {
    PluginWithEditor p;
    p.editor().openHeadless();
    p.click(CPoint(columnX, 92 + 18 * 9 + 9));
    ASSERT_TRUE(bit(p, filterBit));
    p.editor().close();
    p.editor().openHeadless();
    EXPECT_TRUE(p.editor().findControl(45)->isShown());  // "FilterReso"
    EXPECT_FALSE(p.editor().findControl(68)->isShown()); // "ReverbDamp"

    p.plugin().setParameter(45, 0.8f);
    void* state = nullptr;
    const intptr_t size = p.dispatch(effGetChunk, 0, 0, &state);
    const std::vector<uint8_t> bytes(static_cast<uint8_t*>(state),
                                     static_cast<uint8_t*>(state) + size);

    PluginWithEditor fresh;
    fresh.editor().openHeadless();
    fresh.idle();
    ASSERT_FALSE(bit(fresh, filterBit));
    MFControl* reso = fresh.editor().findControl(45);
    ASSERT_NE(reso, nullptr);
    EXPECT_NE(reso->getValue(), 0.8f);
    fresh.dispatch(effSetChunk, 0, intptr_t(bytes.size()), const_cast<uint8_t*>(bytes.data()));
    EXPECT_TRUE(bit(fresh, filterBit));
    fresh.idle();
    EXPECT_TRUE(reso->isShown());
    EXPECT_EQ(reso->getValue(), 0.8f);
}

// The table switch shows table A or B of its effect; a page left and come back to shows
// the table it showed last, and another effect's switch is its own.
TEST(Routing, TableSwitchKeepsItsChoiceAcrossPages) {
    PluginWithEditor p;
    p.editor().openHeadless();
    const CPoint tableSwitch(156, 354);
    const CPoint reverbRow(columnX, columnBottom), filterRow(columnX, 92 + 18 * 9 + 9);
    constexpr int reverbA = 42, reverbB = 43, filterA = 34, filterB = 35;
    p.click(reverbRow);
    EXPECT_TRUE(bit(p, reverbA));
    EXPECT_FALSE(bit(p, reverbB));
    p.click(tableSwitch);
    EXPECT_FALSE(bit(p, reverbA));
    EXPECT_TRUE(bit(p, reverbB));
    p.idle();
    EXPECT_TRUE(p.editor().findControl(100)->isShown()); // "ReverbSmoothB"
    EXPECT_FALSE(p.editor().findControl(99)->isShown()); // "ReverbSmoothA"

    p.click(filterRow);
    EXPECT_FALSE(bit(p, reverbB));
    EXPECT_TRUE(bit(p, filterA));
    EXPECT_FALSE(bit(p, filterB));
    p.click(reverbRow);
    EXPECT_TRUE(bit(p, reverbB));
    EXPECT_FALSE(bit(p, reverbA));
    EXPECT_FALSE(bit(p, filterA));
}
