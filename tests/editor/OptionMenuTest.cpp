// The option menu: preset browsers on real folders (the user's and the factory's), the open
// panel's geometry in the frame, its modal mouse handling and the stepping through lines.
#include "PluginEditorRig.h"

#include "editor/controls/MFButton.h"
#include "editor/controls/MFOptionMenu.h"
#include "editor/controls/MFScrollbarY.h"
#include "editor/toolkit/CFontDesc.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

using namespace editortest;
namespace fs = std::filesystem;

namespace {
constexpr int32_t browserStyle = 456; // the effect browsers: save, header, external name
constexpr int32_t mainStyle = 488;    // the main browser: the same and sub-folders

struct MenuFixture : FrameFixture {
    explicit MenuFixture(CRect frameSize = CRect(0, 0, 300, 200)) : FrameFixture(frameSize) {
        frame->setFont(&font);
    }
    // A menu in the frame, reporting to the fixture's listener.
    MFOptionMenu* addMenu(CRect rect, int32_t style, int32_t tag = 131) {
        auto* menu = new MFOptionMenu(rect, &listener, tag, frame.get(), nullptr, nullptr, style);
        menu->setTextSize(15);
        frame->addView(menu);
        return menu;
    }
    std::vector<std::string> titles(const MFOptionMenu& menu) const {
        std::vector<std::string> out;
        for (int32_t i = 0; i < menu.getNbEntries(); ++i) {
            std::string text;
            menu.getEntry(i, text);
            out.push_back(text);
        }
        return out;
    }
    CFontDesc font{"Arial", 12};
};
} // namespace

// An empty folder leaves the fixed lines; the header can be neither chosen nor stepped onto
// by a press, and the save line answers with value 0.
TEST(OptionMenu, EmptyFolderShowsTheFixedLinesAndTheHeaderCannotBeChosen) {
    TempFolder folder;
    MenuFixture f;
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 140, 25), browserStyle);
    menu->fillPresets(folder.path().c_str(), "srb");
    EXPECT_EQ(f.titles(*menu), (std::vector<std::string>{"Save Preset", "--Presets--"}));

    f.click(CPoint(20, 15));
    ASSERT_TRUE(menu->isOpen());
    const CPoint header = centre(menu->lineRect(1));
    f.click(header);
    EXPECT_TRUE(menu->isOpen()) << "a press on the header keeps the menu open";
    EXPECT_TRUE(f.listener.values.empty());

    const CPoint save = centre(menu->lineRect(0));
    f.click(save);
    EXPECT_FALSE(menu->isOpen());
    ASSERT_EQ(f.listener.values.size(), 1u);
    EXPECT_EQ(f.listener.values[0], 0.0f);
    EXPECT_EQ(menu->chosenFixedLine(), MFOptionMenu::FixedLine::savePreset);

    // A folder that does not exist reads as empty.
    menu->fillPresets((folder.path() + "missing/").c_str(), "srb");
    EXPECT_EQ(menu->getNbEntries(), 2);
}

// Files of other kinds are left out, names lose their extension and come in the library's
// order (case folded), and sub-folders come first as sub-menus.
TEST(OptionMenu, BrowserListsSortedFilesAndSubFolders) {
    TempFolder folder;
    for (const char* name :
         {"b.srb", "A.srb", "c.srb", "notes.txt", "d.srb.bak", "Sub/x.srb", "Empty/readme"})
        folder.file(name);
    MenuFixture f;
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 140, 25), mainStyle);
    menu->fillPresets(folder.path().c_str(), "srb");
    EXPECT_EQ(f.titles(*menu), (std::vector<std::string>{"Save Preset", "--Presets--", "Empty",
                                                         "Sub", "A", "b", "c"}));
    ASSERT_NE(menu->getSubMenu(3), nullptr);
    EXPECT_EQ(menu->getSubMenu(3)->getNbEntries(), 1);
    EXPECT_EQ(menu->getSubMenu(3)->getStyle() & 0x3009, 0x3009);
    EXPECT_EQ(menu->getSubMenu(2)->getNbEntries(), 0) << "a folder without presets";
    EXPECT_EQ(menu->findEntry("c"), 6);
    EXPECT_EQ(menu->findEntry("notes"), -1);
}

