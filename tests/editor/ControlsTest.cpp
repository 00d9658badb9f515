#include "PluginEditorRig.h"

#include "editor/controls/MFButton.h"
#include "editor/controls/MFDisplay.h"
#include "editor/controls/MFImage.h"
#include "editor/controls/MFLevelMeterPic.h"
#include "editor/controls/MFLocalLink.h"
#include "editor/controls/MFMouseArea.h"
#include "editor/controls/MFViewContainer.h"
#include "editor/controls/MFWebLink.h"
#include "platform/MFDesktopOpen.h"
#include "support/ScopedEnv.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

using namespace editortest;

namespace {
constexpr uint32_t black = argb(0, 0, 0);
constexpr uint32_t white = argb(255, 255, 255);

std::string text(const MFDisplay& display) {
    char buffer[MFDisplay::textCapacity];
    display.formatText(buffer);
    return buffer;
}
} // namespace

// A control whose page bit is clear neither draws nor takes the press, which reaches the
// control beneath; setting the bit brings it back.
TEST(Controls, ClearPageBitHidesAndPassesThePress) {
    FrameFixture f;
    MFPageWord pages[4] = {1u, 0u, 0u, 0u};
    CBitmap* whiteStrip = makeStrip(20, 10, {white, white});
    auto* beneath = new MFButton(CRect(10, 10, 30, 20), &f.listener, 1, f.frame.get(), nullptr,
                                 MFButton::momentary);
    auto* hidden = new MFButton(CRect(10, 10, 30, 20), &f.listener, 2, f.frame.get(), whiteStrip,
                                MFButton::momentary);
    whiteStrip->forget();
    beneath->setPage(pages, 0);
    hidden->setPage(pages, 40);
    f.frame->addView(beneath);
    f.frame->addView(hidden);
    f.idle();
    EXPECT_NE(f.pixel(15, 15), white);
    EXPECT_EQ(hidden->onMouseDown(CPoint(15, 15), cbutton::left), mouseNotHandled);
    f.click(CPoint(15, 15));
    EXPECT_EQ(f.listener.tags, (std::vector<int32_t>{1, 1}));

    pages[1].store(1u << 8); // bit 40
    f.frame->forceRedraw();
    f.idle();
    EXPECT_EQ(f.pixel(15, 15), white);
    f.press(CPoint(15, 15));
    EXPECT_EQ(f.listener.tags.back(), 2);
}

// Hover links show after hintDelayTicks idles and hide hintHoldTicks idles after the
// mouse leaves; a press shows them at once.
TEST(Controls, HoverCountdowns) {
    FrameFixture f;
    auto* host = new MFButton(CRect(10, 10, 30, 20), &f.listener, 1, f.frame.get(), nullptr);
    auto* link = new MFButton(CRect(50, 10, 70, 20), &f.listener, 2, f.frame.get(), nullptr);
    link->setVisible(false);
    host->addHoverShow(link);
    f.frame->addView(host);
    f.frame->addView(link);
    f.move(CPoint(15, 15), 0);
    f.idle();
    EXPECT_FALSE(link->isVisible());
    f.idle();
    EXPECT_TRUE(link->isVisible());

    f.move(CPoint(150, 150), 0);
    for (int i = 0; i < 4; ++i) {
        f.idle();
        EXPECT_TRUE(link->isVisible()) << "idle " << i + 1;
    }
    f.idle();
    EXPECT_FALSE(link->isVisible());

    f.press(CPoint(15, 15));
    EXPECT_TRUE(link->isVisible());
    f.release(CPoint(15, 15));
    EXPECT_FALSE(link->isVisible());
}

