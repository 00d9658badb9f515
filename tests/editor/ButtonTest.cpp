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

// A script of mouse steps on the button, each followed by the values that step must send:
// p press, u release with no button held, U release with the left button still held,
// o release outside, M move with the left button, m move with none, L and R left and right
// clicks.
void expectScript(int32_t mode, int32_t states, const char* script) {
    ButtonFixture f(mode, states);
    const CPoint on(15, 15);
    for (const char* c = script; *c;) {
        const std::size_t before = f.listener.values.size();
        switch (*c++) {
        case 'p':
            f.press(on);
            break;
        case 'u':
            f.release(on, 0);
            break;
        case 'U':
            f.release(on, cbutton::left);
            break;
        case 'o':
            f.release(CPoint(100, 100));
            break;
        case 'M':
            f.move(on + CPoint(1, 0), cbutton::left);
            break;
        case 'm':
            f.move(on + CPoint(2, 0), 0);
            break;
        case 'L':
            f.click();
            break;
        case 'R':
            f.click(cbutton::right);
            break;
        }
        Values expected;
        for (; *c >= '0' && *c <= '9'; ++c)
            expected.push_back(float(*c - '0'));
        const Values sent(f.listener.values.begin() + long(before), f.listener.values.end());
        EXPECT_EQ(sent, expected) << "mode " << mode << ", script " << script << ", step "
                                  << c - script;
    }
}
} // namespace

// What each mode sends at each step: momentary at press and release, until-release only
// at a release with no button held, toggles step at the press and wrap (with more than two
// states the right button goes back to 0), repeating on moves without buttons, tri-state
// from 0 to 1 by the left and 2 by the right, and mode 7 at a release inside only.
TEST(Button, WhatEachModeSendsAndWhen) {
    expectScript(MFButton::momentary, 2, "p1u0");
    expectScript(MFButton::untilRelease, 2, "p1Up1u0");
    expectScript(MFButton::toggle, 2, "L1L0L1R0");
    expectScript(MFButton::toggle, 3, "L1L2L0L1R0");
    expectScript(MFButton::repeating, 2, "p1Mm1U0");
    expectScript(MFButton::triState, 3, "L1L0R2R0");
    expectScript(MFButton::hoverToggle, 2, "poL1");
    expectScript(MFButton::oneShot, 2, "L1");
}

// A one-shot button is taken back by its bound float at the next idle.
TEST(Button, OneShotFallsBackToItsFloat) {
    ButtonFixture oneShot(MFButton::oneShot);
    MFRelaxed<float> bound = 0.0f;
    oneShot.button->bind(&bound);
    oneShot.click();
    EXPECT_EQ(oneShot.button->getValue(), 1.0f);
    oneShot.idle();
    EXPECT_EQ(oneShot.button->getValue(), 0.0f);
}

// A right click opens the learn menu with the button's tag and sends no value; mode 8 opens
// its own menu beneath itself instead, which takes precedence over a learn menu.
TEST(Button, RightClickOpensTheLearnMenuOrTheMenuBeneath) {
    for (int32_t mode : {MFButton::toggle, MFButton::menu}) {
        ButtonFixture f(mode);
        auto* menu = new ModalProbe(f.frame.get());
        auto* learn = new ModalProbe(f.frame.get());
        f.frame->addView(menu);
        f.frame->addView(learn);
        if (mode == MFButton::menu)
            f.button->setMenu(menu);
        f.button->setLearnMenu(learn);
        f.press(CPoint(15, 15), cbutton::right);
        ModalProbe* opened = mode == MFButton::menu ? menu : learn;
        ASSERT_EQ(opened->opened.size(), 1u) << "mode " << mode;
        EXPECT_EQ((opened == menu ? learn : menu)->opened.size(), 0u) << "mode " << mode;
        if (mode == MFButton::menu)
            EXPECT_EQ(menu->opened[0].where, CPoint(10, 20));
        else
            EXPECT_EQ(learn->opened[0].tag, 7);
        EXPECT_TRUE(f.listener.values.empty()) << "mode " << mode;
    }
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
