#include "EditorTestSupport.h"

#include "editor/controls/MFControl.h"
#include "editor/toolkit/CDrawContext.h"
#include "editor/toolkit/CFontDesc.h"
#include "editor/toolkit/COffscreenContext.h"
#include "editor/toolkit/CViewContainer.h"

#include <gtest/gtest.h>

#include <utility>

using namespace editortest;

namespace {
constexpr uint32_t black = argb(0, 0, 0);
constexpr uint32_t red = argb(255, 0, 0);
constexpr uint32_t green = argb(0, 255, 0);
constexpr uint32_t blue = argb(0, 0, 255);

// A view that fills its rectangle, counts its draws and answers presses as told.
struct Patch : CView {
    Patch(const CRect& r, CColor c, int answer = mouseHandled)
        : CView(r), colour(c), answer(answer) {}
    void draw(CDrawContext& context) override {
        ++draws;
        context.setFillColor(colour);
        context.drawRect(size, CDrawContext::drawFilled);
    }
    int onMouseDown(CPoint where, long) override {
        downs.push_back(where);
        return answer;
    }
    int onMouseMoved(CPoint where, long) override {
        moves.push_back(where);
        return mouseHandled;
    }
    int onMouseUp(CPoint where, long) override {
        ups.push_back(where);
        return mouseHandled;
    }
    CColor colour;
    int answer;
    int draws = 0;
    std::vector<CPoint> downs, moves, ups;
};

// The first and last column where light text left ink, or -1.
std::pair<int, int> inkColumns(const FrameFixture& f, int width, int height) {
    int first = -1, last = -1;
    for (int x = 0; x < width; ++x)
        for (int y = 0; y < height; ++y)
            if ((f.pixel(x, y) & 0xFF) > 64) {
                if (first < 0)
                    first = x;
                last = x;
            }
    return {first, last};
}

constexpr CColor redColour{255, 0, 0, 255};
constexpr CColor greenColour{0, 255, 0, 255};
constexpr CColor blueColour{0, 0, 255, 255};
} // namespace

// Fills, outlines, lines, strip frames and offscreen copies touch exactly their pixels:
// right and bottom edges are exclusive, lines paint both end pixels, a strip's part is
// chosen by the offset, and a bitmap that failed to decode draws nothing.
TEST(Toolkit, DrawingStaysInsideItsRectangles) {
    FrameFixture f;
    f.frame->addView(new Patch(CRect(10, 10, 20, 20), redColour));
    f.idle();
    CDrawContext context(f.frame->getBackBuffer());
    context.setFrameColor(greenColour);
    context.drawRect(CRect(40, 40, 50, 50), CDrawContext::drawStroked);
    context.moveTo(CPoint(5, 30));
    context.lineTo(CPoint(15, 30));
    CBitmap* strip = makeStrip(6, 5, {red, green, blue});
    strip->draw(context, CRect(60, 10, 66, 15), CPoint(0, 5));
    strip->forget();
    COffscreenContext offscreen(40, 40);
    offscreen.setFillColor(redColour);
    offscreen.drawRect(CRect(0, 0, 40, 40), CDrawContext::drawFilled);
    offscreen.setFillColor(greenColour);
    offscreen.drawRect(CRect(20, 20, 40, 40), CDrawContext::drawFilled);
    offscreen.copyFrom(context, CRect(100, 100, 110, 110), CPoint(15, 15));
    CBitmap empty(nullptr);
    EXPECT_FALSE(empty.isLoaded());
    EXPECT_EQ(empty.getWidth(), 0);
    empty.draw(context, CRect(150, 150, 160, 160));
    empty.drawTransparent(context, CRect(150, 150, 160, 160));

    const struct {
        int x, y;
        uint32_t colour;
    } expected[] = {
        {10, 10, red},    {19, 19, red},     {20, 19, black},   {19, 20, black}, {9, 10, black},
        {40, 40, green},  {49, 45, green},   {45, 49, green},   {50, 45, black}, {45, 45, black},
        {5, 30, green},   {15, 30, green},   {16, 30, black},   {10, 29, black}, {10, 31, black},
        {60, 10, green},  {65, 14, green},   {60, 15, black},   {66, 10, black}, // strip row 1
        {100, 100, red},  {109, 109, green}, {110, 110, black}, // offscreen 15,15 and 24,24
        {155, 155, black}};
    for (const auto& e : expected)
        EXPECT_EQ(f.pixel(e.x, e.y), e.colour) << "at " << e.x << ", " << e.y;
    EXPECT_TRUE(CRect(10, 10, 20, 20).pointInside(CPoint(19, 19)));
    EXPECT_FALSE(CRect(10, 10, 20, 20).pointInside(CPoint(20, 15)));
    EXPECT_FALSE(CRect(10, 10, 20, 20).pointInside(CPoint(15, 20)));
}