// A meter at a constant level shows level and peak equal; after silence it falls by 0.055
// at each draw, one draw per idle.
TEST(Controls, LevelMeterFall) {
    FrameFixture f;
    MFRelaxed<float> peakSample = 1.0f;
    auto* meter = new MFLevelMeterPic(CRect(10, 10, 12, 111), nullptr, 560, f.frame.get(), nullptr);
    meter->bind(&peakSample);
    f.frame->addView(meter);
    f.idle();
    f.idle();
    EXPECT_EQ(meter->getLevel(), 1.0f);
    EXPECT_EQ(meter->getPeak(), 1.0f);
    EXPECT_EQ(meter->getFrameNow(), 34); // 35 rows: full scale is the last

    peakSample = 0.0f;
    for (int draw = 1; draw <= 10; ++draw) {
        f.idle();
        EXPECT_NEAR(meter->getPeak(), 1.0f - 0.055f * float(draw), 1e-5f) << "draw " << draw;
        EXPECT_EQ(meter->getFrameNow(), int((1.0f - 0.055f * float(draw)) * 35.0f));
    }
    // It falls until the bottom row shows; what is left below one row is not drawn.
    for (int i = 0; i < 20; ++i)
        f.idle();
    EXPECT_EQ(meter->getFrameNow(), 0);
    EXPECT_LT(meter->getPeak(), 1.0f / 35.0f);
    // Above full scale the level is the square root, capped, and the row stays in the strip.
    peakSample = 4.0f;
    f.idle();
    EXPECT_FLOAT_EQ(meter->getLevel(), 1.414f);
    EXPECT_EQ(meter->getFrameNow(), 34);
}

// An image moves by the whole part of its bound floats, redrawing only where it left and
// where it arrived.
TEST(Controls, ImageMovesWithItsFloats) {
    FrameFixture f(CRect(0, 0, 400, 100));
    CBitmap* bar = makeStrip(4, 20, {white});
    auto* image = new MFImage(CRect(10, 10, 14, 30), nullptr, 527, f.frame.get(), bar);
    bar->forget();
    MFRelaxed<float> x = 0.0f;
    image->bindPosition(&x, nullptr);
    f.frame->addView(image);
    f.idle();
    f.window.presented.clear();

    x = 100.9f;
    f.idle();
    EXPECT_EQ(image->getViewSize(), CRect(110, 10, 114, 30));
    EXPECT_EQ(f.pixel(110, 15), white);
    EXPECT_EQ(f.pixel(10, 15), black);
    CRect covered;
    for (const CRect& r : f.window.presented)
        covered = covered.unionWith(r);
    EXPECT_EQ(f.window.presented.size(), 2u); // two separate strips
    EXPECT_EQ(covered, CRect(10, 10, 114, 30));

    f.window.presented.clear();
    x = 100.2f; // same whole part
    f.idle();
    EXPECT_TRUE(f.window.presented.empty());
    // An image takes no press unless told to.
    EXPECT_EQ(f.frame->getViewAt(CPoint(111, 15), cbutton::left), nullptr);
}

// Texts: the formatter with the prefix, the plain format, integers, the suffix, and the
// zero text below the threshold; and the rows of a picture display.
TEST(Controls, DisplayTextAndPictureRows) {
    FrameFixture f;
    MFRelaxed<float> bound = 0.5f;
    MFDisplay display(CRect(0, 0, 39, 15), nullptr, 1, f.frame.get());
    display.bind(&bound);
    EXPECT_EQ(text(display), "0.500");
    display.setDigits(5, 1);
    EXPECT_EQ(text(display), "  0.5");
    display.setPrefix("gain");
    EXPECT_EQ(text(display), "gain   0.5");
    display.setFormatter(formatPercent);
    EXPECT_EQ(text(display), "gain50.00 %");
    display.setPrefix("");
    display.setSuffix(" wet");
    EXPECT_EQ(text(display), "50.00 % wet");
    display.setFormatter(nullptr);
    display.setSuffix("");
    display.setInteger(true);
    bound = 7.9f;
    EXPECT_EQ(text(display), "7");
    display.setZeroText("off", 1.0f);
    bound = 0.5f;
    EXPECT_EQ(text(display), "off");

    struct Source : MFTextSourceInterface {
        const char* getDisplayText() override { return "1/16"; }
    } source;
    display.setZeroText("", MFDisplay::defaultZeroThreshold);
    display.setTextSource(&source);
    display.setSuffix(" T");
    EXPECT_EQ(text(display), "1/16 T");

    // Picture rows: normalised times frameCount - 1 truncated, or rounded, or the raw float.
    display.setFrames(15, 5);
    bound = 0.4f; // 1.6
    EXPECT_EQ(display.frameRow(), 1);
    display.setRoundBound(true);
    EXPECT_EQ(display.frameRow(), 2);
    display.setRawBound(true);
    bound = 3.7f;
    EXPECT_EQ(display.frameRow(), 3);
    bound = 99.0f;
    EXPECT_EQ(display.frameRow(), 4);
    bound = -1.0f;
    EXPECT_EQ(display.frameRow(), 0);
}

