#include "PresetTestSupport.h"

#include "pattern/MFChunk.h"
#include "presets/MFFileio.h"
#include "presets/MFPaths.h"
#include "presets/MFPresetHost.h"
#include "presets/MFPresetLibrary.h"
#include "presets/MFPresetManager.h"
#include "presets/MFSettingsStore.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <optional>

using presettest::MessageCapture;
using presettest::PresetWords;
using presettest::TempFolder;

namespace {

constexpr const char* product = "Cadenzoid";
constexpr int32_t stateMarker = 0x5eed;

// Stands in for the plug-in: writes a small state with the real header and records
// what the flows ask of it.
class FakePresetHost : public MFPresetHost {
public:
    struct ReadCall {
        int32_t category;
        bool recallAll, silent, onAudioThread;
        std::vector<uint32_t> words;
        int32_t position;
    };

    bool readState(MFChunk& chunk, int32_t category, bool recallAll, bool silent,
                   bool onAudioThread) override {
        reads.push_back({category, recallAll, silent, onAudioThread,
                         std::vector<uint32_t>(chunk.data, chunk.data + chunk.capacity()),
                         chunk.position});
        return true;
    }
    void writeState(MFChunk& chunk, int32_t category) override {
        chunk.writeHeader();
        chunk.writeInt(5);
        chunk.writeInt(1);
        chunk.writeInt(3);
        chunk.writeInt(110108);
        chunk.writeInt(stateMarker + category);
        for (int i = 0; i < extraWords; ++i)
            chunk.writeInt(i);
        chunk.writeInt(-1);
        ++writes;
    }
    std::string& presetName(int32_t category) override { return names[std::size_t(category)]; }
    void setFolderIndex(int32_t index) override { folderIndex = index; }
    void setCurrentProgram(int32_t program) override { currentProgram = program; }
    float currentTempo() override { return 97.0f; }
    float currentSampleRate() override { return 48000.0f; }
    void refreshHostDisplay() override { ++refreshes; }

    FakePresetHost() { names.fill("default"); }

    std::vector<ReadCall> reads;
    std::array<std::string, 15> names;
    std::optional<int32_t> folderIndex, currentProgram;
    int writes = 0, refreshes = 0, extraWords = 2;
};

class FakeDialog : public MFFileDialog {
public:
    Result run(Mode mode, const std::string& title, const std::string& initialFolder,
               const std::vector<FileType>& types, std::string& path) override {
        calls.push_back({mode, title, initialFolder, types});
        path = answer == Result::chosen ? chosenPath : std::string();
        return answer;
    }
    struct Call {
        Mode mode;
        std::string title, folder;
        std::vector<FileType> types;
    };
    std::vector<Call> calls;
    Result answer = Result::cancelled;
    std::string chosenPath;
};

class PresetFlows : public ::testing::Test {
protected:
    PresetFlows()
        : settings(temp.base()),
          manager(host, library, settings, product, dialog, MFPresetCategory::makeList()) {}

    void SetUp() override {
        presets = temp.folder("content/Presets");
        temp.folder("content/Presets/Live");
        temp.folder("content/Presets/User");
        setSetting("presetpath0", presets);
        setSetting("presetsavepath0", presets + "User/");
        setSetting("presetpath13", temp.folder("content/Reverb"));
    }
    void setSetting(const char* name, const std::string& value) {
        MFSettingsStore store(temp.base());
        store.open(product);
        store.setString(name, value.c_str());
    }
    std::string setting(const char* name) {
        MFSettingsStore store(temp.base());
        store.open(product);
        std::string value = "<absent>";
        store.getString(name, value);
        return value;
    }
    void writePreset(const std::string& path, int32_t marker) {
        PresetWords words;
        words.payload = {marker, -1};
        ASSERT_TRUE(words.writeTo(path));
    }

    TempFolder temp;
    std::string presets;
    FakePresetHost host;
    MFPresetLibrary library;
    MFSettingsStore settings;
    FakeDialog dialog;
    MFPresetManager manager;
    MessageCapture messages;
};

} // namespace