// Children draw in the order added, and the mouse searches from the last: the top view
// takes the press; one that does not handle it lets it reach the view beneath.
TEST(Toolkit, DrawingInAddingOrderHitTestingInReverse) {
    FrameFixture f;
    auto* bottom = new Patch(CRect(0, 0, 50, 50), redColour);
    auto* top = new Patch(CRect(25, 25, 75, 75), blueColour);
    f.frame->addView(bottom);
    f.frame->addView(top);
    f.idle();
    EXPECT_EQ(f.pixel(30, 30), blue);
    EXPECT_EQ(f.pixel(10, 10), red);

    f.press(CPoint(30, 30));
    EXPECT_EQ(top->downs.size(), 1u);
    EXPECT_TRUE(bottom->downs.empty());
    f.release(CPoint(30, 30));

    top->answer = mouseNotHandled;
    f.press(CPoint(30, 30));
    EXPECT_EQ(top->downs.size(), 2u);
    ASSERT_EQ(bottom->downs.size(), 1u);
    EXPECT_EQ(bottom->downs[0], CPoint(30, 30));

    // A view beneath a dirty one is redrawn where they overlap, so the dirty view never
    // paints over something that lies on top of it.
    bottom->setDirty();
    f.idle();
    EXPECT_EQ(f.pixel(30, 30), blue);
    EXPECT_EQ(top->draws, 2);
}

// Result 1 keeps the moves and the release for the pressed view, wherever the mouse
// goes; result 3 wants neither.
TEST(Toolkit, MouseResultsDecideWhoGetsMovesAndRelease) {
    FrameFixture f;
    auto* handled = new Patch(CRect(0, 0, 50, 50), redColour, mouseHandled);
    auto* noMoves = new Patch(CRect(100, 0, 150, 50), blueColour, mouseHandledNoMoves);
    f.frame->addView(handled);
    f.frame->addView(noMoves);

    f.press(CPoint(10, 10));
    f.move(CPoint(120, 10)); // over the other view: still the pressed one's
    f.release(CPoint(120, 10));
    EXPECT_EQ(handled->moves.size(), 1u);
    ASSERT_EQ(handled->ups.size(), 1u);
    EXPECT_EQ(handled->ups[0], CPoint(120, 10));

    f.press(CPoint(110, 10));
    f.move(CPoint(111, 10));
    f.release(CPoint(111, 10));
    EXPECT_EQ(noMoves->downs.size(), 1u);
    EXPECT_TRUE(noMoves->ups.empty());
    EXPECT_EQ(handled->ups.size(), 1u);
}

// A pass redraws only what is dirty and pushes only that area; an idle with nothing
// changed draws and pushes nothing; a forced redraw pushes everything at the next idle.
TEST(Toolkit, PassDrawsOnlyDirtyAreas) {
    FrameFixture f;
    auto* a = new Patch(CRect(0, 0, 20, 20), redColour);
    auto* b = new Patch(CRect(100, 100, 120, 130), greenColour);
    f.frame->addView(a);
    f.frame->addView(b);
    f.idle();
    ASSERT_EQ(f.window.presented.size(), 1u);
    EXPECT_EQ(f.window.presented[0], CRect(0, 0, 200, 200));
    const long passes = f.frame->getDrawPassCount();

    f.window.presented.clear();
    f.idle();
    f.idle();
    EXPECT_TRUE(f.window.presented.empty());
    EXPECT_EQ(f.frame->getDrawPassCount(), passes);
    EXPECT_EQ(a->draws, 1);

    b->setDirty();
    f.idle();
    EXPECT_EQ(a->draws, 1);
    EXPECT_EQ(b->draws, 2);
    ASSERT_EQ(f.window.presented.size(), 1u);
    EXPECT_EQ(f.window.presented[0], CRect(100, 100, 120, 130));

    // forceRedraw repaints everything at the next idle, and only then; idles are counted.
    f.window.presented.clear();
    f.frame->forceRedraw();
    EXPECT_TRUE(f.window.presented.empty());
    f.idle();
    ASSERT_EQ(f.window.presented.size(), 1u);
    EXPECT_EQ(f.window.presented[0], CRect(0, 0, 200, 200));
    EXPECT_EQ(a->draws, 2);
    EXPECT_EQ(f.frame->getIdleCounter(), 5);
}

