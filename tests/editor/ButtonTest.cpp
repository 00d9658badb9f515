#include "EditorTestSupport.h"

#include "editor/controls/MFButton.h"

#include <gtest/gtest.h>

using namespace editortest;

namespace {
struct ButtonFixture : FrameFixture {
    explicit ButtonFixture(int32_t mode, int32_t states = 2, int32_t frameFlags = 0) {
        strip = makeNumberedStrip(20, 10, 12);
        button = new MFButton(CRect(10, 10, 30, 20), &listener, 7, frame.get(), strip, mode);
        strip->forget();
        button->setStateCount(states);
        button->setFrameFlags(frameFlags);
        frame->addView(button);
        idle();
    }
    void click(long buttons = cbutton::left, CPoint at = CPoint(15, 15)) {
        press(at, buttons);
        release(at, buttons);
    }
    int drawnRow() const { return numberedRow(pixel(12, 12)); }

    CBitmap* strip;
    MFButton* button;
};

using Values = std::vector<float>;
} // namespace

// What each mode sends at the press and at the release.
TEST(Button, MomentaryOneShotAndUntilRelease) {
    ButtonFixture momentary(MFButton::momentary);
    momentary.press(CPoint(15, 15));
    EXPECT_EQ(momentary.listener.values, Values{1.0f});
    momentary.release(CPoint(15, 15));
    EXPECT_EQ(momentary.listener.values, (Values{1.0f, 0.0f}));

    ButtonFixture oneShot(MFButton::oneShot);
    MFRelaxed<float> bound = 0.0f;
    oneShot.button->bind(&bound);
    oneShot.click();
    EXPECT_EQ(oneShot.listener.values, Values{1.0f});
    EXPECT_EQ(oneShot.button->getValue(), 1.0f);
    oneShot.idle(); // the bound float, still 0, takes the button back
    EXPECT_EQ(oneShot.button->getValue(), 0.0f);

    ButtonFixture held(MFButton::untilRelease);
    held.press(CPoint(15, 15));
    held.release(CPoint(15, 15), cbutton::left); // a button still held: no release value
    EXPECT_EQ(held.listener.values, Values{1.0f});
    held.press(CPoint(15, 15));
    held.release(CPoint(15, 15), 0);
    EXPECT_EQ(held.listener.values, (Values{1.0f, 1.0f, 0.0f}));
}

// A toggle steps through its states at the press and wraps; with more than two states the
// right button goes back to 0.
TEST(Button, ToggleWrapsAndRightResets) {
    ButtonFixture two(MFButton::toggle);
    two.click();
    two.click();
    two.click();
    EXPECT_EQ(two.listener.values, (Values{1.0f, 0.0f, 1.0f}));
    two.click(cbutton::right); // two states: right steps as left does
    EXPECT_EQ(two.listener.values.back(), 0.0f);

    ButtonFixture three(MFButton::toggle, 3);
    three.click();
    three.click();
    EXPECT_EQ(three.button->getValue(), 2.0f);
    three.click();
    EXPECT_EQ(three.button->getValue(), 0.0f);
    three.click();
    three.click(cbutton::right);
    EXPECT_EQ(three.listener.values, (Values{1.0f, 2.0f, 0.0f, 1.0f, 0.0f}));
}

// Mode 5 repeats its value on moves without left or right while held.
TEST(Button, RepeatingNotifiesOnMovesWithoutButtons) {
    ButtonFixture f(MFButton::repeating);
    f.press(CPoint(15, 15));
    f.move(CPoint(16, 15), cbutton::left);
    EXPECT_EQ(f.listener.values, Values{1.0f});
    f.move(CPoint(17, 15), 0);
    EXPECT_EQ(f.listener.values, (Values{1.0f, 1.0f}));
    f.release(CPoint(17, 15));
    EXPECT_EQ(f.listener.values, (Values{1.0f, 1.0f, 0.0f}));
}

