// A system-wide install as a musician meets it: this build installed with cmake --install
// into a prefix of its own, the data folders pointing at its "share", an empty home. The
// plug-in file from the prefix starts with the factory's default preset, lists the factory
// presets as the host's programs and finds its manual, with no step by the user; saves go
// into the user's folder and never touch the shared content.

#include "engine/MFUniClient.h"
#include "platform/MFFileDialog.h"
#include "presets/MFSettingsStore.h"
#include "presets/PresetTestSupport.h"
#include "support/FakeHost.h"
#include "tools/host/PluginHost.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using presettest::MessageCapture;
using presettest::ScopedEnv;

namespace {

namespace fs = std::filesystem;

// One prefix per process: the test runner may run these tests side by side.
const fs::path installRoot =
    fs::path(CADENZOID_BUILD_DIR) / ("system-install-test-" + std::to_string(::getpid()));
const fs::path prefix = installRoot / "prefix";
const fs::path shared = prefix / "share" / "Maple Forge" / "Cadenzoid";

void makeWritable(const fs::path& root) {
    std::error_code ignored;
    if (!fs::exists(root, ignored))
        return;
    fs::permissions(root, fs::perms::owner_write, fs::perm_options::add, ignored);
    for (const auto& entry : fs::recursive_directory_iterator(root, ignored))
        fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::add, ignored);
}

void makeReadOnly(const fs::path& root) {
    const fs::perms write =
        fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        fs::permissions(entry.path(), write, fs::perm_options::remove);
    fs::permissions(root, write, fs::perm_options::remove);
}

std::string readAll(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Every file and folder under root with its bytes: equal snapshots mean an unchanged tree.
std::map<std::string, std::string> snapshot(const fs::path& root) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        tree[entry.path().string()] = entry.is_regular_file() ? readAll(entry.path()) : "<folder>";
    return tree;
}

std::string upper(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = char(c - 'a' + 'A');
    return text;
}

std::vector<std::string> sortedNames(const fs::path& folder, bool folders) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.is_directory() != folders)
            continue;
        if (!folders && entry.path().extension() != ".cdz")
            continue;
        names.push_back(folders ? entry.path().filename().string() : entry.path().stem().string());
    }
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return upper(a) < upper(b); });
    return names;
}

// The host's programs as a musician expects them: the factory's folders by name, each
// folder's presets by name.
std::vector<std::string> factoryProgramNames() {
    std::vector<std::string> names;
    for (const std::string& folder : sortedNames(shared / "Presets", true))
        for (const std::string& name : sortedNames(shared / "Presets" / folder, false))
            names.push_back(name);
    return names;
}

// The value the factory description of the default preset gives a parameter.
float factoryDefaultValue(const std::string& parameter) {
    const char* source = std::getenv("CADENZOID_SOURCE");
    std::ifstream in(fs::path(source ? source : "") / "resources/factory/Presets/default.preset");
    std::string word, name;
    float value = -1.0f;
    while (in >> word) {
        if (word == "set" && in >> name && name == parameter && in >> value)
            return value;
    }
    return -1.0f;
}

int32_t parameterIndex(MFUniClient& client, const char* name) {
    for (int32_t i = 0; i < 117; ++i) {
        char text[64] = {};
        client.getParameterName(i, text);
        if (std::string(text) == name)
            return i;
    }
    return -1;
}

// Answers every dialog with a file of a fixed name in the folder it starts in.
class NamingDialog : public MFFileDialog {
public:
    explicit NamingDialog(std::string fileName) : name(std::move(fileName)) {}
    Result run(Mode, const std::string&, const std::string& initialFolder,
               const std::vector<FileType>&, std::string& path) override {
        folders.push_back(initialFolder);
        path = initialFolder + name;
        return Result::chosen;
    }
    std::string name;
    std::vector<std::string> folders;
};

class SystemInstall : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        makeWritable(installRoot);
        fs::remove_all(installRoot);
        fs::create_directories(installRoot);
        const std::string command = std::string("'") + CADENZOID_CMAKE + "' --install '" +
                                    CADENZOID_BUILD_DIR + "' --prefix '" + prefix.string() +
                                    "' > '" + (installRoot / "install.log").string() + "' 2>&1";
        installed = std::system(command.c_str()) == 0;
        if (installed)
            makeReadOnly(prefix / "share");
    }
    static void TearDownTestSuite() {
        makeWritable(installRoot);
        fs::remove_all(installRoot);
    }

    void SetUp() override {
        ASSERT_TRUE(installed) << "cmake --install failed: see " << (installRoot / "install.log");
        ASSERT_TRUE(fs::exists(shared / "Presets" / "default.cdz"));
        factoryBefore = snapshot(shared);
    }
    void TearDown() override {
        EXPECT_TRUE(snapshot(shared) == factoryBefore) << "the shared content changed";
        makeWritable(home);
        fs::remove_all(home);
    }

    std::string setting(const char* key) {
        MFSettingsStore store;
        std::string value = "<absent>";
        if (store.open("Cadenzoid"))
            store.getString(key, value);
        store.close();
        return value;
    }

    static inline bool installed = false;
    std::map<std::string, std::string> factoryBefore;
    const fs::path home =
        installRoot / ::testing::UnitTest::GetInstance()->current_test_info()->name();
    const fs::path data = home / "data";
    const fs::path userRoot = data / "Maple Forge" / "Cadenzoid";
    ScopedEnv dataDirs{"XDG_DATA_DIRS", (prefix / "share").c_str()};
    ScopedEnv dataHome{"XDG_DATA_HOME", data.c_str()};
    ScopedEnv configHome{"XDG_CONFIG_HOME", (home / "config").c_str()};
    MessageCapture messages;
};

} // namespace

