#include "PresetTestSupport.h"

#include "presets/MFPaths.h"
#include "presets/MFPresetCategory.h"
#include "presets/MFSettingsStartup.h"
#include "presets/MFSettingsStore.h"

#include <gtest/gtest.h>

#include <dirent.h>

using presettest::ScopedEnv;
using presettest::TempFolder;

namespace {

constexpr const char* product = "Cadenzoid";

std::string settingsFile(const TempFolder& folder) {
    return folder.path("Maple Forge/Cadenzoid/settings");
}

// Names of everything in a folder, to see that no temporary file is left behind.
std::vector<std::string> folderNames(const std::string& path) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(path.c_str());
    if (!dir)
        return names;
    while (const dirent* entry = ::readdir(dir))
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.push_back(entry->d_name);
    ::closedir(dir);
    return names;
}

std::string stringOf(MFSettingsStore& store, const char* name) {
    std::string value = "<absent>";
    store.getString(name, value);
    return value;
}

} // namespace

TEST(SettingsStore, ValuesSurviveReopenAndKeepTheirKind) {
    TempFolder temp;
    {
        MFSettingsStore store(temp.base());
        ASSERT_TRUE(store.open(product));
        EXPECT_EQ(store.setInteger("ignorePrgChange", -7), 1);
        EXPECT_EQ(store.setString("presetpath0", "/a b/c=d\\e\nf"), 1);
        store.close();
        store.close(); // idempotent
    }
    MFSettingsStore store(temp.base());
    ASSERT_TRUE(store.open(product));
    int32_t value = 99;
    EXPECT_EQ(store.getInteger("ignorePrgChange", value), 1);
    EXPECT_EQ(value, -7);
    // Escaped characters round-trip, including a newline and the name/value separator.
    EXPECT_EQ(stringOf(store, "presetpath0"), "/a b/c=d\\e\nf");
    // A value of the other kind reads as absent and leaves the output alone.
    value = 5;
    EXPECT_EQ(store.getInteger("presetpath0", value), 0);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(stringOf(store, "ignorePrgChange"), "<absent>");
}

TEST(SettingsStore, SetOverTheOtherKindReplacesTheValue) {
    TempFolder temp;
    MFSettingsStore store(temp.base());
    ASSERT_TRUE(store.open(product));
    store.setInteger("firstuse", 1);
    store.setString("firstuse", "yes");
    store.close();
    ASSERT_TRUE(store.open(product));
    int32_t value = 0;
    EXPECT_EQ(store.getInteger("firstuse", value), 0);
    EXPECT_EQ(stringOf(store, "firstuse"), "yes");
    // Exactly one line holds the name: the old value was deleted, not shadowed.
    const std::string text = presettest::readText(settingsFile(temp));
    EXPECT_EQ(text.find("firstuse"), text.rfind("firstuse"));
}

TEST(SettingsStore, ClosedOrFailedStoreReturnsZeroEverywhere) {
    TempFolder temp;
    presettest::writeText(temp.path("Maple Forge"), "a file where the folder should be");
    MFSettingsStore store(temp.base());
    EXPECT_FALSE(store.open(product));
    int32_t value = 3;
    char text[8] = "keep";
    EXPECT_EQ(store.getInteger("x", value), 0);
    EXPECT_EQ(store.getString("x", text, sizeof text), 0);
    EXPECT_EQ(store.setInteger("x", 1), 0);
    EXPECT_EQ(store.setString("x", "y"), 0);
    EXPECT_EQ(value, 3);
    EXPECT_STREQ(text, "keep");
    // Product names that would leave the vendor folder are refused.
    MFSettingsStore other(temp.path("ok"));
    EXPECT_FALSE(other.open("../escape"));
    EXPECT_FALSE(other.open(""));
}

TEST(SettingsStore, StringsAreCutToTheValueSizeAndToTheCallersBuffer) {
    TempFolder temp;
    MFSettingsStore store(temp.base());
    ASSERT_TRUE(store.open(product));
    const std::string longText(3000, 'x');
    store.setString("long", longText.c_str());
    std::string value;
    ASSERT_EQ(store.getString("long", value), 1);
    EXPECT_EQ(value.size(), MFSettingsStore::valueBytes - 1);
    char small[5];
    ASSERT_EQ(store.getString("long", small, sizeof small), 1);
    EXPECT_STREQ(small, "xxxx");
}

