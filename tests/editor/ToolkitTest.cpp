#include "EditorTestSupport.h"

#include "editor/toolkit/CDrawContext.h"
#include "editor/toolkit/CFontDesc.h"
#include "editor/toolkit/COffscreenContext.h"
#include "editor/toolkit/CViewContainer.h"

#include <gtest/gtest.h>

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

constexpr CColor redColour{255, 0, 0, 255};
constexpr CColor greenColour{0, 255, 0, 255};
constexpr CColor blueColour{0, 0, 255, 255};
} // namespace

// Right and bottom edges are exclusive, for fills, outlines and hit tests alike.
TEST(Toolkit, RectanglesExcludeRightAndBottom) {
    FrameFixture f;
    f.frame->addView(new Patch(CRect(10, 10, 20, 20), redColour));
    auto* outline = new CView(CRect(40, 40, 50, 50));
    f.frame->addView(outline);
    f.idle();
    EXPECT_EQ(f.pixel(10, 10), red);
    EXPECT_EQ(f.pixel(19, 19), red);
    EXPECT_EQ(f.pixel(20, 19), black);
    EXPECT_EQ(f.pixel(19, 20), black);
    EXPECT_EQ(f.pixel(9, 10), black);

    CDrawContext context(f.frame->getBackBuffer());
    context.setFrameColor(greenColour);
    context.drawRect(CRect(40, 40, 50, 50), CDrawContext::drawStroked);
    EXPECT_EQ(pixelAt(f.frame->getBackBuffer(), 40, 40), green);
    EXPECT_EQ(pixelAt(f.frame->getBackBuffer(), 49, 45), green); // right border is x 49
    EXPECT_EQ(pixelAt(f.frame->getBackBuffer(), 45, 49), green);
    EXPECT_EQ(pixelAt(f.frame->getBackBuffer(), 50, 45), black);
    EXPECT_EQ(pixelAt(f.frame->getBackBuffer(), 45, 45), black); // the inside stays

    EXPECT_TRUE(CRect(10, 10, 20, 20).pointInside(CPoint(19, 19)));
    EXPECT_FALSE(CRect(10, 10, 20, 20).pointInside(CPoint(20, 15)));
    EXPECT_FALSE(CRect(10, 10, 20, 20).pointInside(CPoint(15, 20)));
}

// Lines paint both end pixels and nothing beside them.
TEST(Toolkit, LinesArePixelAligned) {
    FrameFixture f;
    f.idle();
    CDrawContext context(f.frame->getBackBuffer());
    context.setFrameColor(greenColour);
    context.moveTo(CPoint(5, 30));
    context.lineTo(CPoint(15, 30));
    EXPECT_EQ(f.pixel(5, 30), green);
    EXPECT_EQ(f.pixel(15, 30), green);
    EXPECT_EQ(f.pixel(16, 30), black);
    EXPECT_EQ(f.pixel(10, 29), black);
    EXPECT_EQ(f.pixel(10, 31), black);
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
// changed draws and pushes nothing.
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
}

// A view beneath a dirty one is redrawn where they overlap, so the dirty view never
// paints over something that lies on top of it.
TEST(Toolkit, OverlappingViewsStayInOrderAfterAPartialRedraw) {
    FrameFixture f;
    auto* bottom = new Patch(CRect(0, 0, 50, 50), redColour);
    auto* top = new Patch(CRect(25, 25, 75, 75), blueColour);
    f.frame->addView(bottom);
    f.frame->addView(top);
    f.idle();
    bottom->setDirty();
    f.idle();
    EXPECT_EQ(f.pixel(30, 30), blue);
    EXPECT_EQ(top->draws, 2);
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

// A part of a strip is chosen by the offset, and nothing outside the target rectangle is
// touched.
TEST(Toolkit, BitmapOffsetSelectsTheFrame) {
    FrameFixture f;
    f.idle();
    CBitmap* strip = makeStrip(6, 5, {red, green, blue});
    CDrawContext context(f.frame->getBackBuffer());
    strip->draw(context, CRect(10, 10, 16, 15), CPoint(0, 5));
    EXPECT_EQ(f.pixel(10, 10), green);
    EXPECT_EQ(f.pixel(15, 14), green);
    EXPECT_EQ(f.pixel(10, 15), black);
    strip->forget();
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

// A bitmap that failed to decode has no size and draws nothing.
TEST(Toolkit, EmptyBitmapDrawsNothing) {
    FrameFixture f;
    f.idle();
    CBitmap empty(nullptr);
    EXPECT_FALSE(empty.isLoaded());
    EXPECT_EQ(empty.getWidth(), 0);
    CDrawContext context(f.frame->getBackBuffer());
    empty.draw(context, CRect(0, 0, 10, 10));
    empty.drawTransparent(context, CRect(0, 0, 10, 10));
    EXPECT_EQ(f.pixel(5, 5), black);
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
    int first = -1, last = -1;
    for (int x = 0; x < 300; ++x)
        for (int y = 0; y < 40; ++y)
            if ((f.pixel(x, y) & 0xFF) > 64) {
                if (first < 0)
                    first = x;
                last = x;
            }
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
    int first = -1, last = -1;
    for (int x = 0; x < 200; ++x)
        for (int y = 0; y < 20; ++y)
            if ((f.pixel(x, y) & 0xFF) > 64) {
                if (first < 0)
                    first = x;
                last = x;
            }
    EXPECT_NEAR((first + last + 1) / 2.0, 100.0, 1.5);
}

// An offscreen picture is copied from an offset in it to a place on another context.
TEST(Toolkit, OffscreenCopiesAPart) {
    FrameFixture f;
    f.idle();
    COffscreenContext offscreen(40, 40);
    offscreen.setFillColor(redColour);
    offscreen.drawRect(CRect(0, 0, 40, 40), CDrawContext::drawFilled);
    offscreen.setFillColor(greenColour);
    offscreen.drawRect(CRect(20, 20, 40, 40), CDrawContext::drawFilled);
    CDrawContext context(f.frame->getBackBuffer());
    offscreen.copyFrom(context, CRect(100, 100, 110, 110), CPoint(15, 15));
    EXPECT_EQ(f.pixel(100, 100), red);   // offscreen 15,15
    EXPECT_EQ(f.pixel(109, 109), green); // offscreen 24,24
    EXPECT_EQ(f.pixel(110, 110), black);
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

// Controls reach the editor with their tag at the start and end of a gesture, and the
// cursor reaches the window.
TEST(Toolkit, EditsAndCursorReachTheirOwners) {
    FrameFixture f;
    auto* control = new CControl(CRect(0, 0, 10, 10), &f.listener, 42);
    f.frame->addView(control);
    control->beginEdit();
    control->endEdit();
    EXPECT_EQ(f.editor.begins, std::vector<int32_t>{42});
    EXPECT_EQ(f.editor.ends, std::vector<int32_t>{42});
    f.frame->setCursor(ccursor::hand);
    f.frame->setCursor(ccursor::horizontalResize);
    EXPECT_EQ(f.window.cursors, (std::vector<int>{9, 2}));
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