TEST_F(PresetFlows, LoadGivesTheWholeFileToTheReaderAndPlacesTheProgram) {
    writePreset(presets + "Live/a.cdz", 1);
    writePreset(presets + "Live/b.cdz", 2);
    library.scan(presets);
    ASSERT_TRUE(manager.loadPreset((presets + "Live/b.cdz").c_str(), 0));
    ASSERT_EQ(host.reads.size(), 1u);
    const auto& call = host.reads[0];
    EXPECT_EQ(call.category, 0);
    EXPECT_FALSE(call.recallAll);
    EXPECT_FALSE(call.silent);
    EXPECT_FALSE(call.onAudioThread);
    EXPECT_EQ(call.position, 0);
    PresetWords expected;
    expected.payload = {2, -1};
    EXPECT_EQ(call.words, expected.build());
    EXPECT_EQ(host.names[0], "b");
    EXPECT_EQ(host.folderIndex, std::optional<int32_t>(library.folderIndex("Live")));
    EXPECT_EQ(host.currentProgram, std::optional<int32_t>(1));
    EXPECT_EQ(host.refreshes, 1);
    EXPECT_TRUE(messages.shown().empty());
    EXPECT_TRUE(dialog.calls.empty());

    // An effect category only takes the name: folder and program belong to category 0.
    host.folderIndex.reset();
    host.currentProgram.reset();
    writePreset(temp.path("content/Reverb/hall.srb"), 3);
    ASSERT_TRUE(manager.loadPreset(temp.path("content/Reverb/hall.srb").c_str(), 13, "srb"));
    EXPECT_EQ(host.reads.back().category, 13);
    EXPECT_EQ(host.names[13], "hall");
    EXPECT_EQ(host.names[0], "b");
    EXPECT_FALSE(host.folderIndex.has_value());
    EXPECT_FALSE(host.currentProgram.has_value());
}

TEST_F(PresetFlows, LoadRejectsBadFilesWithTheirMessagesAndChangesNothing) {
    PresetWords good;
    std::vector<uint32_t> words = good.build();
    const std::string path = presets + "Live/bad.cdz";
    auto attempt = [&](const std::vector<uint32_t>& content, std::size_t bytes) {
        presettest::writeFile(path, content.data(), bytes);
        messages.clear();
        return manager.loadPreset(path.c_str(), 0);
    };

    EXPECT_FALSE(attempt(words, 19)); // the 20-byte probe fails: silent
    EXPECT_TRUE(messages.shown().empty());
    EXPECT_FALSE(manager.loadPreset(temp.path("nothing.cdz").c_str(), 0));
    EXPECT_TRUE(messages.shown().empty());

    std::vector<uint32_t> wrong = words;
    wrong[4] = 0x018E48DA;
    EXPECT_FALSE(attempt(wrong, wrong.size() * 4));
    EXPECT_EQ(messages.shown(), std::vector<std::string>{"\t This is no valid Cadenzoid format!"});

    std::vector<uint32_t> newer = words;
    newer[1] = 4;
    EXPECT_FALSE(attempt(newer, newer.size() * 4));
    EXPECT_EQ(messages.shown(),
              std::vector<std::string>{"preset was written with a newer version of Cadenzoid"});

    // The size word disagrees with the file: too short, too long, absurdly large.
    for (const uint32_t size : {uint32_t(words.size() - 1), uint32_t(words.size() + 1),
                                uint32_t(0x7fffffff), uint32_t(0x80000000)}) {
        std::vector<uint32_t> lying = words;
        lying[0] = size;
        EXPECT_FALSE(attempt(lying, lying.size() * 4)) << size;
        EXPECT_EQ(messages.shown(),
                  std::vector<std::string>{"\t This is no valid Cadenzoid format!"});
    }
    // A category the host has no name for is refused before anything is read, even
    // with a good file.
    presettest::writeFile(path, words.data(), words.size() * 4);
    EXPECT_FALSE(manager.loadPreset(path.c_str(), 15));
    EXPECT_FALSE(manager.loadPreset(path.c_str(), -1));
    EXPECT_FALSE(manager.savePreset(temp.path("x.cdz").c_str(), 15));
    manager.nextPreset(15);
    EXPECT_TRUE(host.reads.empty());
    EXPECT_EQ(host.writes, 0);
    EXPECT_EQ(host.names[0], "default");
    EXPECT_EQ(host.refreshes, 0);
}

