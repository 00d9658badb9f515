#include "PresetTestSupport.h"

#include "presets/MFPaths.h"
#include "presets/MFPresetCategory.h"
#include "presets/MFSettingsStartup.h"
#include "presets/MFSettingsStore.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <memory>
#include <sys/inotify.h>

using presettest::MessageCapture;
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

TEST(SettingsStore, ValuesSurviveReopenKeepTheirKindAndAreCutToSize) {
    TempFolder temp;
    {
        MFSettingsStore store(temp.base());
        ASSERT_TRUE(store.open(product));
        EXPECT_EQ(store.setInteger("ignorePrgChange", -7), 1);
        EXPECT_EQ(store.setString("presetpath0", "/a b/c=d\\e\nf"), 1);
        store.setInteger("firstuse", 1);
        store.setString("firstuse", "yes"); // replaces the integer
        store.setString("long", std::string(3000, 'x').c_str());
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
    EXPECT_EQ(store.getInteger("presetpath0", value), 0);
    EXPECT_EQ(value, -7);
    EXPECT_EQ(stringOf(store, "ignorePrgChange"), "<absent>");
    EXPECT_EQ(store.getInteger("firstuse", value), 0);
    EXPECT_EQ(stringOf(store, "firstuse"), "yes");
    // Exactly one line holds the name: the old value was deleted, not shadowed.
    const std::string text = presettest::readText(settingsFile(temp));
    EXPECT_EQ(text.find("firstuse"), text.rfind("firstuse"));
    // Strings are cut to the value size, and to the caller's buffer.
    EXPECT_EQ(stringOf(store, "long").size(), MFSettingsStore::valueBytes - 1);
    char small[5];
    ASSERT_EQ(store.getString("long", small, sizeof small), 1);
    EXPECT_STREQ(small, "xxxx");
}

TEST(SettingsStore, ClosedOrFailedStoreReturnsZeroEverywhere) {
    TempFolder temp;
    presettest::writeText(temp.path("Maple Forge"), "a file where the folder should be");
    MFSettingsStore store(temp.base());
    EXPECT_FALSE(store.open(product));
    int32_t value = 3;
    char text[8] = "keep";
    EXPECT_EQ(store.getInteger("x", value) + store.getString("x", text, sizeof text) +
                  store.setInteger("x", 1) + store.setString("x", "y"),
              0);
    EXPECT_EQ(value, 3);
    EXPECT_STREQ(text, "keep");
    // Product names that would leave the vendor folder are refused.
    MFSettingsStore other(temp.path("ok"));
    EXPECT_FALSE(other.open("../escape"));
    EXPECT_FALSE(other.open(""));
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

TEST(SettingsStore, CrlfLinesReadLikeLf) {
    TempFolder temp;
    temp.folder("Maple Forge/Cadenzoid");
    presettest::writeText(settingsFile(temp),
                          "# edited elsewhere\r\ns contentpath=/c/Cadenzoid/\r\ni firstuse=1\r\n"
                          "s escaped=a\\r\r\n");
    MFSettingsStore store(temp.base());
    ASSERT_TRUE(store.open(product));
    EXPECT_EQ(stringOf(store, "contentpath"), "/c/Cadenzoid/");
    int32_t used = 0;
    EXPECT_EQ(store.getInteger("firstuse", used), 1);
    EXPECT_EQ(used, 1);
    // A CR that belongs to the value is escaped by the writer and survives.
    EXPECT_EQ(stringOf(store, "escaped"), "a\r");
}

// A file that exists but cannot be read must never be replaced: it may hold the content
// path and everything else the user set. The store opens without values, refuses every
// change, and says so once per store.
TEST(SettingsStore, UnreadableFileIsNeverOverwritten) {
    TempFolder temp;
    const std::string path = settingsFile(temp);
    temp.folder("Maple Forge/Cadenzoid");
    const std::string good = "s contentpath=/opt/content/\ni firstuse=1\n";
    // Good lines followed by more than the reader takes.
    const std::string oversized = good + std::string(MFSettingsStore::maxFileBytes, '#');
    presettest::writeText(path, oversized);

    MessageCapture messages;
    MFSettingsStore store(temp.base());
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(store.open(product));
        EXPECT_TRUE(store.isReadOnly());
        EXPECT_EQ(stringOf(store, "contentpath"), "<absent>");
        EXPECT_EQ(store.setString("presetpath0", "/x/"), 0);
        store.beginChanges();
        EXPECT_EQ(store.setInteger("firstuse", 1), 0);
        store.close();
    }
    EXPECT_EQ(presettest::readText(path), oversized);
    ASSERT_EQ(messages.shown().size(), 1u) << "said once, not at every open";
    EXPECT_NE(messages.shown()[0].find(path), std::string::npos);

    // The start-up runs on its defaults and leaves the file alone too.
    auto categories = MFPresetCategory::makeList();
    const auto switches = MFSettingsStartup::run(store, product, categories, "/usr/lib/vst", "/d/");
    EXPECT_EQ(switches.ignorePrgChange, 1);
    EXPECT_EQ(switches.ccMapRecallIsolate, 0);
    EXPECT_EQ(presettest::readText(path), oversized);

    // Something other than a file where the file should be is no store either.
    TempFolder other;
    other.folder("Maple Forge/Cadenzoid/settings");
    MFSettingsStore blocked(other.base());
    ASSERT_TRUE(blocked.open(product));
    EXPECT_EQ(blocked.setInteger("firstuse", 1), 0);
    EXPECT_TRUE(presettest::isFolder(settingsFile(other)));

    // A file the user may not read, in a folder where they could replace it.
    TempFolder locked;
    ::chmod(locked.base().c_str(), 0755);
    ::chmod(locked.folder("Maple Forge").c_str(), 0777);
    ::chmod(locked.folder("Maple Forge/Cadenzoid").c_str(), 0777);
    presettest::writeText(settingsFile(locked), good);
    ::chmod(settingsFile(locked).c_str(), 0);
    const int refused = presettest::asUnprivilegedUser([&] {
        MFSettingsStore user(locked.base());
        if (!user.open(product))
            return 2;
        return user.setString("presetpath0", "/x/") == 0 ? 0 : 1;
    });
    EXPECT_EQ(refused, 0);
    ::chmod(settingsFile(locked).c_str(), 0644);
    EXPECT_EQ(presettest::readText(settingsFile(locked)), good);
}

// Whatever the writer accepts, the reader takes back: a change that would push the file
// over the reader's cap is refused and changes nothing.
TEST(SettingsStore, WriterStaysWithinWhatTheReaderTakes) {
    TempFolder temp;
    MFSettingsStore store(temp.base());
    ASSERT_TRUE(store.open(product));
    // Values that escape to twice their length: about 4 KB a line.
    const std::string value(MFSettingsStore::valueBytes - 1, '\\');
    int accepted = 0;
    for (int i = 0; i < 200; ++i) {
        const std::string name = "v" + std::to_string(i);
        if (store.setString(name.c_str(), value.c_str()) == 0)
            break;
        ++accepted;
    }
    ASSERT_GT(accepted, 10);
    ASSERT_LT(accepted, 200) << "the cap was never reached";
    EXPECT_EQ(stringOf(store, ("v" + std::to_string(accepted)).c_str()), "<absent>");
    store.close();

    MFSettingsStore reader(temp.base());
    ASSERT_TRUE(reader.open(product));
    EXPECT_FALSE(reader.isReadOnly());
    for (int i = 0; i < accepted; ++i)
        ASSERT_EQ(stringOf(reader, ("v" + std::to_string(i)).c_str()), value) << i;
    // A small change still fits.
    EXPECT_EQ(reader.setInteger("firstuse", 1), 1);
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
    // The store as the next start finds it.
    std::unique_ptr<MFSettingsStore> store() {
        auto opened = std::make_unique<MFSettingsStore>(temp.base());
        opened->open(product);
        return opened;
    }
    std::string value(const char* name) { return stringOf(*store(), name); }
    int32_t integer(const char* name) {
        int32_t v = -12345;
        store()->getInteger(name, v);
        return v;
    }
    void set(const char* name, const char* text) { store()->setString(name, text); }
    TempFolder temp;
};

// The first start sets some 35 values; each rewrite costs an fsync and a rename, so the
// whole step must reach the disk as one replacement of the file.
TEST_F(SettingsStartup, FirstStartUsesTheDataFolderAndWritesTheFileOnce) {
    const std::string folder = temp.folder("Maple Forge/Cadenzoid");
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, folder.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE), 0);
    const auto switches = start();
    int replacements = 0, writes = 0;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t got; (got = ::read(watch, buffer, sizeof buffer)) > 0;) {
        for (ssize_t p = 0; p < got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + p);
            replacements += (event->mask & IN_MOVED_TO) && event->len &&
                            std::strcmp(event->name, "settings") == 0;
            writes += (event->mask & IN_CLOSE_WRITE) != 0;
            p += ssize_t(sizeof(inotify_event) + event->len);
        }
    }
    ::close(watch);
    EXPECT_EQ(replacements, 1);
    EXPECT_EQ(writes, 1);

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

