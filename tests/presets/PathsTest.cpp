#include "PresetTestSupport.h"

#include "presets/MFPaths.h"
#include "presets/MFPresetCategory.h"

#include <gtest/gtest.h>

using presettest::ScopedEnv;

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