TEST_F(PresetFlows, LoadDialogCancelEmptyAndMissingDialog) {
    writePreset(presets + "Live/a.cdz", 1);
    EXPECT_FALSE(manager.loadPreset(nullptr, 0));
    ASSERT_EQ(dialog.calls.size(), 1u);
    EXPECT_EQ(dialog.calls[0].mode, MFFileDialog::Mode::open);
    EXPECT_EQ(dialog.calls[0].folder, presets);
    EXPECT_EQ(dialog.calls[0].types[0].extension, "cdz");

    dialog.answer = MFFileDialog::Result::chosen;
    dialog.chosenPath = "EMPTY";
    EXPECT_FALSE(manager.loadPreset(nullptr, 0));
    EXPECT_TRUE(messages.shown().empty());

    dialog.answer = MFFileDialog::Result::unavailable;
    EXPECT_FALSE(manager.loadPreset(nullptr, 0));
    EXPECT_EQ(messages.shown(), std::vector<std::string>{MFPresetManager::noDialogNotice});

    dialog.answer = MFFileDialog::Result::chosen;
    dialog.chosenPath = presets + "Live/a.cdz";
    EXPECT_TRUE(manager.loadPreset(nullptr, 0));
    EXPECT_EQ(host.names[0], "a");
    EXPECT_EQ(host.reads.size(), 1u);
}

TEST_F(PresetFlows, SaveWithANameWritesTheHostsStateAndRescansItsFolder) {
    library.scan(presets);
    const int32_t live = library.folderIndex("Live");
    ASSERT_GE(live, 0);
    EXPECT_EQ(library.presetCount(live), 0);
    const std::string path = presets + "Live/new one.cdz";
    ASSERT_TRUE(manager.savePreset(path.c_str(), 0));
    EXPECT_TRUE(dialog.calls.empty());
    EXPECT_EQ(host.writes, 2); // measuring pass and writing pass

    // The file is the chunk: header with the host's tempo and rate, then the state.
    std::vector<uint32_t> words(9 + 1 + 2 + 1);
    ASSERT_TRUE(presettest::readText(path).size() == words.size() * 4);
    MFFileio::readFileBytes(path.c_str(), words.data(), words.size() * 4);
    const float tempo = 97.0f, rate = 48000.0f;
    const std::vector<uint32_t> header = {uint32_t(words.size()), 3, std::bit_cast<uint32_t>(tempo),
                                          std::bit_cast<uint32_t>(rate), 26101977u};
    EXPECT_EQ(std::vector<uint32_t>(words.begin(), words.begin() + 5), header);
    EXPECT_EQ(int32_t(words[9]), stateMarker);

    EXPECT_EQ(library.presetCount(live), 1);
    EXPECT_EQ(library.presetIndex(live, "new one"), 0);
    EXPECT_EQ(host.folderIndex, std::optional<int32_t>(live));
    EXPECT_EQ(host.names[0], "new one");
    EXPECT_EQ(host.refreshes, 1);

    // What was saved loads back into the same state.
    ASSERT_TRUE(manager.loadPreset(path.c_str(), 0));
    EXPECT_EQ(host.reads.back().words, words);
    EXPECT_EQ(host.currentProgram, std::optional<int32_t>(0));
}

TEST_F(PresetFlows, SaveOutsideTheKnownFoldersRescansTheRootOrKeepsTheLibrary) {
    library.scan(presets);
    setSetting("presetpath", presets);
    const std::string fresh = temp.folder("content/Presets/Fresh");
    ASSERT_TRUE(manager.savePreset((fresh + "x.cdz").c_str(), 0));
    const int32_t index = library.folderIndex("Fresh");
    ASSERT_GE(index, 0);
    EXPECT_EQ(host.folderIndex, std::optional<int32_t>(index));
    EXPECT_EQ(library.presetIndex(index, "x"), 0);

    // Outside the library and without a stored root there is nothing to rescan.
    setSetting("presetpath0", "");
    const std::string outside = temp.folder("outside");
    ASSERT_TRUE(manager.savePreset((outside + "x.cdz").c_str(), 0));
    EXPECT_GE(library.folderIndex("Live"), 0);
    EXPECT_EQ(host.folderIndex, std::optional<int32_t>(0));
}