// Every write goes through a temporary file and a rename: afterwards only the settings
// file exists, and it is complete (every value written so far reads back).
TEST(SettingsStore, RewriteIsAtomicAndLeavesNoTemporaryFile) {
    TempFolder temp;
    MFSettingsStore store(temp.base());
    ASSERT_TRUE(store.open(product));
    for (int i = 0; i < 20; ++i) {
        const std::string name = "value" + std::to_string(i);
        ASSERT_EQ(store.setInteger(name.c_str(), i * 3), 1);
        EXPECT_EQ(folderNames(temp.path("Maple Forge/Cadenzoid")),
                  std::vector<std::string>{"settings"});
        MFSettingsStore reader(temp.base());
        ASSERT_TRUE(reader.open(product));
        for (int j = 0; j <= i; ++j) {
            int32_t value = -1;
            EXPECT_EQ(reader.getInteger(("value" + std::to_string(j)).c_str(), value), 1);
            EXPECT_EQ(value, j * 3);
        }
    }
}

TEST(SettingsStore, DamagedFilesReadAsAbsentValues) {
    TempFolder temp;
    const std::string path = settingsFile(temp);
    temp.folder("Maple Forge/Cadenzoid");
    auto readBack = [&](const std::string& content, const char* name) {
        presettest::writeText(path, content);
        MFSettingsStore store(temp.base());
        EXPECT_TRUE(store.open(product));
        return stringOf(store, name);
    };
    // The good line around a damaged one still reads; the damaged ones do not.
    EXPECT_EQ(readBack("s good=1\ns bad\\q=2\n", "good"), "1");
    EXPECT_EQ(readBack("s good=1\ns bad\\q=2\n", "bad\\q"), "<absent>");
    EXPECT_EQ(readBack("s cut=abc\\", "cut"), "<absent>");       // truncated inside an escape
    EXPECT_EQ(readBack("s nameonly\n", "nameonly"), "<absent>"); // no '='
    EXPECT_EQ(readBack("s good=1\ns path=/home/us", "path"), "<absent>"); // cut mid-line
    EXPECT_EQ(readBack("x other=1\n", "other"), "<absent>");              // unknown kind
    EXPECT_EQ(readBack(std::string("s a=x\0y\n", 8), "a"), "<absent>");   // a raw NUL byte
    EXPECT_EQ(readBack("s a=Pr\xc3\xa9sets\n", "a"), "Pr\xc3\xa9sets");   // UTF-8 is not damage

    const std::string overlong = "s long=" + std::string(MFSettingsStore::maxLineBytes, 'y');
    EXPECT_EQ(readBack(overlong + "\ns after=ok\n", "long"), "<absent>");
    EXPECT_EQ(readBack(overlong + "\ns after=ok\n", "after"), "ok");

    // Integers must be whole decimal 32-bit numbers.
    for (const char* bad : {"i n=12x\n", "i n=\n", "i n=2147483648\n", "i n=99999999999999999\n"}) {
        presettest::writeText(path, bad);
        MFSettingsStore store(temp.base());
        ASSERT_TRUE(store.open(product));
        int32_t value = 77;
        EXPECT_EQ(store.getInteger("n", value), 0) << bad;
        EXPECT_EQ(value, 77);
    }

    // Random binary content: nothing but absent values (and no crash under the sanitizers).
    std::string noise(20000, '\0');
    uint32_t state = 12345;
    for (char& c : noise) {
        state = state * 1664525u + 1013904223u;
        c = char(state >> 24);
    }
    EXPECT_EQ(readBack(noise, "good"), "<absent>");

    // An oversized file is not read at all, even if it starts with good lines.
    const std::string huge = "s good=1\n" + std::string(MFSettingsStore::maxFileBytes, '#');
    EXPECT_EQ(readBack(huge, "good"), "<absent>");
}

TEST(SettingsStore, GlobalHelpersUseTheProductNameAndTheXdgConfigFolder) {
    TempFolder temp;
    ScopedEnv config("XDG_CONFIG_HOME", temp.base().c_str());
    EXPECT_STREQ(MFSettingsStore::globalProductName(), "undefined");
    MFSettingsStore::setGlobalProductName(product);
    EXPECT_EQ(MFSettingsStore::writeInteger("CC Map Recall isolate", 1), 1);
    EXPECT_EQ(MFSettingsStore::writeString("contentpath", "/content/"), 1);
    int32_t value = 0;
    char text[MFSettingsStore::valueBytes];
    EXPECT_EQ(MFSettingsStore::readInteger("CC Map Recall isolate", value), 1);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(MFSettingsStore::readString("contentpath", text, sizeof text), 1);
    EXPECT_STREQ(text, "/content/");
    EXPECT_TRUE(presettest::exists(settingsFile(temp)));
    MFSettingsStore::setGlobalProductName(nullptr);
    EXPECT_STREQ(MFSettingsStore::globalProductName(), "undefined");
}