TEST_F(SystemInstall, FirstStartFindsTheFactoryPresetsTheDefaultAndTheManual) {
    const fs::path plugIn = prefix / "lib" / "vst" / "Cadenzoid.so";
    ASSERT_TRUE(fs::exists(plugIn));
    const std::vector<std::string> expected = factoryProgramNames();
    ASSERT_GE(expected.size(), 20u);

    PluginHost host;
    ASSERT_TRUE(host.load(plugIn.string())) << host.lastError();
    host.start(48000.0f, 256);
    char name[vst::kVstMaxProgNameLen + 1] = {};
    host.dispatch(vst::effGetProgramName, 0, 0, name);
    EXPECT_STREQ(name, "default");
    const int32_t cutoff = host.findParameter("FilterCutoff");
    ASSERT_GE(cutoff, 0);
    const float factoryCutoff = factoryDefaultValue("FilterCutoff");
    ASSERT_GE(factoryCutoff, 0.0f) << "no FilterCutoff in the factory default's description";
    EXPECT_EQ(host.getParameter(cutoff), factoryCutoff);

    for (std::size_t i = 0; i < expected.size(); ++i) {
        char listed[vst::kVstMaxProgNameLen + 1] = {};
        host.dispatch(vst::effGetProgramNameIndexed, int32_t(i), -1, listed);
        EXPECT_EQ(listed, expected[i]) << "program " << i;
    }
    char past[vst::kVstMaxProgNameLen + 1] = {};
    host.dispatch(vst::effGetProgramNameIndexed, int32_t(expected.size()), -1, past);
    EXPECT_STREQ(past, "empty");
    host.stop();
    host.unload();

    // The manual is found where the install put it, and the user's folders are the home's.
    const std::string manualFolder = setting("installpath");
    EXPECT_TRUE(fs::exists(fs::path(manualFolder) / "Manual.htm")) << manualFolder;
    EXPECT_EQ(fs::path(manualFolder).lexically_normal(), (shared / "").lexically_normal());
    EXPECT_EQ(setting("presetpath0"), (userRoot / "Presets").string() + "/");
    // Nothing is made in the home's data folder before the first save.
    EXPECT_FALSE(fs::exists(data));
    EXPECT_TRUE(messages.shown().empty());
}

TEST_F(SystemInstall, SavesGoToTheUsersRootAndTheUsersDefaultWins) {
    NamingDialog dialog("My Groove");
    float saved = 0.0f;
    {
        FakeHost host;
        auto* client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        client->setFileDialog(dialog);
        EXPECT_EQ(fs::path(client->getFactoryRoot()).lexically_normal(),
                  (shared / "").lexically_normal());
        MFPresetLibrary& library = client->getPresetLibrary();
        const int32_t factoryFolders = library.folderCount();
        ASSERT_EQ(factoryFolders, int32_t(sortedNames(shared / "Presets", true).size()));

        const int32_t cutoff = parameterIndex(*client, "FilterCutoff");
        ASSERT_GE(cutoff, 0);
        saved = client->getParameter(cutoff) == 0.625f ? 0.375f : 0.625f;
        client->setParameter(cutoff, saved);
        ASSERT_TRUE(client->getPresetManager().savePreset(nullptr, 0));
        ASSERT_EQ(dialog.folders.size(), 1u);
        EXPECT_EQ(dialog.folders[0], (userRoot / "Presets" / "User").string() + "/");
        EXPECT_TRUE(fs::is_regular_file(userRoot / "Presets" / "User" / "My Groove.cdz"));

        // The user's folder joins the factory's in the host's list, and is the program now.
        ASSERT_EQ(library.folderCount(), factoryFolders + 1);
        const int32_t user = library.folderIndex("User");
        ASSERT_GE(user, 0);
        EXPECT_EQ(library.presetIndex(user, "My Groove"), 0);
        char listed[vst::kVstMaxProgNameLen + 1] = {};
        client->getProgramNameIndexed(0, client->getProgram(), listed);
        EXPECT_STREQ(listed, "My Groove");

        // A default of the user's own.
        const std::string own = (userRoot / "Presets" / "default.cdz").string();
        ASSERT_TRUE(client->getPresetManager().savePreset(own.c_str(), 0));
    }
    {
        FakeHost host;
        auto* client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        EXPECT_EQ(client->getPresetNames()[0], "default");
        EXPECT_EQ(client->getParameter(parameterIndex(*client, "FilterCutoff")), saved);
        // The user's default is not a program: only the factory's folders and "User".
        EXPECT_EQ(client->getPresetLibrary().programCount(),
                  int32_t(factoryProgramNames().size()) + 1);
    }
    EXPECT_TRUE(messages.shown().empty());
}

TEST_F(SystemInstall, AContentPathInTheSettingsOverridesTheFactoryContent) {
    const fs::path content = home / "content";
    fs::create_directories(content / "Presets" / "Only");
    fs::copy_file(shared / "Presets" / "Grooves" / "Dub Echo.cdz",
                  content / "Presets" / "Only" / "x.cdz");
    {
        MFSettingsStore store;
        ASSERT_TRUE(store.open("Cadenzoid"));
        ASSERT_EQ(store.setString("contentpath", (content.string() + "/").c_str()), 1);
        store.close();
    }
    FakeHost host;
    auto* client = new MFUniClient(FakeHost::callback());
    host.attach(client);
    EXPECT_EQ(client->getFactoryRoot(), "");
    const MFPresetLibrary& library = client->getPresetLibrary();
    ASSERT_EQ(library.folderCount(), 1);
    EXPECT_EQ(library.folderName(0), "Only");
    EXPECT_EQ(library.programCount(), 1);
    EXPECT_EQ(setting("presetpath0"), (content / "Presets").string() + "/");
}