// The 1025th line is refused; the 1024 before it stay as they were.
TEST(OptionMenu, LineLimit) {
    MenuFixture f;
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 60, 25), 0);
    for (int i = 0; i < 1024; ++i)
        ASSERT_EQ(menu->addEntry(std::to_string(i).c_str()), 1) << i;
    EXPECT_EQ(menu->addEntry("one too many"), 0);
    EXPECT_EQ(menu->addEntry("one too many", 0), 0);
    const std::vector<std::string> lines = f.titles(*menu);
    ASSERT_EQ(lines.size(), 1024u);
    EXPECT_EQ(lines.front(), "0");
    EXPECT_EQ(lines.back(), "1023");
}

// A panel opened near the right edge moves left until it is whole, two pixels in from the
// edge; near the bottom it moves up.
TEST(OptionMenu, PanelNearTheEdgesMovesInside) {
    MenuFixture f(CRect(0, 0, 300, 200));
    MFOptionMenu* menu = f.addMenu(CRect(280, 170, 300, 185), 0);
    menu->setPanelWidth(120);
    for (const char* line : {"one", "two", "three"})
        menu->addEntry(line);
    menu->openModal(0, nullptr, 131);
    const CRect panel = menu->getOpenRect();
    EXPECT_EQ(panel.width(), 120);
    EXPECT_EQ(panel.height(), 3 * 15 + 4);
    EXPECT_EQ(panel.right, 298);
    EXPECT_EQ(panel.bottom, 198);
    EXPECT_FALSE(menu->isScrollBarShown());

    // Opened for a control at a point, it starts one pixel right of it when there is room.
    menu->closeModal();
    const CPoint where(40, 30);
    menu->openModal(2, &where, 7);
    EXPECT_EQ(menu->getOpenRect().left, 41);
    EXPECT_EQ(menu->getOpenRect().top, 30);
    EXPECT_EQ(menu->getLearnTag(), 7);
}

// A list taller than the frame fills its height and gets a scroll bar beside the lines;
// scrolled to the end, the last line sits at the bottom and a press there chooses it.
TEST(OptionMenu, LongListScrollsToItsLastLine) {
    MenuFixture f(CRect(0, 0, 300, 200));
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 100, 25), 0);
    menu->setPanelWidth(100);
    for (int i = 0; i < 100; ++i)
        menu->addEntry(("line " + std::to_string(i)).c_str());
    menu->openModal(0, nullptr, 131);
    ASSERT_TRUE(menu->isScrollBarShown());
    EXPECT_EQ(menu->getOpenRect().top, 2);
    EXPECT_EQ(menu->getOpenRect().bottom, 198);
    EXPECT_EQ(menu->getOpenRect().width(), 100 + MFScrollbarY::barWidth);
    const CRect bar = menu->getScrollBar()->getViewSize();
    EXPECT_EQ(bar.right, menu->getOpenRect().right - 2);
    EXPECT_EQ(bar.left, menu->getOpenRect().right - 13);
    EXPECT_EQ(bar.top, menu->getOpenRect().top + 19);
    EXPECT_EQ(menu->firstShownLine(), 0);

    // Dragging the bar: 0.005 a pixel, so 200 pixels reach the end.
    f.press(centre(menu->getScrollBar()->thumbRect()));
    f.move(centre(menu->getScrollBar()->thumbRect()) + CPoint(0, 100));
    EXPECT_NEAR(menu->getScrollPos(), 0.5f, 1e-6f);
    f.move(CPoint(50, 400));
    f.release(CPoint(50, 400));
    EXPECT_EQ(menu->getScrollPos(), 1.0f);
    EXPECT_TRUE(menu->isOpen());
    EXPECT_TRUE(f.listener.values.empty());

    const int32_t rows = menu->visibleRows();
    EXPECT_EQ(menu->firstShownLine(), 100 - rows);
    const CRect lastLine = menu->lineRect(99);
    EXPECT_LE(lastLine.bottom, menu->getListRect().bottom);
    EXPECT_GT(lastLine.bottom + 15, menu->getListRect().bottom - 2) << "no room for another line";
    const CPoint onLast = centre(lastLine);
    EXPECT_EQ(menu->lineAt(onLast), 99);
    f.click(onLast);
    ASSERT_EQ(f.listener.values.size(), 1u);
    EXPECT_EQ(f.listener.values[0], 99.0f);
}