TEST_F(SettingsStartup, SwitchesAreReadAndNormalisedAndAnUnusableStoreLeavesTheDefaults) {
    start();
    store()->setInteger("ignorePrgChange", 0);
    store()->setInteger("CC Map Recall isolate", 5);
    auto switches = start();
    EXPECT_EQ(switches.ignorePrgChange, 0);
    EXPECT_EQ(switches.ccMapRecallIsolate, 1);

    TempFolder blocked;
    presettest::writeText(blocked.path("Maple Forge"), "not a folder");
    MFSettingsStore unusable(blocked.base());
    auto categories = MFPresetCategory::makeList();
    switches = MFSettingsStartup::run(unusable, product, categories, "/usr/lib/vst", "/d/");
    EXPECT_EQ(switches.ignorePrgChange, 1);
    EXPECT_EQ(switches.ccMapRecallIsolate, 0);
}

TEST_F(SettingsStartup, OldPresetPathIsCopiedOnceAndThenStays) {
    // A store from before numbered paths: first use already done, only "presetpath".
    store()->setInteger("firstuse", 1);
    set("presetpath", "/old/Presets/");
    start();
    EXPECT_EQ(value("presetpath0"), "/old/Presets/");
    set("presetpath", "/newer/");
    start();
    EXPECT_EQ(value("presetpath0"), "/old/Presets/");
    EXPECT_EQ(value("presetpath"), "/newer/");
}
