#include "PresetTestSupport.h"

#include "presets/MFPaths.h"
#include "presets/MFPresetCategory.h"

#include <gtest/gtest.h>

using presettest::ScopedEnv;

TEST(Paths, TrailingSeparatorIsAddedOnceAndNeverToAnEmptyPath) {
    std::string path = "/a/b";
    EXPECT_TRUE(MFPaths::addTrailingSeparator(path));
    EXPECT_EQ(path, "/a/b/");
    EXPECT_FALSE(MFPaths::addTrailingSeparator(path));
    EXPECT_EQ(path, "/a/b/");
    std::string empty;
    EXPECT_FALSE(MFPaths::addTrailingSeparator(empty));
    EXPECT_EQ(empty, "");
    EXPECT_EQ(MFPaths::join("/a/", "x.cdz"), "/a/x.cdz");
    EXPECT_EQ(MFPaths::join("/a", "x.cdz"), "/a/x.cdz");
    EXPECT_EQ(MFPaths::join("", "x.cdz"), "x.cdz");
}

TEST(Paths, FolderNameAndParentAreCutAtTheRightSeparatorAndPoint) {
    EXPECT_EQ(MFPaths::folderOf("abc"), "");
    EXPECT_EQ(MFPaths::folderOf("/p/Presets/User/x.cdz"), "/p/Presets/User/");
    EXPECT_EQ(MFPaths::folderOf("/x.cdz"), "/");

    EXPECT_EQ(MFPaths::nameOf("/p/Presets/Bass.Drop.cdz"), "Bass.Drop");
    EXPECT_EQ(MFPaths::nameOf("/p/name..cdz"), "name.");
    EXPECT_EQ(MFPaths::nameOf("/p.d/noextension"), "noextension");
    EXPECT_EQ(MFPaths::nameOf("plain.cdz"), "plain");

    EXPECT_EQ(MFPaths::parentFolderName("/p/Presets/Midi Programs/a.cdz"), "Midi Programs");
    EXPECT_EQ(MFPaths::parentFolderName("Live/a.cdz"), "Live");
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

TEST(PresetCategory, ListOrderNumbersAndExtensions) {
    const auto list = MFPresetCategory::makeList();
    ASSERT_EQ(list.size(), 15u);
    const char* names[] = {"Presets", "X-Loop", "Loop",        "ScratchLoop", "Reverse",
                           "Stretch", "Vinyl",  "Tonal-Delay", "Stutter",     "Crush",
                           "Filter",  "Phaser", "Chorus",      "Delay",       "Reverb"};
    const int32_t numbers[] = {0, 14, 1, 3, 4, 2, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list[i].name, names[i]);
        EXPECT_EQ(list[i].number, numbers[i]);
        EXPECT_EQ(list[i].fileTypeName, "Preset File");
        EXPECT_EQ(list[i].userFolder, i == 0);
        EXPECT_FALSE(list[i].isNamedKey);
        EXPECT_EQ(list[i].extension, MFPresetCategory::extensionFor(list[i].number));
    }
    EXPECT_STREQ(MFPresetCategory::extensionFor(0), "cdz");
    // X-Loop and Loop share their files on purpose.
    EXPECT_STREQ(MFPresetCategory::extensionFor(14), "sxl");
    EXPECT_STREQ(MFPresetCategory::extensionFor(1), "sxl");
    EXPECT_STREQ(MFPresetCategory::extensionFor(6), "std");
    EXPECT_STREQ(MFPresetCategory::extensionFor(13), "srb");
    EXPECT_STREQ(MFPresetCategory::extensionFor(99), "cdz");
    ASSERT_NE(MFPresetCategory::findByNumber(list, 2), nullptr);
    EXPECT_EQ(MFPresetCategory::findByNumber(list, 2)->name, "Stretch");
    EXPECT_EQ(MFPresetCategory::findByNumber(list, 15), nullptr);
}