// A press outside the open panel closes it without a choice and reaches nothing beneath.
TEST(OptionMenu, PressOutsideClosesAndIsNotPassedOn) {
    MenuFixture f;
    RecordingListener beneath;
    auto* button = new MFButton(CRect(200, 150, 240, 170), &beneath, 9, f.frame.get(), nullptr,
                                MFButton::toggle);
    f.frame->addView(button);
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 80, 25), 0);
    for (const char* line : {"one", "two"})
        menu->addEntry(line);
    menu->setValue(1.0f);
    f.click(CPoint(20, 15));
    ASSERT_EQ(f.frame->getModalControl(), menu);

    f.click(CPoint(220, 160));
    EXPECT_FALSE(menu->isOpen());
    EXPECT_EQ(f.frame->getModalControl(), nullptr);
    EXPECT_TRUE(beneath.values.empty()) << "the press must not reach the button";
    EXPECT_TRUE(f.listener.values.empty());
    EXPECT_EQ(menu->getValue(), 1.0f);

    // Closed, the same press reaches the button.
    f.click(CPoint(220, 160));
    EXPECT_EQ(beneath.values.size(), 1u);
}

// Press on the caption, drag to a line, release: that line is chosen. A release where the
// press opened the panel chooses nothing; the panel stays for a click.
TEST(OptionMenu, PressDragReleaseChooses) {
    MenuFixture f;
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 80, 25), 0);
    menu->setOpenOffset(0, 15); // below the caption
    for (const char* line : {"one", "two", "three", "four"})
        menu->addEntry(line);
    f.press(CPoint(20, 15));
    f.release(CPoint(21, 16));
    EXPECT_TRUE(menu->isOpen());
    EXPECT_TRUE(f.listener.values.empty());
    menu->closeModal();

    f.press(CPoint(20, 15));
    ASSERT_TRUE(menu->isOpen());
    EXPECT_EQ(menu->getOpenRect().top, 25);
    const CPoint third = centre(menu->lineRect(2));
    f.move(centre(menu->lineRect(1)));
    EXPECT_EQ(menu->getHotLine(), 1);
    f.move(third);
    EXPECT_EQ(menu->getHotLine(), 2);
    f.release(third);
    EXPECT_FALSE(menu->isOpen());
    ASSERT_EQ(f.listener.values.size(), 1u);
    EXPECT_EQ(f.listener.values[0], 2.0f);
    EXPECT_EQ(f.listener.tags[0], 131);
}

// A preset two folders deep, reached by hovering through the sub-menus, arrives whole at the
// listener of the top menu through getCurrentPath; a later file at the top is its own again.
TEST(OptionMenu, PresetChosenDeepInTheTreeArrivesAsAWholePath) {
    TempFolder folder;
    folder.file("Bass/Deep/wobble.cdz");
    folder.file("Bass/thump.cdz");
    folder.file("top.cdz");
    MenuFixture f(CRect(0, 0, 500, 300));
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 140, 28), mainStyle, 117);
    menu->setTextSize(17);
    menu->setOpenOffset(0, 18);
    menu->fillPresets(folder.root.string().c_str(), "cdz"); // the separator is added
    EXPECT_EQ(menu->getFolder(), folder.path());
    ASSERT_EQ(f.titles(*menu),
              (std::vector<std::string>{"Save Preset", "--Presets--", "Bass", "top"}));

    f.click(CPoint(20, 15));
    f.move(centre(menu->lineRect(2)));
    MFOptionMenu* bass = menu->getOpenSubMenu();
    ASSERT_NE(bass, nullptr);
    EXPECT_GE(bass->getOpenRect().left, menu->getOpenRect().right - 1);
    ASSERT_EQ(bass->findEntry("Deep"), 0);
    f.move(centre(bass->lineRect(0)));
    MFOptionMenu* deep = bass->getOpenSubMenu();
    ASSERT_NE(deep, nullptr);
    const CPoint wobble = centre(deep->lineRect(0));
    f.move(wobble);
    EXPECT_EQ(deep->getHotLine(), 0);
    EXPECT_EQ(menu->getOpenSubMenu(), bass) << "the path's sub-menus stay open";
    f.click(wobble);
    EXPECT_FALSE(menu->isOpen());
    ASSERT_EQ(f.listener.values.size(), 1u);
    EXPECT_EQ(f.listener.tags[0], 117);
    EXPECT_EQ(menu->getValue(), 2.0f) << "the line of the sub-menu";
    EXPECT_EQ(menu->chosenFixedLine(), MFOptionMenu::FixedLine::none);
    std::string chosen;
    ASSERT_TRUE(menu->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, folder.path() + "Bass/Deep/wobble.cdz");

    // Moving onto a plain line closes the sub-menu; that file is the top menu's own.
    f.click(CPoint(20, 15));
    f.move(centre(menu->lineRect(2)));
    EXPECT_NE(menu->getOpenSubMenu(), nullptr);
    const CPoint top = centre(menu->lineRect(3));
    f.move(top);
    EXPECT_EQ(menu->getOpenSubMenu(), nullptr);
    f.click(top);
    ASSERT_TRUE(menu->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, folder.path() + "top.cdz");
}

