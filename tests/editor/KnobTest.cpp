#include "EditorTestSupport.h"

#include "editor/controls/MFKnob.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace editortest;

namespace {
// Tolerance of a few float roundings of values near 1.
constexpr float eps = 1e-5f;

// A panel knob of 128 frames of 40 on a numbered strip, bound to a float that the
// listener writes back, as the plug-in does.
struct KnobFixture : FrameFixture {
    KnobFixture() {
        strip = makeNumberedStrip(40, 40, 128);
        knob = new MFKnob(CRect(20, 20, 60, 60), &listener, 5, frame.get(), strip, 40, 128, 0.5f);
        strip->forget();
        bound = 0.25f;
        knob->bind(&bound);
        knob->setTouchedFlag(&touched);
        knob->setDefaultValue(0.3f);
        listener.sink = &bound;
        frame->addView(knob);
        idle();
    }
    // A drag from (40, 40) by dy pixels in steps of step, with the buttons held.
    void drag(int dy, long buttons, int step = 10) {
        press(CPoint(40, 40), buttons);
        int y = 40;
        while (y != 40 + dy) {
            y += dy > 0 ? std::min(step, 40 + dy - y) : std::max(-step, 40 + dy - y);
            move(CPoint(40, y), buttons);
        }
    }
    int drawnRow() const { return numberedRow(pixel(30, 30)); }

    CBitmap* strip;
    MFKnob* knob;
    MFRelaxed<float> bound;
    MFRelaxed<float> touched;
};
} // namespace

// 100 pixels up at sensitivity 0.5 move the value by 0.5, or by 0.025 with shift,
// however the pixels arrive. The touch flag is up exactly while the knob is held, and a
// gesture reaches the editor as one begin and one end.
TEST(Knob, DragDistanceFineDragAndGestureBrackets) {
    KnobFixture f;
    f.drag(-100, cbutton::left);
    EXPECT_NEAR(f.knob->getValue(), 0.75f, eps);
    EXPECT_EQ(f.touched.load(), 1.0f);
    EXPECT_EQ(f.editor.begins, std::vector<int32_t>{5});
    EXPECT_TRUE(f.editor.ends.empty());
    f.release(CPoint(40, -60));
    EXPECT_EQ(f.touched.load(), 0.0f);
    EXPECT_EQ(f.editor.ends, std::vector<int32_t>{5});

    f.bound = 0.25f;
    f.idle();
    f.drag(-100, cbutton::left | cbutton::shift, 7);
    EXPECT_NEAR(f.knob->getValue(), 0.275f, eps);
    f.release(CPoint(40, -60));

    // Down lowers; the value stops at the minimum.
    f.bound = 0.25f;
    f.idle();
    f.drag(100, cbutton::left);
    EXPECT_EQ(f.knob->getValue(), 0.0f);
    f.release(CPoint(40, 140));
    EXPECT_EQ(f.bound.load(), 0.0f);
}

// A double click resets to the default with exactly one value and no drag after it; a
// click with control does the same.
TEST(Knob, DoubleClickResetsWithOneValueAndNoDrag) {
    KnobFixture f;
    EXPECT_EQ(f.frame->onMouseDown(CPoint(40, 40), cbutton::left | cbutton::doubleClick),
              mouseHandledNoMoves);
    EXPECT_EQ(f.listener.values, std::vector<float>{0.3f});
    EXPECT_EQ(f.editor.begins.size(), 1u);
    EXPECT_EQ(f.editor.ends.size(), 1u);
    f.move(CPoint(40, 0));
    f.release(CPoint(40, 0));
    EXPECT_EQ(f.listener.values.size(), 1u);
    EXPECT_FLOAT_EQ(f.knob->getValue(), 0.3f);
    EXPECT_FALSE(f.knob->isDragging());

    f.bound = 0.9f;
    f.idle();
    f.press(CPoint(40, 40), cbutton::left | cbutton::control);
    EXPECT_FLOAT_EQ(f.knob->getValue(), 0.3f);
    EXPECT_EQ(f.listener.values.size(), 2u);
}

// While dragged the knob ignores what the host writes into its float and keeps following
// the mouse; at the first idle after the release it jumps to the host's value.
TEST(Knob, AutomationWaitsForTheRelease) {
    KnobFixture f;
    f.press(CPoint(40, 40));
    f.move(CPoint(40, 30)); // +0.05
    EXPECT_NEAR(f.knob->getValue(), 0.30f, eps);
    f.bound = 0.9f; // the host automates
    f.idle();
    EXPECT_NEAR(f.knob->getValue(), 0.30f, eps);
    f.move(CPoint(40, 20)); // the mouse still rules, from its own value
    EXPECT_NEAR(f.knob->getValue(), 0.35f, eps);
    f.bound = 0.8f;
    f.release(CPoint(40, 20));
    EXPECT_NEAR(f.knob->getValue(), 0.35f, eps);
    f.bound = 0.8f; // the host's latest value, after the release's own notification
    f.idle();
    EXPECT_FLOAT_EQ(f.knob->getValue(), 0.8f);
    EXPECT_EQ(f.drawnRow(), int(127 * 0.8f));
}

