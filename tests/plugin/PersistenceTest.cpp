// A musician's path through a fresh home: the install step puts the factory content in
// place and names it in the settings, the plug-in file starts in a host with the default
// preset in force, a preset is saved and stepped through, and after a restart everything
// is still there.

#include "engine/MFUniClient.h"
#include "presets/MFPaths.h"
#include "presets/MFSettingsStore.h"
#include "presets/PresetTestSupport.h"
#include "support/FakeHost.h"
#include "tools/host/PluginHost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using presettest::MessageCapture;
using presettest::ScopedEnv;
using presettest::TempFolder;

namespace {

constexpr int32_t loopSizeTag = 7;

std::string programName(PluginHost& host) {
    char name[vst::kVstMaxProgNameLen + 1] = {};
    host.dispatch(vst::effGetProgramName, 0, 0, name);
    return name;
}

class MusicianHome : public ::testing::Test {
protected:
    TempFolder home;
    ScopedEnv config{"XDG_CONFIG_HOME", home.folder("config").c_str()};
    ScopedEnv data{"XDG_DATA_HOME", home.folder("data").c_str()};
    MessageCapture messages; // nothing the plug-in says may reach the test's console unseen

    std::string setting(const char* key) {
        MFSettingsStore store;
        std::string value;
        if (store.open("Cadenzoid"))
            store.getString(key, value);
        store.close();
        return value;
    }
};

TEST_F(MusicianHome, InstallPlaySaveStepRestart) {
    namespace fs = std::filesystem;
    // The install step: factory content into the content root, its path into the settings.
    const fs::path built = fs::path(CADENZOID_PLUGIN_PATH).parent_path() / "content";
    ASSERT_TRUE(fs::exists(built / "Presets" / "default.cdz"))
        << "the factory content is built by the cadenzoid-content target";
    const std::string content = MFPaths::defaultContentRoot("Cadenzoid");
    ASSERT_EQ(content.rfind(home.base(), 0), 0u) << content;
    fs::create_directories(content);
    fs::copy(built, content, fs::copy_options::recursive);
    {
        MFSettingsStore store;
        ASSERT_TRUE(store.open("Cadenzoid"));
        ASSERT_EQ(store.setString("contentpath", content.c_str()), 1);
        store.close();
    }

    // First start, in a host: the default preset is in force.
    {
        PluginHost host;
        ASSERT_TRUE(host.load(CADENZOID_PLUGIN_PATH)) << host.lastError();
        host.start(44100.0f, 512);
        EXPECT_EQ(programName(host), "default");
        const int32_t cutoff = host.findParameter("FilterCutoff");
        ASSERT_GE(cutoff, 0);
        EXPECT_EQ(host.getParameter(cutoff), 0.25f);

        // Programs are the library's presets, folder after folder, sorted by name.
        host.dispatch(vst::effSetProgram, 0, 1);
        EXPECT_EQ(programName(host), "Reverse Build");
        host.stop();
        host.unload();
    }
    const std::string presets = setting("presetpath0");
    EXPECT_EQ(presets, content + "Presets/");
    EXPECT_EQ(setting("contentpath"), content);

    // A session in the editor: save a preset of one's own, step away from it and back.
    const std::string saved = presets + "User/My Groove.cdz";
    fs::create_directories(presets + "User");
    float defaultLoopSize = 0.0f;
    {
        FakeHost host;
        auto* client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        ASSERT_EQ(client->getPresetNames()[0], "default");
        defaultLoopSize = client->getRegistry().rawValue(loopSizeTag);
        ASSERT_NE(defaultLoopSize, 0.123f);
        client->setParameter(loopSizeTag, 0.123f);
        client->getMidiMaps().controllers[21].push_back({int16_t(loopSizeTag), 0});
        MFPresetManager& manager = client->getPresetManager();
        ASSERT_TRUE(manager.savePreset(saved.c_str(), 0));
        EXPECT_EQ(client->getPresetNames()[0], "My Groove");
        // The save folder comes last in the library, and the new preset is its program:
        // six "Breaks", seven "Grooves", four "Midi Programs", five "Performance" and six
        // "Textures" before it.
        EXPECT_EQ(client->getProgram(), 28);
        char listed[vst::kVstMaxProgNameLen + 1] = {};
        client->getProgramNameIndexed(0, 28, listed);
        EXPECT_STREQ(listed, "My Groove");

        // Previous and next walk the host's list, wrapping at its end.
        manager.nextPreset(0);
        EXPECT_EQ(client->getPresetNames()[0], "Break Mix");
        EXPECT_NE(client->getRegistry().rawValue(loopSizeTag), 0.123f);
        manager.previousPreset(0);
        EXPECT_EQ(client->getPresetNames()[0], "My Groove");
        EXPECT_EQ(client->getRegistry().rawValue(loopSizeTag), 0.123f);
        manager.previousPreset(0);
        EXPECT_EQ(client->getPresetNames()[0], "Wide Chorus");

        // A factory preset opened from its folder becomes the host's program: "Grooves" is
        // the second folder, "Dub Echo" its second preset by name.
        ASSERT_TRUE(manager.loadPreset((presets + "Grooves/Dub Echo.cdz").c_str(), 0));
        EXPECT_EQ(client->getFolderIndex(), 1);
        EXPECT_EQ(client->getProgram(), 7);
        char name[vst::kVstMaxProgNameLen + 1] = {};
        client->getProgramName(name);
        EXPECT_STREQ(name, "Dub Echo");
    }

    // Restart: the settings, the library and the saved preset are all there.
    {
        FakeHost host;
        auto* client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        EXPECT_EQ(client->getPresetNames()[0], "default");
        EXPECT_EQ(client->getRegistry().rawValue(loopSizeTag), defaultLoopSize);
        MFPresetLibrary& library = client->getPresetLibrary();
        EXPECT_GE(library.folderCount(), 4);
        EXPECT_GE(library.midiFolder(), 0);
        ASSERT_TRUE(presettest::exists(saved));
        ASSERT_TRUE(client->getPresetManager().loadPreset(saved.c_str(), 0));
        EXPECT_EQ(client->getPresetNames()[0], "My Groove");
        EXPECT_EQ(client->getRegistry().rawValue(loopSizeTag), 0.123f);
        EXPECT_EQ(client->getMidiMaps().controllers[21].size(), 1u);
    }
    {
        PluginHost host;
        ASSERT_TRUE(host.load(CADENZOID_PLUGIN_PATH)) << host.lastError();
        host.start(44100.0f, 512);
        EXPECT_EQ(programName(host), "default");
        host.stop();
        host.unload();
    }
    EXPECT_EQ(setting("contentpath"), content);
    EXPECT_TRUE(messages.shown().empty());
}

TEST_F(MusicianHome, SessionChunkTravelsThroughTheHostInterface) {
    PluginHost first;
    ASSERT_TRUE(first.load(CADENZOID_PLUGIN_PATH)) << first.lastError();
    first.start(48000.0f, 256);
    const int32_t cutoff = first.findParameter("FilterCutoff");
    const int32_t loopSize = first.findParameter("LoopSize");
    ASSERT_GE(cutoff, 0);
    ASSERT_GE(loopSize, 0);
    first.setParameter(cutoff, 0.61f);
    first.setParameter(loopSize, 0.27f);
    const std::vector<uint8_t> program = first.getChunk(true);
    // Programs and banks are the same whole state.
    EXPECT_EQ(first.getChunk(false), program);

    PluginHost second;
    ASSERT_TRUE(second.load(CADENZOID_PLUGIN_PATH)) << second.lastError();
    second.start(48000.0f, 256);
    ASSERT_NE(second.getParameter(cutoff), 0.61f);
    EXPECT_EQ(second.setChunk(program, true), 1);
    EXPECT_EQ(second.getParameter(cutoff), 0.61f);
    EXPECT_EQ(second.getParameter(loopSize), 0.27f);
    EXPECT_EQ(second.getChunk(false), program);

    // Audio runs on after the recall: a block of input gives finite output.
    std::vector<float> left(4096, 0.25f), right(4096, -0.25f), outLeft(4096), outRight(4096);
    second.process(left.data(), right.data(), outLeft.data(), outRight.data(), 4096);
    for (std::size_t i = 0; i < outLeft.size(); ++i)
        ASSERT_TRUE(std::isfinite(outLeft[i]) && std::isfinite(outRight[i])) << i;
    second.stop();
    first.stop();
}

} // namespace