// The step buttons inside a menu act at their release: past the last line the value wraps to
// the number of save and load lines (here the header's index), below 0 to the last line.
TEST(OptionMenu, StepCommandsWrap) {
    TempFolder folder;
    folder.file("a.srb");
    folder.file("b.srb");
    MenuFixture f;
    const int32_t stepStyle = 0x8 | 0x80 | 0x100; // save and header, no external name
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 140, 25), stepStyle);
    menu->fillPresets(folder.path().c_str(), "srb");
    ASSERT_EQ(menu->getNbEntries(), 4);
    MFControl next(CRect(), nullptr, MFOptionMenu::nextTag, f.frame.get());
    MFControl previous(CRect(), nullptr, MFOptionMenu::previousTag, f.frame.get());
    auto step = [&](MFControl& button) {
        button.setValue(1.0f);
        menu->valueChanged(&button); // the press does nothing
        button.setValue(0.0f);
        menu->valueChanged(&button);
    };
    menu->setValue(3.0f);
    step(next);
    ASSERT_EQ(f.listener.values.size(), 1u);
    EXPECT_EQ(f.listener.values[0], 1.0f) << "one save line: back to index 1";
    menu->setValue(0.0f);
    step(previous);
    ASSERT_EQ(f.listener.values.size(), 2u);
    EXPECT_EQ(f.listener.values[1], 3.0f);

    // With load as well, the wrap lands on index 2.
    const int32_t withLoad = stepStyle | 0x800;
    MFOptionMenu* second = f.addMenu(CRect(10, 40, 140, 55), withLoad);
    second->fillPresets(folder.path().c_str(), "srb");
    ASSERT_EQ(second->getNbEntries(), 5);
    second->setValue(4.0f);
    next.setValue(0.0f);
    second->valueChanged(&next);
    EXPECT_EQ(f.listener.values.back(), 2.0f);

    // A browser that shows the plug-in's name does not step this way.
    MFOptionMenu* named = f.addMenu(CRect(10, 70, 140, 85), browserStyle);
    named->fillPresets(folder.path().c_str(), "srb");
    named->setValue(3.0f);
    const std::size_t before = f.listener.values.size();
    named->valueChanged(&next);
    EXPECT_EQ(f.listener.values.size(), before);
    EXPECT_EQ(named->getValue(), 3.0f);
}

// Stepping by name walks the files across sub-menus and wraps; a name that is not there
// starts at the first file (or the last, backwards).
TEST(OptionMenu, SelectNeighbourWalksAcrossSubMenus) {
    TempFolder folder;
    for (const char* name : {"Pads/p1.cdz", "Pads/p2.cdz", "a.cdz"})
        folder.file(name);
    MenuFixture f;
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 140, 25), mainStyle);
    menu->fillPresets(folder.path().c_str(), "cdz");
    std::string name;
    menu->setExternalName(&name);
    // The current name, the direction, and the file that follows.
    const std::tuple<const char*, bool, const char*> steps[] = {
        {"Empty", true, "Pads/p1.cdz"}, {"p1", true, "Pads/p2.cdz"}, {"p2", true, "a.cdz"},
        {"a", true, "Pads/p1.cdz"},     {"p1", false, "a.cdz"},      {"Empty", false, "a.cdz"}};
    for (const auto& [current, forward, expected] : steps) {
        SCOPED_TRACE(std::string(current) + (forward ? " forwards" : " backwards"));
        name = current;
        ASSERT_TRUE(menu->selectNeighbour(forward));
        std::string chosen;
        menu->getCurrentPath(chosen, "cdz");
        EXPECT_EQ(chosen, folder.path() + expected);
    }

    MFOptionMenu* empty = f.addMenu(CRect(10, 40, 140, 55), browserStyle);
    empty->fillPresets((folder.path() + "none/").c_str(), "cdz");
    EXPECT_FALSE(empty->selectNeighbour(true));
}