// A nested container's children are in its coordinates: their presses arrive local, and
// their invalidations reach the window in window coordinates.
TEST(Toolkit, NestedContainersTranslateCoordinates) {
    FrameFixture f;
    auto* box = new CViewContainer(CRect(50, 60, 150, 160));
    auto* child = new Patch(CRect(10, 10, 30, 30), greenColour);
    box->addView(child);
    f.frame->addView(box);
    f.idle();
    EXPECT_EQ(f.pixel(60, 70), green);
    EXPECT_EQ(f.pixel(59, 70), black);

    f.press(CPoint(65, 75));
    ASSERT_EQ(child->downs.size(), 1u);
    EXPECT_EQ(child->downs[0], CPoint(15, 15));
    f.release(CPoint(65, 75));

    f.window.presented.clear();
    child->invalid();
    f.idle();
    ASSERT_EQ(f.window.presented.size(), 1u);
    EXPECT_EQ(f.window.presented[0], CRect(60, 70, 80, 90));
}

// The key colour is left out, everything else drawn; alpha blending is proportional.
TEST(Toolkit, TransparentAndAlphaBlendedBitmaps) {
    FrameFixture f;
    f.idle();
    const uint32_t magenta = argb(255, 0, 255);
    CBitmap* sprite = makeStrip(4, 2, {magenta, red});
    CDrawContext context(f.frame->getBackBuffer());
    context.setFillColor(blueColour);
    context.drawRect(CRect(0, 0, 10, 10), CDrawContext::drawFilled);
    sprite->drawTransparent(context, CRect(0, 0, 4, 4));
    EXPECT_EQ(f.pixel(1, 0), blue); // magenta row left out
    EXPECT_EQ(f.pixel(1, 3), red);

    CBitmap* white = makeStrip(4, 4, {argb(255, 255, 255)});
    white->drawAlphaBlend(context, CRect(20, 20, 24, 24), CPoint(), 128);
    // Half of white over black: 128 give or take the rounding of one 8-bit step.
    const uint32_t blended = f.pixel(21, 21);
    EXPECT_NEAR(int((blended >> 16) & 0xFF), 128, 1);
    EXPECT_NEAR(int(blended & 0xFF), 128, 1);
    white->drawAlphaBlend(context, CRect(30, 30, 34, 34), CPoint(), 0);
    EXPECT_EQ(f.pixel(31, 31), black);
    sprite->forget();
    white->forget();
}

// Every holder takes a reference; the frame's views give theirs back when it goes.
TEST(Toolkit, BitmapReferencesFollowTheirHolders) {
    CBitmap* shared = makeStrip(10, 10, {red});
    {
        FrameFixture f;
        auto* a = new CView(CRect(0, 0, 10, 10));
        auto* b = new CView(CRect(10, 0, 20, 10));
        a->setBackground(shared);
        b->setBackground(shared);
        f.frame->addView(a);
        f.frame->addView(b);
        EXPECT_EQ(shared->referenceCount(), 3);
        f.frame->removeView(b);
        EXPECT_EQ(shared->referenceCount(), 2);
    }
    EXPECT_EQ(shared->referenceCount(), 1);
    shared->forget();
}