TEST_F(PresetFlows, SaveDialogAppendsTheExtensionAndRemembersTheFolder) {
    dialog.answer = MFFileDialog::Result::chosen;
    dialog.chosenPath = temp.path("content/Reverb/Cathedral");
    ASSERT_TRUE(manager.savePreset(nullptr, 13, "srb"));
    ASSERT_EQ(dialog.calls.size(), 1u);
    EXPECT_EQ(dialog.calls[0].mode, MFFileDialog::Mode::save);
    EXPECT_EQ(dialog.calls[0].folder, temp.path("content/Reverb/"));
    EXPECT_EQ(dialog.calls[0].types[0].extension, "srb");
    EXPECT_TRUE(presettest::exists(temp.path("content/Reverb/Cathedral.srb")));
    EXPECT_EQ(setting("presetsavepath13"), temp.path("content/Reverb/"));
    EXPECT_EQ(host.names[13], "Cathedral");

    // A path that already ends in the extension is kept; the remembered folder is offered.
    temp.folder("content/Elsewhere");
    dialog.chosenPath = temp.path("content/Elsewhere/Room.srb");
    ASSERT_TRUE(manager.savePreset(nullptr, 13, "srb"));
    EXPECT_EQ(dialog.calls[1].folder, temp.path("content/Reverb/"));
    EXPECT_TRUE(presettest::exists(temp.path("content/Elsewhere/Room.srb")));
    EXPECT_FALSE(presettest::exists(temp.path("content/Elsewhere/Room.srb.srb")));
    EXPECT_EQ(setting("presetsavepath13"), temp.path("content/Elsewhere/"));

    // Nothing at all is done for EMPTY, a one-character path, cancel or no dialog.
    const int writesBefore = host.writes;
    for (const char* choice : {"EMPTY", "x"}) {
        dialog.chosenPath = choice;
        EXPECT_FALSE(manager.savePreset(nullptr, 13, "srb"));
    }
    dialog.answer = MFFileDialog::Result::cancelled;
    EXPECT_FALSE(manager.savePreset(nullptr, 13, "srb"));
    EXPECT_TRUE(messages.shown().empty());
    dialog.answer = MFFileDialog::Result::unavailable;
    EXPECT_FALSE(manager.savePreset(nullptr, 13, "srb"));
    EXPECT_EQ(messages.shown(), std::vector<std::string>{MFPresetManager::noDialogNotice});
    EXPECT_EQ(host.writes, writesBefore);
    EXPECT_EQ(host.names[13], "Room");
    EXPECT_FALSE(manager.savePreset("EMPTY", 13, "srb"));
    EXPECT_FALSE(presettest::exists("EMPTY"));
}

TEST_F(PresetFlows, FailedSaveReportsAndStillTakesTheName) {
    const std::string path = temp.path("no/such/folder/p.cdz");
    EXPECT_FALSE(manager.savePreset(path.c_str(), 0));
    EXPECT_EQ(messages.shown(), std::vector<std::string>{"saving preset to " + path + " failed"});
    EXPECT_EQ(host.names[0], "p");
    EXPECT_EQ(host.refreshes, 1);
}

TEST_F(PresetFlows, NextAndPreviousWrapAndStartFromTheFirstForAnUnknownName) {
    manager.nextPreset(0);     // Presets holds only folders
    manager.previousPreset(4); // no presetpath4 at all
    EXPECT_TRUE(host.reads.empty());
    EXPECT_EQ(host.refreshes, 0);
    const std::string reverb = temp.path("content/Reverb/");
    for (const char* name : {"one", "two", "three"})
        writePreset(reverb + name + ".srb", 1);
    // The platform's order decides; find it the same way the flow does.
    MFFileio listing;
    listing.list(reverb, false, true);
    ASSERT_EQ(listing.count(), 3u);
    std::vector<std::string> order;
    for (const auto& entry : listing.entries())
        order.push_back(MFPaths::nameOf(entry.name));

    host.names[13] = "not there";
    for (std::size_t k : {0, 1, 2, 0}) { // wraps forwards
        manager.nextPreset(13);
        EXPECT_EQ(host.names[13], order[k]);
    }
    for (std::size_t k : {2, 1}) { // and backwards
        manager.previousPreset(13);
        EXPECT_EQ(host.names[13], order[k]);
    }
    host.names[13] = "not there";
    manager.previousPreset(13);
    EXPECT_EQ(host.names[13], order[2]);
    EXPECT_EQ(host.reads.size(), 7u);
    for (const auto& call : host.reads)
        EXPECT_EQ(call.category, 13);
    EXPECT_TRUE(messages.shown().empty());
}