// A row-mode list shows the row of its bound line, opens as its own picture, and the
// highlight row follows the mouse.
TEST(OptionMenu, RowModeListShowsItsRowAndOpensAsThePicture) {
    MenuFixture f;
    CBitmap* rows = makeNumberedStrip(77, 15, 6);
    CBitmap* highlight = makeStrip(77, 15,
                                   {argb(250, 0, 0), argb(250, 0, 0), argb(250, 0, 0),
                                    argb(250, 0, 0), argb(250, 0, 0), argb(250, 0, 0)});
    auto* menu = new MFOptionMenu(CRect(12, 100, 89, 115), &f.listener, 140, f.frame.get(), rows,
                                  rows, MFOptionMenu::styleBitmapRows, highlight);
    rows->forget();
    highlight->forget();
    f.frame->addView(menu);
    for (int i = 0; i < 6; ++i)
        menu->addEntry("entry");
    constexpr float sixLines = 0.16667667f;
    MFRelaxed<float> bound{4.0f * sixLines};
    menu->bind(&bound, sixLines);
    f.idle();
    EXPECT_EQ(menu->getValue(), 4.0f);
    EXPECT_EQ(numberedRow(f.pixel(40, 107)), 4);

    menu->openModal(0, nullptr, 140);
    EXPECT_EQ(menu->getOpenRect(), CRect(12, 100, 89, 190));
    f.move(CPoint(40, 100 + 2 * 15 + 7));
    f.idle();
    EXPECT_EQ(f.pixel(40, 137), argb(250, 0, 0)) << "the hot line's highlight";
    EXPECT_EQ(numberedRow(f.pixel(40, 152)), 3) << "the list picture beneath";
    f.click(CPoint(40, 152));
    EXPECT_EQ(f.listener.values.back(), 3.0f);
    f.idle();
    // The bound float has not followed (no plug-in here): the idle brings the row back.
    EXPECT_EQ(menu->getValue(), 4.0f);
}

// A browser over the user's folder and the read-only factory content shows one tree, the
// user's file winning over a factory file of the same name, and each chosen line arrives as
// the path of the file it stands for, in whichever folder that lies.
TEST(OptionMenu, FactoryAndUserFilesShowAsOneTreeAndOpenFromTheirOwnFolder) {
    TempFolder roots;
    for (const char* name :
         {"factory/Grooves/Dub Echo.cdz", "factory/Grooves/Half Time.cdz", "factory/Break Mix.cdz",
          "user/Grooves/Half Time.cdz", "user/Mine/Sketch.cdz"})
        roots.file(name);
    const std::string factory = roots.path() + "factory/", user = roots.path() + "user/";
    MenuFixture f(CRect(0, 0, 500, 300));
    MFOptionMenu* menu = f.addMenu(CRect(10, 10, 140, 28), mainStyle, 117);
    menu->setFactoryFolder(factory.c_str());
    menu->fillPresets(user.c_str(), "cdz");
    ASSERT_EQ(f.titles(*menu), (std::vector<std::string>{"Save Preset", "--Presets--", "Grooves",
                                                         "Mine", "Break Mix"}));
    std::string chosen;
    menu->setValue(4.0f);
    ASSERT_TRUE(menu->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, factory + "Break Mix.cdz");

    MFOptionMenu* grooves = menu->getSubMenu(2);
    ASSERT_NE(grooves, nullptr);
    ASSERT_EQ(f.titles(*grooves), (std::vector<std::string>{"Dub Echo", "Half Time"}));
    grooves->setValue(0.0f);
    ASSERT_TRUE(grooves->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, factory + "Grooves/Dub Echo.cdz");
    grooves->setValue(1.0f);
    ASSERT_TRUE(grooves->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, user + "Grooves/Half Time.cdz") << "the user's file wins";
}
