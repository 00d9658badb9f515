// A preset browser over the user's folder and the read-only factory content: one tree, the
// user's file winning over a factory file of the same name, and each chosen line arriving as
// the path of the file it stands for, in whichever folder that lies.
#include "EditorTestSupport.h"

#include "editor/controls/MFOptionMenu.h"
#include "editor/toolkit/CFontDesc.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using namespace editortest;

namespace {
constexpr int32_t mainStyle = 488; // save line, header, external name, sub-folders

struct Roots {
    Roots() {
        std::string pattern = (fs::temp_directory_path() / "browserroots-XXXXXX").string();
        base = mkdtemp(pattern.data());
    }
    ~Roots() {
        std::error_code ignored;
        fs::remove_all(base, ignored);
    }
    void file(const std::string& root, const std::string& relative) const {
        fs::create_directories((base / root / relative).parent_path());
        std::ofstream(base / root / relative) << "x";
    }
    std::string path(const std::string& root) const { return (base / root).string() + "/"; }
    fs::path base;
};

std::vector<std::string> titles(const MFOptionMenu& menu) {
    std::vector<std::string> out;
    for (int32_t i = 0; i < menu.getNbEntries(); ++i) {
        std::string text;
        menu.getEntry(i, text);
        out.push_back(text);
    }
    return out;
}
} // namespace

TEST(BrowserFactoryFolder, FactoryAndUserFilesShowAsOneTreeAndOpenFromTheirOwnFolder) {
    Roots roots;
    roots.file("factory", "Grooves/Dub Echo.cdz");
    roots.file("factory", "Grooves/Half Time.cdz");
    roots.file("factory", "Break Mix.cdz");
    roots.file("user", "Grooves/Half Time.cdz"); // the user's own, saved over the name
    roots.file("user", "Mine/Sketch.cdz");

    FrameFixture f(CRect(0, 0, 500, 300));
    CFontDesc font{"Arial", 12};
    f.frame->setFont(&font);
    auto* menu = new MFOptionMenu(CRect(10, 10, 140, 28), &f.listener, 117, f.frame.get(), nullptr,
                                  nullptr, mainStyle);
    f.frame->addView(menu);
    menu->setFactoryFolder(roots.path("factory").c_str());
    menu->fillPresets(roots.path("user").c_str(), "cdz");

    ASSERT_EQ(titles(*menu), (std::vector<std::string>{"Save Preset", "--Presets--", "Grooves",
                                                       "Mine", "Break Mix"}));
    std::string chosen;
    menu->setValue(4.0f);
    ASSERT_TRUE(menu->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, roots.path("factory") + "Break Mix.cdz");

    MFOptionMenu* grooves = nullptr;
    std::string title;
    for (int32_t i = 0; i < menu->getNbEntries(); ++i)
        if (menu->getEntry(i, title) && title == "Grooves")
            grooves = menu->getSubMenu(i);
    ASSERT_NE(grooves, nullptr);
    ASSERT_EQ(titles(*grooves), (std::vector<std::string>{"Dub Echo", "Half Time"}));
    grooves->setValue(0.0f);
    ASSERT_TRUE(grooves->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, roots.path("factory") + "Grooves/Dub Echo.cdz");
    grooves->setValue(1.0f);
    ASSERT_TRUE(grooves->getCurrentPath(chosen, "cdz"));
    EXPECT_EQ(chosen, roots.path("user") + "Grooves/Half Time.cdz") << "the user's file wins";
}
