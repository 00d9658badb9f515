#include "PresetTestSupport.h"

#include "presets/MFContentFolders.h"
#include "presets/MFPaths.h"
#include "presets/MFPresetCategory.h"

#include <gtest/gtest.h>

using presettest::ScopedEnv;
using presettest::TempFolder;
using presettest::writeText;

TEST(Paths, NamesAndFoldersAreCutAtTheRightSeparatorAndPoint) {
    std::string path = "/a/b", empty;
    EXPECT_TRUE(MFPaths::addTrailingSeparator(path));
    EXPECT_FALSE(MFPaths::addTrailingSeparator(path));
    EXPECT_EQ(path, "/a/b/");
    EXPECT_FALSE(MFPaths::addTrailingSeparator(empty));
    EXPECT_EQ(MFPaths::join("/a", "x.cdz"), "/a/x.cdz");
    EXPECT_EQ(MFPaths::join("", "x.cdz"), "x.cdz");
    EXPECT_EQ(MFPaths::folderOf("abc"), "");
    EXPECT_EQ(MFPaths::folderOf("/x.cdz"), "/");
    EXPECT_EQ(MFPaths::nameOf("/p/Presets/Bass.Drop.cdz"), "Bass.Drop");
    EXPECT_EQ(MFPaths::nameOf("/p/name..cdz"), "name.");
    EXPECT_EQ(MFPaths::nameOf("/p.d/noextension"), "noextension");
    EXPECT_EQ(MFPaths::parentFolderName("/p/Presets/Midi Programs/a.cdz"), "Midi Programs");
    EXPECT_EQ(MFPaths::parentFolderName("a.cdz"), "");
    EXPECT_EQ(MFPaths::parentFolderName("/a.cdz"), "");
}

TEST(Paths, XdgFoldersFollowTheEnvironmentAndIgnoreRelativeValues) {
    ScopedEnv home("HOME", "/home/musician");
    {
        ScopedEnv config("XDG_CONFIG_HOME", "/cfg");
        ScopedEnv data("XDG_DATA_HOME", "/dat/");
        EXPECT_EQ(MFPaths::configHome(), "/cfg/");
        EXPECT_EQ(MFPaths::defaultContentRoot("Cadenzoid"), "/dat/Maple Forge/Cadenzoid/");
    }
    ScopedEnv config("XDG_CONFIG_HOME", "relative/cfg");
    ScopedEnv data("XDG_DATA_HOME", nullptr);
    EXPECT_EQ(MFPaths::configHome(), "/home/musician/.config/");
    EXPECT_EQ(MFPaths::dataHome(), "/home/musician/.local/share/");
    ScopedEnv noHome("HOME", nullptr);
    EXPECT_EQ(MFPaths::defaultContentRoot("Cadenzoid"), "");
}

// Lookups go by category number, which differs from the list position for most effects.
TEST(PresetCategory, LookupsUseTheCategoryNumber) {
    const auto list = MFPresetCategory::makeList();
    ASSERT_EQ(list.size(), 15u);
    EXPECT_EQ(list[1].number, 14);
    EXPECT_EQ(MFPresetCategory::findByNumber(list, 2)->name, "Stretch");
    EXPECT_EQ(MFPresetCategory::findByNumber(list, 15), nullptr);
    // X-Loop and Loop share their files on purpose; unknown numbers get whole states.
    EXPECT_STREQ(MFPresetCategory::extensionFor(14), MFPresetCategory::extensionFor(1));
    EXPECT_STREQ(MFPresetCategory::extensionFor(99), "cdz");
}

TEST(ContentFolders, DataFoldersFollowXdgWithItsDefault) {
    {
        ScopedEnv dirs("XDG_DATA_DIRS", "/opt/a:relative/b::/usr/share");
        EXPECT_EQ(MFContentFolders::dataDirs(),
                  (std::vector<std::string>{"/opt/a/", "/usr/share/"}));
    }
    const std::vector<std::string> standard{"/usr/local/share/", "/usr/share/"};
    {
        ScopedEnv dirs("XDG_DATA_DIRS", "");
        EXPECT_EQ(MFContentFolders::dataDirs(), standard);
    }
    ScopedEnv dirs("XDG_DATA_DIRS", nullptr);
    EXPECT_EQ(MFContentFolders::dataDirs(), standard);
}

// The first data folder whose vendor folder holds presets wins; one without a "Presets"
// folder (a manual alone, a leftover) is passed over; then beside the plug-in, then the
// share folder of the plug-in's prefix.
TEST(ContentFolders, FactoryRootIsTheFirstFolderHoldingPresets) {
    TempFolder temp;
    temp.folder("empty/Maple Forge/Cadenzoid");
    temp.folder("first/Maple Forge/Cadenzoid/Presets");
    temp.folder("second/Maple Forge/Cadenzoid/Presets");
    temp.folder("prefix/lib/vst");
    const std::string list = temp.path("nothing") + ":" + temp.path("empty") + ":" +
                             temp.path("first") + ":" + temp.path("second");
    {
        ScopedEnv dirs("XDG_DATA_DIRS", list.c_str());
        EXPECT_EQ(MFContentFolders::findFactoryRoot("Cadenzoid", temp.path("prefix/lib/vst/")),
                  temp.path("first/Maple Forge/Cadenzoid/"));
        EXPECT_EQ(MFContentFolders::findFactoryRoot("Other", temp.path("prefix/lib/vst/")), "");
    }
    ScopedEnv dirs("XDG_DATA_DIRS", temp.path("empty").c_str());
    EXPECT_EQ(MFContentFolders::findFactoryRoot("Cadenzoid", ""), "");
    temp.folder("prefix/share/Maple Forge/Cadenzoid/Presets");
    EXPECT_EQ(MFContentFolders::findFactoryRoot("Cadenzoid", temp.path("prefix/lib/vst/")),
              temp.path("prefix/share/Maple Forge/Cadenzoid/"));
    temp.folder("prefix/lib/vst/Presets");
    EXPECT_EQ(MFContentFolders::findFactoryRoot("Cadenzoid", temp.path("prefix/lib/vst")),
              temp.path("prefix/lib/vst/"));
}

TEST(ContentFolders, ManualBesideThePlugInElseInTheFactoryContent) {
    TempFolder temp;
    const std::string module = temp.folder("vst");
    const std::string factory = temp.folder("share/Maple Forge/Cadenzoid");
    EXPECT_EQ(MFContentFolders::findManualFolder(module, factory), module);
    ASSERT_TRUE(writeText(factory + "Manual.htm", "<html></html>"));
    EXPECT_EQ(MFContentFolders::findManualFolder(module, factory), factory);
    EXPECT_EQ(MFContentFolders::findManualFolder(module, ""), module);
    ASSERT_TRUE(writeText(module + "Manual.pdf", "%PDF"));
    EXPECT_EQ(MFContentFolders::findManualFolder(module, factory), module);
}

TEST(ContentFolders, DefaultPresetIsTheUsersOwnElseTheFactorys) {
    TempFolder temp;
    const std::string user = temp.folder("user/Presets");
    const std::string factory = temp.folder("factory/Presets");
    EXPECT_EQ(MFContentFolders::defaultPresetPath(user, factory), factory + "default.cdz");
    EXPECT_EQ(MFContentFolders::defaultPresetPath(user, ""), user + "default.cdz");
    EXPECT_EQ(MFContentFolders::defaultPresetPath("", factory), factory + "default.cdz");
    ASSERT_TRUE(writeText(user + "default.cdz", "x"));
    EXPECT_EQ(MFContentFolders::defaultPresetPath(user, factory), user + "default.cdz");
}
