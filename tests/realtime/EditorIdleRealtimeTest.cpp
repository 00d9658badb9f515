#include "support/AllocationCounter.h"
#include "support/FakeHost.h"

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFKnob.h"
#include "editor/controls/MFLevelMeterPic.h"
#include "editor/toolkit/CBitmap.h"
#include "engine/MFUniClient.h"

#include <cairo.h>
#include <gtest/gtest.h>

namespace {
CBitmap* strip(int width, int height) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    return new CBitmap(s);
}
} // namespace

// The host's idle with nothing changed compares and draws nothing, so it allocates
// nothing: hosts call it up to 60 times a second for as long as the window is open.
TEST(EditorIdle, NothingChangedAllocatesNothing) {
    FakeHost host;
    host.attach(new MFUniClient(FakeHost::callback(), &MFUniClientEditor::create));
    auto& editor = *static_cast<MFUniClientEditor*>(host.plugin().getEditor());
    editor.openHeadless();
    editor.idle();
    AllocationCounter counter;
    for (int i = 0; i < 100; ++i)
        editor.idle();
    EXPECT_EQ(counter.count(), 0u);
}

// Controls following their floats, and the redraw of bitmap controls that follows, run
// without allocating once the first pass has drawn them.
TEST(EditorIdle, FollowingBoundFloatsAllocatesNothing) {
    MFFrame frame(CRect(0, 0, 200, 200), nullptr, nullptr);
    MFRelaxed<float> knobValue = 0.0f;
    MFRelaxed<float> peak = 0.0f;
    CBitmap* knobStrip = strip(40, 40 * 128);
    CBitmap* meterStrip = strip(2, 101 * 35);
    auto* knob = new MFKnob(CRect(10, 10, 50, 50), nullptr, 1, &frame, knobStrip, 40, 128, 0.5f);
    knob->bind(&knobValue);
    auto* meter = new MFLevelMeterPic(CRect(100, 10, 102, 111), nullptr, 560, &frame, meterStrip);
    meter->bind(&peak);
    knobStrip->forget();
    meterStrip->forget();
    frame.addView(knob);
    frame.addView(meter);
    frame.idle();
    knobValue = 0.5f;
    peak = 0.5f;
    frame.idle();

    const long passes = frame.getDrawPassCount();
    AllocationCounter counter;
    for (int i = 0; i < 100; ++i) {
        knobValue = float(i % 10) * 0.1f;
        peak = float(i % 7) * 0.15f;
        frame.idle();
    }
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_GE(frame.getDrawPassCount(), passes + 90); // the changes were really drawn
}