// The right button drags a knob that has no learn menu; with one it opens the menu as
// modal with the knob's tag and wants no moves.
TEST(Knob, RightButtonDragsOrOpensTheLearnMenu) {
    KnobFixture f;
    f.press(CPoint(40, 40), cbutton::right);
    f.move(CPoint(40, 30), cbutton::right);
    EXPECT_NEAR(f.knob->getValue(), 0.30f, eps);
    f.release(CPoint(40, 30), cbutton::right);

    auto* menu = new ModalProbe(f.frame.get());
    f.frame->addView(menu);
    f.knob->setLearnMenu(menu);
    const float before = f.knob->getValue();
    EXPECT_EQ(f.frame->onMouseDown(CPoint(41, 42), cbutton::right), mouseHandledNoMoves);
    ASSERT_EQ(menu->opened.size(), 1u);
    EXPECT_EQ(menu->opened[0].mode, 2);
    EXPECT_EQ(menu->opened[0].tag, 5);
    EXPECT_EQ(menu->opened[0].where, CPoint(41, 42));
    EXPECT_EQ(f.frame->getModalControl(), menu);
    EXPECT_FALSE(f.knob->isDragging());
    EXPECT_EQ(f.knob->getValue(), before);
}

// A wheel notch moves by 0.35 * 0.05, clamped, as one gesture; noWheel passes it on.
TEST(Knob, WheelStep) {
    KnobFixture f;
    EXPECT_TRUE(f.frame->onWheel(CPoint(40, 40), 1.0f, 0));
    EXPECT_NEAR(f.knob->getValue(), 0.25f + 0.0175f, eps);
    f.frame->onWheel(CPoint(40, 40), -2.0f, 0);
    EXPECT_NEAR(f.knob->getValue(), 0.25f - 0.0175f, eps);
    EXPECT_EQ(f.editor.begins.size(), 2u);
    EXPECT_EQ(f.editor.ends.size(), 2u);
    f.frame->onWheel(CPoint(40, 40), 100.0f, 0);
    EXPECT_EQ(f.knob->getValue(), 1.0f);

    f.knob->setNoWheel(true);
    EXPECT_FALSE(f.frame->onWheel(CPoint(40, 40), -1.0f, 0));
    EXPECT_EQ(f.knob->getValue(), 1.0f);
}

// The row drawn is the truncation of 127 times the bound value (128 times when stepped),
// and no float reaches outside the strip.
TEST(Knob, FrameRowFromTheBoundValue) {
    KnobFixture f;
    const struct {
        float bound;
        int row;
    } cases[] = {{0.0f, 0},
                 {0.5f, 63},
                 {1.0f, 127},
                 {0.999f, 126},
                 {7.0f, 127},
                 {-3.0f, 0},
                 {std::numeric_limits<float>::quiet_NaN(), 0},
                 {std::numeric_limits<float>::infinity(), 127}};
    for (const auto& c : cases) {
        f.bound = c.bound;
        f.idle();
        EXPECT_EQ(f.drawnRow(), c.row) << "bound " << c.bound;
    }
    f.knob->setSteppedFrames(true);
    f.bound = 0.5f;
    f.idle();
    f.knob->setDirty();
    f.idle();
    EXPECT_EQ(f.drawnRow(), 64);
    f.bound = 1.0f;
    f.idle();
    EXPECT_EQ(f.drawnRow(), 127);
}

// A bound range other than 0..1 is normalised for the value and the row.
TEST(Knob, BoundRangeIsNormalised) {
    KnobFixture f;
    MFRelaxed<float> hertz = 5000.0f;
    f.knob->bind(&hertz, 0.0f, 20000.0f);
    f.idle();
    EXPECT_FLOAT_EQ(f.knob->getValue(), 0.25f);
    EXPECT_EQ(f.drawnRow(), 31);
}

// With no strip the knob shows its number on white, so a missing skin is visible.
TEST(Knob, FallbackWithoutBitmap) {
    FrameFixture f;
    MFRelaxed<float> bound = 0.5f;
    auto* knob =
        new MFKnob(CRect(10, 10, 50, 30), &f.listener, 1, f.frame.get(), nullptr, 40, 128, 0.5f);
    knob->bind(&bound);
    f.frame->addView(knob);
    f.idle();
    EXPECT_EQ(f.pixel(11, 11), argb(255, 255, 255));
}

// The drag variants: a horizontal fader grows to the right, an absolute knob takes the
// position of the press and of each move, a spring-back knob returns to the middle at the
// release and says so.
TEST(Knob, HorizontalAbsoluteAndSpringBackDrags) {
    KnobFixture horizontal;
    horizontal.knob->setHorizontal(true);
    horizontal.press(CPoint(40, 40));
    horizontal.move(CPoint(60, 40));
    EXPECT_NEAR(horizontal.knob->getValue(), 0.25f + 0.1f, eps);

    KnobFixture absolute;
    absolute.knob->setAbsolute(true);
    absolute.press(CPoint(40, 30)); // a quarter down: 0.75
    EXPECT_NEAR(absolute.knob->getValue(), 0.75f, eps);
    absolute.move(CPoint(40, 50));
    EXPECT_NEAR(absolute.knob->getValue(), 0.25f, eps);

    KnobFixture spring;
    spring.knob->setSpringBack(true);
    spring.drag(-30, cbutton::left);
    spring.release(CPoint(40, 10));
    EXPECT_EQ(spring.knob->getValue(), 0.5f);
    EXPECT_EQ(spring.listener.values.back(), 0.5f);
}
