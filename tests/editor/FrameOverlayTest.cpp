// The frame's overlay (the playhead): drawn over everything, it puts back what lay beneath
// it when it moves, without the views beneath being drawn again, and stays correct when
// what lies beneath changes under it or a panel opens over it.
#include "EditorTestSupport.h"

#include "editor/controls/MFControl.h"
#include "editor/toolkit/CDrawContext.h"

#include <gtest/gtest.h>

using namespace editortest;

namespace {
constexpr uint32_t red = argb(255, 0, 0);
constexpr uint32_t green = argb(0, 255, 0);
constexpr uint32_t blue = argb(0, 0, 255);
constexpr CColor redColour{255, 0, 0, 255};
constexpr CColor greenColour{0, 255, 0, 255};
constexpr CColor blueColour{0, 0, 255, 255};

struct Fill : MFControl {
    Fill(const CRect& r, MFFrame* frame, CColor c) : MFControl(r, nullptr, -1, frame), colour(c) {}
    void draw(CDrawContext& context) override {
        ++draws;
        context.setFillColor(colour);
        context.drawRect(size, CDrawContext::drawFilled);
    }
    CColor colour;
    int draws = 0;
};

struct OverlayRig : FrameFixture {
    OverlayRig() {
        beneath = new Fill(CRect(0, 0, 200, 200), frame.get(), redColour);
        frame->addView(beneath);
        head = new Fill(CRect(20, 0, 30, 200), frame.get(), blueColour);
        frame->setOverlay(head);
        idle();
    }
    void moveHeadTo(int x) { head->setViewSize(CRect(x, 0, x + 10, 200)); }
    Fill* beneath;
    Fill* head;
};
} // namespace

TEST(FrameOverlay, AMoveRestoresWhatLayBeneathWithoutRedrawingIt) {
    OverlayRig rig;
    EXPECT_EQ(rig.pixel(25, 100), blue);
    const int drawsBefore = rig.beneath->draws;

    rig.moveHeadTo(60);
    rig.idle();
    EXPECT_EQ(rig.pixel(25, 100), red) << "the area left shows what lay beneath";
    EXPECT_EQ(rig.pixel(65, 100), blue);
    EXPECT_EQ(rig.beneath->draws, drawsBefore) << "a move redraws nothing beneath";
    EXPECT_FALSE(rig.frame->redrawDirty()) << "and leaves nothing dirty";
}

TEST(FrameOverlay, AChangeBeneathShowsAndTheOverlayStaysOnTop) {
    OverlayRig rig;
    rig.beneath->colour = greenColour;
    rig.beneath->invalid();
    rig.idle();
    EXPECT_EQ(rig.pixel(100, 100), green);
    EXPECT_EQ(rig.pixel(25, 100), blue) << "still on top after the views beneath redrew";

    // The pixels kept aside are the new ones: the area left shows green, not the old red.
    rig.moveHeadTo(120);
    rig.idle();
    EXPECT_EQ(rig.pixel(25, 100), green);
    EXPECT_EQ(rig.pixel(125, 100), blue);
}

TEST(FrameOverlay, AnOpenPanelPutsTheOverlayAsideUntilItCloses) {
    OverlayRig rig;
    rig.frame->setModalControl(rig.beneath);
    rig.idle();
    EXPECT_EQ(rig.pixel(25, 100), red);
    rig.frame->setModalControl(nullptr);
    rig.idle();
    EXPECT_EQ(rig.pixel(25, 100), blue);
}