// "Arial" resolves through fontconfig to the metric-compatible family; measuring and
// drawing use the same face, so the measured width is where the ink ends.
TEST(Toolkit, FontMatchesAndMeasuresWhatItDraws) {
    CFontDesc font("Arial", 12);
    EXPECT_EQ(font.matchedFamily(), "Liberation Sans");

    FrameFixture f(CRect(0, 0, 300, 40));
    f.idle();
    CDrawContext context(f.frame->getBackBuffer());
    context.setFont(&font, 12);
    context.setFontColor(ccolor::white);
    const char* text = "Cadenzoid 0123";
    const int width = context.getStringWidth(text);
    context.drawString(text, CRect(10, 0, 290, 40), false, CDrawContext::alignLeft);
    const auto [first, last] = inkColumns(f, 300, 40);
    ASSERT_GE(first, 0);
    // Side bearings are a pixel or two at this size; the advance must not be off by more.
    EXPECT_NEAR(first, 10, 2);
    EXPECT_NEAR(last + 1, 10 + width, 3);
    // Twice the size is about twice the width: hinted advances are whole pixels, which
    // can add up to a pixel a glyph at the small size.
    context.setFont(&font, 24);
    const int wide = context.getStringWidth(text);
    EXPECT_GT(wide, 2 * width - 14 - 2);
    EXPECT_LT(wide, 2 * width + 2);
    EXPECT_GT(context.getStringWidth("WWWW"), context.getStringWidth("iiii"));
}

// Centred text is centred: the ink's middle lies at the rectangle's middle.
TEST(Toolkit, StringAlignment) {
    CFontDesc font("Arial", 10);
    FrameFixture f(CRect(0, 0, 200, 20));
    f.idle();
    CDrawContext context(f.frame->getBackBuffer());
    context.setFont(&font, 10);
    context.setFontColor(ccolor::white);
    context.drawString("HHHH", CRect(0, 0, 200, 20), false, CDrawContext::alignCenter);
    const auto [first, last] = inkColumns(f, 200, 20);
    EXPECT_NEAR((first + last + 1) / 2.0, 100.0, 1.5);
}

// Only the back buffer knows the device scale: logical rectangles cover whole device
// pixels, and the window is told device areas.
TEST(Toolkit, DeviceScaleStaysInTheBackBuffer) {
    RecordingWindow window;
    RecordingEditor editor;
    MFFrame frame(CRect(0, 0, 20, 20), &window, &editor, 2.0);
    frame.addView(new Patch(CRect(5, 5, 10, 10), redColour));
    frame.idle();
    cairo_surface_t* buffer = frame.getBackBuffer();
    EXPECT_EQ(cairo_image_surface_get_width(buffer), 40);
    EXPECT_EQ(pixelAt(buffer, 10, 10), red);
    EXPECT_EQ(pixelAt(buffer, 19, 19), red);
    EXPECT_EQ(pixelAt(buffer, 20, 20), black);
    EXPECT_EQ(pixelAt(buffer, 9, 9), black);
    ASSERT_FALSE(window.presented.empty());
    EXPECT_EQ(window.presented[0], CRect(0, 0, 40, 40));
}

// The region merges what overlaps and never grows past its capacity.
TEST(Toolkit, DirtyRegionMergesAndStaysBounded) {
    CDirtyRegion region(CRect(0, 0, 1000, 1000));
    region.add(CRect(0, 0, 10, 10));
    region.add(CRect(5, 5, 15, 15));
    ASSERT_EQ(region.size(), 1);
    EXPECT_EQ(region[0], CRect(0, 0, 15, 15));
    region.add(CRect(2, 2, 4, 4)); // inside
    EXPECT_EQ(region.size(), 1);
    region.add(CRect(-50, -50, -10, -10)); // outside the bounds
    EXPECT_EQ(region.size(), 1);
    for (int i = 0; i < 100; ++i)
        region.add(CRect(i * 20, 500, i * 20 + 5, 505));
    EXPECT_LE(region.size(), CDirtyRegion::capacity);
    // Everything added is still covered.
    const CRect all = region.bounding();
    EXPECT_TRUE(all.contains(CRect(0, 0, 15, 15)));
    EXPECT_TRUE(all.contains(CRect(980, 500, 985, 505)));
}

// --- the frame's overlay ------------------------------------------------------------------

namespace {
// The overlay (the playhead) over a view that fills the frame; both count their draws.
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

// Moved, the overlay puts back what lay beneath it without the views beneath being drawn
// again.
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

// A change beneath shows, and the overlay keeps aside the new pixels.
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

// A panel opened over the overlay hides it until it closes.
TEST(FrameOverlay, AnOpenPanelPutsTheOverlayAsideUntilItCloses) {
    OverlayRig rig;
    rig.frame->setModalControl(rig.beneath);
    rig.idle();
    EXPECT_EQ(rig.pixel(25, 100), red);
    rig.frame->setModalControl(nullptr);
    rig.idle();
    EXPECT_EQ(rig.pixel(25, 100), blue);
}