// A picture display redraws when its row would change, not for every change of its float;
// a text display redraws when its value changes.
TEST(Controls, DisplayRedrawsOnlyOnChange) {
    FrameFixture f;
    MFRelaxed<float> bound = 0.0f;
    CBitmap* strip = makeNumberedStrip(39, 15, 5);
    auto* picture = new MFDisplay(CRect(10, 10, 49, 25), nullptr, 500, f.frame.get(), strip);
    strip->forget();
    picture->bind(&bound);
    picture->setFrames(15, 5);
    picture->setShowText(false);
    f.frame->addView(picture);
    f.idle();
    f.window.presented.clear();
    bound = 0.1f; // row 0 still
    f.idle();
    EXPECT_TRUE(f.window.presented.empty());
    bound = 0.5f; // row 2
    f.idle();
    EXPECT_EQ(f.window.presented.size(), 1u);
    EXPECT_EQ(numberedRow(f.pixel(20, 15)), 2);
}

// The six floats of a mouse area: buttons, unclipped position at the press, clipped
// while dragging, keys cleared at the release.
TEST(Controls, MouseAreaState) {
    FrameFixture f;
    auto* area = new MFMouseArea(CRect(100, 50, 200, 70), &f.listener, 321, f.frame.get());
    f.frame->addView(area);
    f.press(CPoint(125, 60), cbutton::left | cbutton::shift);
    EXPECT_EQ(area->get(MFMouseArea::fieldLeft), 1.0f);
    EXPECT_EQ(area->get(MFMouseArea::fieldRight), 0.0f);
    EXPECT_FLOAT_EQ(area->get(MFMouseArea::fieldX), 0.25f);
    EXPECT_FLOAT_EQ(area->get(MFMouseArea::fieldY), 0.5f);
    EXPECT_EQ(area->get(MFMouseArea::fieldShift), 1.0f);
    EXPECT_FLOAT_EQ(area->getValue(), 0.25f);
    f.move(CPoint(260, 40), cbutton::left);
    EXPECT_EQ(area->get(MFMouseArea::fieldX), 1.0f);
    EXPECT_EQ(area->get(MFMouseArea::fieldY), 0.0f);
    EXPECT_EQ(area->get(MFMouseArea::fieldShift), 0.0f);
    f.release(CPoint(260, 40));
    EXPECT_EQ(area->get(MFMouseArea::fieldLeft), 0.0f);
    EXPECT_EQ(area->get(MFMouseArea::fieldX), 1.0f);
    EXPECT_EQ(f.listener.values.size(), 3u);
    EXPECT_EQ(f.editor.begins, std::vector<int32_t>{321});
    EXPECT_EQ(f.editor.ends, std::vector<int32_t>{321});
}

// A panel opened as modal in mode 3: it joins the frame on top, takes the presses on its
// children in its own coordinates, and a press outside closes it and gives the modal
// place back.
TEST(Controls, ModalPanelClosesOnAPressOutside) {
    FrameFixture f;
    auto* under = new MFButton(CRect(0, 0, 200, 200), &f.listener, 1, f.frame.get(), nullptr);
    f.frame->addView(under);
    auto* previous = new ModalProbe(f.frame.get());
    f.frame->addView(previous);
    f.frame->setModalControl(previous);

    auto panel =
        std::make_unique<MFViewContainer>(CRect(50, 50, 150, 150), &f.listener, 99, f.frame.get());
    auto* child = new MFButton(CRect(10, 10, 30, 30), &f.listener, 507, f.frame.get(), nullptr);
    panel->addView(child);
    panel->openModal(MFViewContainer::modeClosesOutside, nullptr, 0);
    EXPECT_EQ(f.frame->getModalControl(), panel.get());
    EXPECT_TRUE(f.frame->isChild(panel.get()));

    f.click(CPoint(65, 65));
    EXPECT_EQ(f.listener.tags, (std::vector<int32_t>{507, 507}));

    EXPECT_EQ(f.frame->onMouseDown(CPoint(5, 5), cbutton::left), mouseHandledNoMoves);
    EXPECT_EQ(f.frame->getModalControl(), previous);
    EXPECT_FALSE(f.frame->isChild(panel.get()));
    EXPECT_FALSE(child->isVisible());
    EXPECT_EQ(f.listener.tags.size(), 2u); // the closing press reached nothing beneath
    f.frame->setModalControl(nullptr);

    // Opened at a point near the edge, it is pushed back inside the frame.
    const CPoint corner(180, 190);
    panel->openModal(MFViewContainer::modeClosesOutside, &corner, 0);
    EXPECT_EQ(panel->getViewSize(), CRect(100, 100, 200, 200));
    EXPECT_TRUE(child->isVisible());
    panel->closeModal();
}

