#include "PluginEditorRig.h"

#include "editor/MFBitmapTable.h"
#include "editor/controls/MFButton.h"
#include "pattern/MFRandom.h"
#include "support/ScopedEnv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

using namespace editortest;
using namespace vst;

namespace {
// The big knob of "GlobalWet" and a point inside it.
constexpr int wetTag = 101;
const CPoint wetKnob(595, 484);

void runSomeAudio(MFUniClient& plugin, float level) {
    std::vector<float> inL(512, level), inR(512, level), outL(512), outR(512);
    float* in[2] = {inL.data(), inR.data()};
    float* out[2] = {outL.data(), outR.data()};
    for (int i = 0; i < 8; ++i)
        plugin.processReplacing(in, out, 512);
}
} // namespace

// The host sees an editor of 770 x 525 from construction on.
TEST(Editor, HostSeesAnEditorOfTheFixedSize) {
    PluginWithEditor p;
    EXPECT_TRUE(p.plugin().getAeffect()->flags & effFlagsHasEditor);
    ERect* rect = nullptr;
    EXPECT_EQ(p.dispatch(effEditGetRect, 0, 0, &rect), 1);
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ((std::vector<int>{rect->top, rect->left, rect->bottom, rect->right}),
              (std::vector<int>{0, 0, 525, 770}));

    // Built without a factory, the engine has none.
    FakeHost bare;
    bare.attach(new MFUniClient(FakeHost::callback()));
    EXPECT_FALSE(bare.plugin().getAeffect()->flags & effFlagsHasEditor);
}

// With no window to open in, the host's open fails, leaves nothing open and holds no
// bitmaps; the audio goes on.
TEST(Editor, OpenWithoutAWindowFailsCleanly) {
    PluginWithEditor p;
    {
        const ScopedEnv noDisplay("DISPLAY", nullptr);
        EXPECT_EQ(p.dispatch(effEditOpen, 0, 0, nullptr), 0);
        EXPECT_EQ(p.dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(uintptr_t(0x1234567))), 0);
    }
    EXPECT_FALSE(p.editor().isOpen());
    EXPECT_EQ(p.editor().getFrame(), nullptr);
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    p.idle();
    p.dispatch(effEditClose);
    runSomeAudio(p.plugin(), 0.5f);
    EXPECT_GT(p.plugin().getPeakLeft(), 0.0f);
}

// A second open changes nothing and succeeds; close drops the views; opening again
// builds them anew. forceRedraw asks for a full repaint at the next idle, and only when open.
TEST(Editor, OpenTwiceCloseAndReopen) {
    PluginWithEditor p;
    p.editor().forceRedraw(); // closed: nothing to do, nothing to crash
    ASSERT_TRUE(p.editor().openHeadless());
    MFFrame* first = p.editor().getFrame();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(p.editor().openHeadless());
    EXPECT_EQ(p.editor().getFrame(), first);
    EXPECT_EQ(MFBitmapTable::useCount(), 1);
    p.dispatch(effEditClose);
    EXPECT_EQ(p.editor().getFrame(), nullptr);
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    p.dispatch(effEditClose); // a close too many is harmless
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    ASSERT_TRUE(p.editor().openHeadless());
    EXPECT_EQ(MFBitmapTable::useCount(), 1);
    p.idle();
    p.editor().forceRedraw();
    EXPECT_TRUE(p.frame().isRedrawAllPending());
    p.idle();
    EXPECT_FALSE(p.frame().isRedrawAllPending());
}

// Two editors share the process's bitmap table: each open counts, closing the first
// leaves the second drawing, and a plug-in deleted with its editor open gives its count back.
TEST(Editor, BitmapTableCountsEditors) {
    auto a = std::make_unique<PluginWithEditor>();
    auto b = std::make_unique<PluginWithEditor>();
    a->editor().openHeadless();
    b->editor().openHeadless();
    EXPECT_EQ(MFBitmapTable::useCount(), 2);
    a->dispatch(effEditClose);
    EXPECT_EQ(MFBitmapTable::useCount(), 1);
    b->editor().forceRedraw(); // the second draws on with the shared bitmaps
    b->idle();
    b.reset(); // destroyed while open
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
}

// A control of an internal tag changes the plug-in but never reaches the host.
TEST(Editor, InternalTagsStayAwayFromTheHost) {
    PluginWithEditor p;
    p.editor().openHeadless();
    // "init_c" starts off, so its first press (sent as 0.5) is a change.
    p.frame().addView(new MFButton(CRect(300, 300, 320, 320), &p.editor(), 557, &p.frame(), nullptr,
                                   MFButton::toggle));
    const int begins = p.host.beginEdits;
    const int automations = p.host.automations;
    const float before = p.raw(557);
    p.click(CPoint(310, 310));
    EXPECT_NE(p.raw(557), before);
    EXPECT_EQ(p.host.beginEdits, begins);
    EXPECT_EQ(p.host.endEdits, 0);
    EXPECT_EQ(p.host.automations, automations);
}

// The meters follow the output peaks the audio thread leaves behind.
TEST(Editor, MetersFollowTheOutput) {
    PluginWithEditor p;
    p.editor().openHeadless();
    p.idle();
    const uint32_t quiet = p.pixel(752, 514);
    runSomeAudio(p.plugin(), 0.8f);
    ASSERT_GT(p.plugin().getPeakLeft(), 0.1f);
    p.idle();
    EXPECT_NE(p.pixel(752, 514), quiet);
}