// Tri-state: from 0 the left button gives 1 and the right 2; from either, back to 0.
TEST(Button, TriState) {
    ButtonFixture f(MFButton::triState, 3);
    f.click();
    f.click();
    f.click(cbutton::right);
    f.click(cbutton::right);
    EXPECT_EQ(f.listener.values, (Values{1.0f, 0.0f, 2.0f, 0.0f}));
}

// Mode 7 acts at a release inside only.
TEST(Button, AdvancesAtAReleaseInside) {
    ButtonFixture f(MFButton::hoverToggle);
    f.press(CPoint(15, 15));
    EXPECT_TRUE(f.listener.values.empty());
    f.release(CPoint(100, 100));
    EXPECT_TRUE(f.listener.values.empty());
    f.click();
    EXPECT_EQ(f.listener.values, Values{1.0f});
}

// Mode 8 opens its menu beneath itself; it takes precedence over a learn menu.
TEST(Button, MenuModeOpensBeneath) {
    ButtonFixture f(MFButton::menu);
    auto* menu = new ModalProbe(f.frame.get());
    auto* learn = new ModalProbe(f.frame.get());
    f.frame->addView(menu);
    f.frame->addView(learn);
    f.button->setMenu(menu);
    f.button->setLearnMenu(learn);
    f.press(CPoint(15, 15), cbutton::right);
    ASSERT_EQ(menu->opened.size(), 1u);
    EXPECT_EQ(menu->opened[0].where, CPoint(10, 20));
    EXPECT_TRUE(learn->opened.empty());
}

// A right click with a learn menu opens it and sends no value.
TEST(Button, RightClickOpensTheLearnMenu) {
    ButtonFixture f(MFButton::toggle);
    auto* learn = new ModalProbe(f.frame.get());
    f.frame->addView(learn);
    f.button->setLearnMenu(learn);
    f.press(CPoint(15, 15), cbutton::right);
    ASSERT_EQ(learn->opened.size(), 1u);
    EXPECT_EQ(learn->opened[0].tag, 7);
    EXPECT_TRUE(f.listener.values.empty());
}

// Rows: each state has one row, plus a pressed row with flag 1 and a hover row with
// flag 2, in that order.
TEST(Button, RowsForStatePressAndHover) {
    ButtonFixture plain(MFButton::toggle);
    EXPECT_EQ(plain.drawnRow(), 0);
    plain.click();
    plain.idle();
    EXPECT_EQ(plain.drawnRow(), 1);

    ButtonFixture both(MFButton::momentary, 2, MFButton::framePressed | MFButton::frameHover);
    both.move(CPoint(15, 15), 0); // enters: hover
    both.idle();
    EXPECT_EQ(both.drawnRow(), 2);
    both.press(CPoint(15, 15));
    both.idle();
    EXPECT_EQ(both.drawnRow(), 3 + 1); // state 1, pressed
    both.release(CPoint(15, 15));
    both.idle();
    EXPECT_EQ(both.drawnRow(), 2);  // state 0, hover again
    both.move(CPoint(100, 100), 0); // leaves
    both.idle();
    EXPECT_EQ(both.drawnRow(), 0);
}

// A bound float is what the button shows, and a change is drawn at the next idle.
TEST(Button, FollowsItsBoundFloat) {
    ButtonFixture f(MFButton::toggle);
    MFRelaxed<float> bound = 0.0f;
    f.button->bind(&bound);
    f.idle();
    f.window.presented.clear();
    bound = 1.0f;
    f.idle();
    EXPECT_EQ(f.button->getValue(), 1.0f);
    EXPECT_EQ(f.drawnRow(), 1);
    ASSERT_EQ(f.window.presented.size(), 1u);
    EXPECT_EQ(f.window.presented[0], CRect(10, 10, 30, 20));
    f.window.presented.clear();
    f.idle();
    EXPECT_TRUE(f.window.presented.empty());
}