// The drop shadow darkens a band around the panel, darkest next to it.
TEST(Controls, DropShadowBand) {
    FrameFixture f;
    CBitmap* whiteGround = makeStrip(200, 200, {white});
    f.frame->setBackground(whiteGround);
    whiteGround->forget();
    auto* panel = new MFViewContainer(CRect(50, 50, 100, 100), nullptr, 1, f.frame.get());
    panel->setControlFlags(MFControl::flagConstructed | MFControl::flagFill |
                           MFControl::flagShadow);
    f.frame->addView(panel);
    f.idle();
    auto redOf = [&](int x) { return int((f.pixel(x, 75) >> 16) & 0xFF); };
    // Alpha 128 of black over white leaves 127; each ring out is 20 lighter in alpha.
    // The panel ends before x 100, so the first ring is x 100.
    EXPECT_NEAR(redOf(100), 127, 1);
    EXPECT_NEAR(redOf(101), 255 - 108, 1);
    EXPECT_NEAR(redOf(104), 255 - 48, 1);
    EXPECT_EQ(redOf(105), 255);
    EXPECT_EQ(f.pixel(75, 75), black); // the fill
}

// The desktop handler gets the target as one argument, spaces and shell characters and
// all, and the call does not wait for it. The manual is the PDF unless the folder holds
// the HTML one instead.
TEST(Controls, LinksOpenWithoutAShellAndFindTheManual) {
    const TempFolder folder;
    const std::filesystem::path log = folder.root / "args";
    std::ofstream(folder.root / "xdg-open")
        << "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" > '" << log.string() << ".tmp'\nmv '"
        << log.string() << ".tmp' '" << log.string() << "'\n";
    std::filesystem::permissions(folder.root / "xdg-open", std::filesystem::perms::owner_all);
    const char* target = "https://example.org/a b;touch x";
    {
        const ScopedEnv path("PATH", (folder.path() + ":" + std::getenv("PATH")).c_str());
        FrameFixture f;
        auto* link =
            new MFWebLink(CRect(0, 0, 61, 16), nullptr, 509, f.frame.get(), nullptr, target);
        f.frame->addView(link);
        f.press(CPoint(5, 5));
        EXPECT_TRUE(link->isPressed());
        f.release(CPoint(5, 5));
        for (int i = 0; i < 200 && !std::filesystem::exists(log); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::ifstream in(log);
    std::string count, argument;
    std::getline(in, count);
    std::getline(in, argument);
    EXPECT_EQ(count, "1");
    EXPECT_EQ(argument, target);
    EXPECT_FALSE(mfDesktopOpen(""));

    const TempFolder manual;
    const std::string at = manual.root.string();
    EXPECT_EQ(MFLocalLink::manualPath(at), at + "/Manual.pdf");
    manual.file("Manual.htm");
    EXPECT_EQ(MFLocalLink::manualPath(at + "/"), at + "/Manual.htm");
    manual.file("Manual.pdf");
    EXPECT_EQ(MFLocalLink::manualPath(at), at + "/Manual.pdf");
}

// The modal control takes every event in place of the tree and is drawn on top of it.
TEST(Controls, FrameRoutesToTheModalControl) {
    FrameFixture f;
    CBitmap* whiteStrip = makeStrip(40, 40, {white});
    auto* modal = new MFButton(CRect(10, 10, 50, 50), &f.listener, 2, f.frame.get(), whiteStrip);
    whiteStrip->forget();
    f.frame->addView(modal); // added first: beneath in the tree
    auto* cover = new MFButton(CRect(0, 0, 100, 100), &f.listener, 1, f.frame.get(), nullptr);
    f.frame->addView(cover);
    modal->openModal(1, nullptr, 0);
    f.idle();
    EXPECT_EQ(f.pixel(20, 20), white);
    f.click(CPoint(20, 20));
    EXPECT_EQ(f.listener.tags, (std::vector<int32_t>{2, 2}));
    modal->closeModal();
    f.press(CPoint(20, 20));
    EXPECT_EQ(f.listener.tags.back(), 1);
}