// F2, from the host or the window, moves the effect knobs by at most their mutation
// amount and leaves switches and global controls alone; other keys stay the host's.
TEST(Editor, F2MutatesWithinTheAmounts) {
    PluginWithEditor p;
    p.editor().openHeadless();
    MFUniClient& plugin = p.plugin();
    float before[MFUniClient::hostParameterCount];
    for (int32_t i = 0; i < MFUniClient::hostParameterCount; ++i)
        before[i] = plugin.getParameter(i);

    EXPECT_EQ(p.dispatch(effEditKeyDown, 'a', 40, nullptr, 0.0f), 0);
    for (int32_t i = 0; i < MFUniClient::hostParameterCount; ++i)
        ASSERT_EQ(plugin.getParameter(i), before[i]) << "tag " << i;

    MFRandom::reseed();
    EXPECT_EQ(p.dispatch(effEditKeyDown, 0, MFUniClientEditor::keyF2, nullptr, 0.0f), 1);
    int moved = 0;
    for (int32_t i = 0; i < MFUniClient::hostParameterCount; ++i) {
        const MFParameterRecord* r = plugin.getRegistry().recordByTag[i];
        const float after = plugin.getParameter(i);
        if (!r || r->mutationAmount == 0.0f) {
            EXPECT_EQ(after, before[i]) << "tag " << i;
            continue;
        }
        EXPECT_LE(std::fabs(after - before[i]), r->mutationAmount + 1e-6f) << "tag " << i;
        EXPECT_GE(after, 0.0f);
        EXPECT_LE(after, 1.0f);
        moved += after != before[i];
    }
    // The knobs of fourteen effects: most of them move.
    EXPECT_GT(moved, 50);
    EXPECT_EQ(plugin.getParameter(wetTag), before[wetTag]);
    EXPECT_EQ(plugin.getParameter(102), before[102]); // a bypass switch
    // Not from the editor alone: it needs no open window.
    p.dispatch(effEditClose);
    EXPECT_EQ(p.dispatch(effEditKeyDown, 0, MFUniClientEditor::keyF2, nullptr, 0.0f), 1);
}

// The window's events arrive through the same calls the X11 window makes from inside its
// pump. A drag on the GlobalWet knob reaches the plug-in's parameter and the host as one
// gesture, with the touch flag up while held; F2 is used and other keys are not; a lost
// window closes the editor at the end of the idle that saw it, not inside the pump.
TEST(Editor, WindowEventsDriveTheFrame) {
    PluginWithEditor p;
    p.plugin().setParameter(wetTag, 0.5f);
    p.editor().openHeadless();
    p.idle();
    const int begins = p.host.beginEdits;
    const int automations = p.host.automations;
    const auto& touch = p.plugin().getRegistry().values[wetTag].touch;
    MFWindowEvents& events = p.editor();
    events.windowMouseMoved(wetKnob.x, wetKnob.y, 0);
    events.windowMouseDown(wetKnob.x, wetKnob.y, cbutton::left);
    EXPECT_EQ(touch.load(), 1.0f);
    events.windowMouseMoved(wetKnob.x, wetKnob.y - 40, cbutton::left);
    events.windowMouseUp(wetKnob.x, wetKnob.y - 40, cbutton::left);
    // 40 pixels at sensitivity 0.5: +0.2.
    EXPECT_NEAR(p.plugin().getParameter(wetTag), 0.7f, 1e-5f);
    EXPECT_EQ(p.host.beginEdits, begins + 1);
    EXPECT_EQ(p.host.endEdits, 1);
    EXPECT_GT(p.host.automations, automations);
    EXPECT_EQ(touch.load(), 0.0f);
    // Host automation moves the knob at the next idle; the wheel steps from there.
    p.plugin().setParameter(wetTag, 0.4f);
    p.idle();
    events.windowWheel(wetKnob.x, wetKnob.y, -1.0f, 0);
    EXPECT_NEAR(p.plugin().getParameter(wetTag), 0.4f - 0.0175f, 1e-5f);
    events.windowEnterLeave(false);
    events.windowExpose(0, 0, 770, 525);

    EXPECT_TRUE(events.windowKeyDown(MFUniClientEditor::keyF2, 0, 0));
    EXPECT_FALSE(events.windowKeyDown(42, 0, 0));

    events.windowClosed();
    EXPECT_TRUE(p.editor().isOpen()); // still inside the pump, as far as it knows
    p.idle();
    EXPECT_FALSE(p.editor().isOpen());
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
    p.idle();
}

// A host that closes the editor from inside a callback of the editor's own idle (an
// automation, a key) must not pull the frame from under the running idle: the close takes
// effect when the idle returns.
TEST(Editor, CloseFromInsideTheIdleWaitsForItsEnd) {
    struct Closer : CView {
        Closer(MFUniClientEditor& e, bool& open)
            : CView(CRect(0, 0, 1, 1)), editor(e), openAfter(open) {}
        void onIdle() override {
            editor.close();
            openAfter = editor.isOpen();
        }
        MFUniClientEditor& editor;
        bool& openAfter;
    };
    PluginWithEditor p;
    p.editor().openHeadless();
    bool openAfterClose = false;
    p.editor().getFrame()->addView(new Closer(p.editor(), openAfterClose));
    p.idle();
    EXPECT_TRUE(openAfterClose); // the frame stood until the idle was done with it
    EXPECT_FALSE(p.editor().isOpen());
    EXPECT_EQ(p.editor().getFrame(), nullptr);
    EXPECT_EQ(MFBitmapTable::useCount(), 0);
}