// --- start-up steps -------------------------------------------------------------------

class SettingsStartup : public ::testing::Test {
protected:
    MFSettingsStartup::Switches
    start(const std::string& contentRoot = "/data/Maple Forge/Cadenzoid/") {
        MFSettingsStore store(temp.base());
        auto categories = MFPresetCategory::makeList();
        return MFSettingsStartup::run(store, product, categories, "/usr/lib/vst", contentRoot);
    }
    std::string value(const char* name) {
        MFSettingsStore store(temp.base());
        store.open(product);
        return stringOf(store, name);
    }
    int32_t integer(const char* name) {
        MFSettingsStore store(temp.base());
        store.open(product);
        int32_t v = -12345;
        store.getInteger(name, v);
        return v;
    }
    void set(const char* name, const char* text) {
        MFSettingsStore store(temp.base());
        store.open(product);
        store.setString(name, text);
    }
    TempFolder temp;
};

TEST_F(SettingsStartup, FirstStartWithoutContentPathUsesTheDataFolder) {
    const auto switches = start();
    EXPECT_EQ(switches.ignorePrgChange, 1);
    EXPECT_EQ(switches.ccMapRecallIsolate, 0);
    EXPECT_EQ(integer("firstuse"), 1);
    EXPECT_EQ(value("installpath"), "/usr/lib/vst/");
    EXPECT_EQ(value("presetpath0"), "/data/Maple Forge/Cadenzoid/Presets/");
    EXPECT_EQ(value("presetsavepath0"), "/data/Maple Forge/Cadenzoid/Presets/User/");
    // Effect categories are keyed by number, not by list position, and have no User folder.
    EXPECT_EQ(value("presetpath14"), "/data/Maple Forge/Cadenzoid/X-Loop/");
    EXPECT_EQ(value("presetsavepath14"), "/data/Maple Forge/Cadenzoid/X-Loop/");
    EXPECT_EQ(value("presetpath6"), "/data/Maple Forge/Cadenzoid/Tonal-Delay/");
    EXPECT_EQ(value("audiofilepath"), "/data/Maple Forge/Cadenzoid/Samples/Factory");
    EXPECT_EQ(integer("ignorePrgChange"), 1);
    EXPECT_EQ(integer("CC Map Recall isolate"), 0);
    // contentpath is the installer's to write, never ours.
    EXPECT_EQ(value("contentpath"), "<absent>");
}

TEST_F(SettingsStartup, ContentPathGivesTheRootAndASecondStartChangesNothing) {
    set("contentpath", "/opt/content"); // without a trailing separator: one is added
    start();
    EXPECT_EQ(value("presetpath0"), "/opt/content/Presets/");
    set("contentpath", "/elsewhere/");
    set("installpath", "/moved/");
    start("/other/");
    EXPECT_EQ(value("presetpath0"), "/opt/content/Presets/");
    EXPECT_EQ(value("presetsavepath0"), "/opt/content/Presets/User/");
    EXPECT_EQ(value("installpath"), "/moved/");
}

TEST_F(SettingsStartup, SwitchesAreReadAndNormalised) {
    start();
    MFSettingsStore store(temp.base());
    store.open(product);
    store.setInteger("ignorePrgChange", 0);
    store.setInteger("CC Map Recall isolate", 5);
    store.close();
    const auto switches = start();
    EXPECT_EQ(switches.ignorePrgChange, 0);
    EXPECT_EQ(switches.ccMapRecallIsolate, 1);
}

TEST_F(SettingsStartup, OldPresetPathIsCopiedOnceAndThenStays) {
    // A store from before numbered paths: first use already done, only "presetpath".
    MFSettingsStore store(temp.base());
    store.open(product);
    store.setInteger("firstuse", 1);
    store.setString("presetpath", "/old/Presets/");
    store.close();
    start();
    EXPECT_EQ(value("presetpath0"), "/old/Presets/");
    set("presetpath", "/newer/");
    start();
    EXPECT_EQ(value("presetpath0"), "/old/Presets/");
    EXPECT_EQ(value("presetpath"), "/newer/");
}

TEST_F(SettingsStartup, UnusableStoreLeavesTheDefaults) {
    presettest::writeText(temp.path("Maple Forge"), "not a folder");
    const auto switches = start();
    EXPECT_EQ(switches.ignorePrgChange, 1);
    EXPECT_EQ(switches.ccMapRecallIsolate, 0);
}
