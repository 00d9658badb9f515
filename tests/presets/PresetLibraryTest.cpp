#include "PresetTestSupport.h"

#include "presets/MFFileio.h"
#include "presets/MFPresetLibrary.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using presettest::PresetWords;
using presettest::TempFolder;

namespace {

std::vector<std::string> namesIn(const MFPresetLibrary& library, int32_t folder) {
    std::vector<std::string> names;
    for (int32_t i = 0; i < library.presetCount(folder); ++i)
        names.push_back(library.preset(folder, i)->name);
    return names;
}

// Each preset gets its own payload word so that a mixed-up file is noticed.
void writePreset(const std::string& path, int32_t marker) {
    PresetWords words;
    words.payload = {marker, -1};
    ASSERT_TRUE(words.writeTo(path));
}

} // namespace

TEST(PresetLibrary, ScanSortsCaseInsensitivelyAndKeepsWholeFiles) {
    TempFolder temp;
    const std::string live = temp.folder("root/Live");
    writePreset(live + "b.cdz", 2);
    writePreset(live + "A.cdz", 1);
    writePreset(live + "c.cdz", 3);
    writePreset(live + "_under.cdz", 4); // '_' sorts after the letters once they are upper-cased
    writePreset(live + "name..cdz", 5);
    writePreset(live + "other.sxl", 6); // another category's extension
    writePreset(live + "cdz", 7);       // no point before the extension

    MFPresetLibrary library;
    library.scan(temp.path("root"));
    EXPECT_EQ(library.rootPath(), temp.path("root/"));
    ASSERT_EQ(library.folderCount(), 1);
    EXPECT_EQ(library.folderName(0), "Live");
    EXPECT_EQ(namesIn(library, 0), (std::vector<std::string>{"A", "b", "c", "name.", "_under"}));
    // The chunk holds the file's words and is ready to read from its start.
    const MFChunk* a = library.preset(0, 0);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->position, 0);
    EXPECT_EQ(a->sizeWords, 11);
    EXPECT_EQ(a->capacity(), 11);
    EXPECT_EQ(int32_t(a->data[9]), 1);
    EXPECT_EQ(int32_t(library.preset(0, 2)->data[9]), 3);

    EXPECT_EQ(library.presetIndex(0, "B"), -1); // lookups are exact
    EXPECT_EQ(library.preset(0, 5), nullptr);
    EXPECT_EQ(library.preset(-1, 0), nullptr);
}

TEST(PresetLibrary, ScanSkipsShortForeignOldAndDamagedFiles) {
    TempFolder temp;
    const std::string f = temp.folder("root/Mixed");
    PresetWords good;
    good.writeTo(f + "good.cdz");

    const std::vector<uint32_t> words = good.build();
    presettest::writeFile(f + "short19.cdz", words.data(), 19);
    PresetWords foreign;
    foreign.productId = 4711;
    foreign.writeTo(f + "foreign.cdz");
    PresetWords oldFormat; // format 1 has no product word and is accepted as it is
    oldFormat.format = 1;
    oldFormat.writeTo(f + "format1.cdz");
    PresetWords noPlugin;
    noPlugin.pluginVersion = 0;
    noPlugin.writeTo(f + "version0.cdz");
    PresetWords badMagic;
    badMagic.magic = 26101978;
    badMagic.writeTo(f + "magic.cdz");
    // The size word promises more than the file holds, and less than it holds.
    std::vector<uint32_t> lying = words;
    lying[0] += 1;
    presettest::writeFile(f + "longer.cdz", lying.data(), lying.size() * 4);
    lying[0] -= 2;
    presettest::writeFile(f + "shorter.cdz", lying.data(), lying.size() * 4);
    // A header that claims format 2 but ends before its product word.
    std::vector<uint32_t> cut(words.begin(), words.begin() + 8);
    cut[0] = 8;
    presettest::writeFile(f + "cut.cdz", cut.data(), cut.size() * 4);
    // A folder that looks like a preset is not a file.
    temp.folder("root/Mixed/folder.cdz");

    MFPresetLibrary library;
    library.scan(temp.path("root/"));
    ASSERT_EQ(library.folderCount(), 1);
    EXPECT_EQ(namesIn(library, 0), (std::vector<std::string>{"format1", "good"}));
}

TEST(PresetLibrary, FoldersAndPresetsAreCappedAt128) {
    TempFolder temp;
    const std::string big = temp.folder("root/Big");
    // 130 presets, written in reverse so that the listing order is not the sort order.
    for (int i = 129; i >= 0; --i) {
        char name[32];
        std::snprintf(name, sizeof name, "p%03d.cdz", i);
        writePreset(big + name, i);
    }
    MFPresetLibrary library;
    library.scan(temp.path("root"));
    ASSERT_EQ(library.presetCount(0), 128);
    EXPECT_EQ(library.preset(0, 0)->name, "p000");
    EXPECT_EQ(library.preset(0, 127)->name, "p127");
    EXPECT_EQ(library.presetIndex(0, "p128"), -1);

    TempFolder many;
    for (int i = 0; i < 130; ++i)
        many.folder("root/f" + std::to_string(i));
    MFPresetLibrary wide;
    wide.scan(many.path("root"));
    EXPECT_EQ(wide.folderCount(), 128);
    EXPECT_EQ(wide.folderName(128), "");
}

TEST(PresetLibrary, MidiProgramsNamesAndRescan) {
    TempFolder temp;
    const std::string midi = temp.folder("root/Midi Programs");
    temp.folder("root/Other");
    const std::string longName(70, 'n');
    writePreset(midi + "1 first.cdz", 1);
    writePreset(midi + longName + ".cdz", 2);

    MFPresetLibrary library;
    library.scan(temp.path("root"));
    ASSERT_EQ(library.folderCount(), 2);
    const int32_t m = library.midiFolder();
    ASSERT_GE(m, 0);
    EXPECT_EQ(library.folderName(m), "Midi Programs");
    ASSERT_NE(library.midiProgram(0), nullptr);
    EXPECT_EQ(library.midiProgram(0)->name, "1 first");
    EXPECT_EQ(library.midiProgram(2), nullptr);

    char name[128];
    library.presetName(name, sizeof name, m, 1);
    EXPECT_EQ(std::string(name), std::string(64, 'n')); // cut at 64 characters
    library.presetName(name, sizeof name, m, 7);
    EXPECT_STREQ(name, "empty");
    library.presetName(name, 4, m, 0); // a small buffer is never overrun
    EXPECT_STREQ(name, "1 f");

    // A preset added on disk appears after rescanning its folder only.
    writePreset(midi + "0 zero.cdz", 0);
    EXPECT_EQ(library.presetCount(m), 2);
    library.rescanFolder(m);
    EXPECT_EQ(library.presetCount(m), 3);
    EXPECT_EQ(library.midiProgram(0)->name, "0 zero");
    library.rescanFolder(99); // out of range: nothing happens

    // A root without a "Midi Programs" folder has no MIDI list; a missing root is empty.
    library.scan(temp.path("root/Other"));
    EXPECT_EQ(library.midiFolder(), -1);
    EXPECT_EQ(library.midiProgram(0), nullptr);
    library.scan(temp.path("missing"));
    EXPECT_EQ(library.folderCount(), 0);
    library.presetName(name, sizeof name, 0, 0);
    EXPECT_STREQ(name, "empty");
}

TEST(Fileio, WholeFileReaderChecksSizeBeforeAllocating) {
    TempFolder temp;
    PresetWords preset;
    const std::string path = temp.path("p.cdz");
    preset.writeTo(path);
    const int32_t words = int32_t(preset.build().size());
    std::unique_ptr<uint32_t[]> buffer;
    EXPECT_EQ(MFFileio::readWholeFile(path.c_str(), words, buffer), MFFileio::ReadStatus::ok);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(int32_t(buffer[4]), 26101977);
    EXPECT_EQ(MFFileio::readWholeFile(path.c_str(), words + 1, buffer),
              MFFileio::ReadStatus::sizeMismatch);
    EXPECT_FALSE(buffer);
    EXPECT_EQ(MFFileio::readWholeFile(path.c_str(), -words, buffer),
              MFFileio::ReadStatus::sizeMismatch);

    // A sparse file just over the cap whose size word agrees with it is still refused.
    const std::string huge = temp.path("huge.cdz");
    const int fd = ::open(huge.c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    const off_t hugeBytes = off_t(MFFileio::maxPresetBytes) + 4;
    ASSERT_EQ(::ftruncate(fd, hugeBytes), 0);
    ::close(fd);
    EXPECT_EQ(MFFileio::readWholeFile(huge.c_str(), int32_t(hugeBytes / 4), buffer),
              MFFileio::ReadStatus::tooLarge);
    EXPECT_FALSE(buffer);
    EXPECT_EQ(MFFileio::readWholeFile(temp.path("none").c_str(), 5, buffer),
              MFFileio::ReadStatus::unreadable);
    EXPECT_EQ(MFFileio::readWholeFile(temp.base().c_str(), 5, buffer),
              MFFileio::ReadStatus::unreadable); // a folder
}

TEST(Fileio, WriterReplacesTheFileWholeAndLeavesNothingElse) {
    TempFolder temp;
    const std::string path = temp.path("bytes");
    ASSERT_TRUE(MFFileio::writeFileBytes(path.c_str(), "0123456789", 10));
    char back[11] = {};
    EXPECT_FALSE(MFFileio::readFileBytes(path.c_str(), back, 11)); // fewer bytes than asked
    ASSERT_TRUE(MFFileio::writeFileBytes(path.c_str(), "xy", 2));
    EXPECT_EQ(presettest::readText(path), "xy");
    MFFileio listing;
    ASSERT_TRUE(listing.list(temp.base()));
    EXPECT_EQ(listing.count(), 1u);
    EXPECT_FALSE(MFFileio::writeFileBytes(temp.path("missing/x").c_str(), "xy", 2));
}

// Factory content installed for all users belongs to root and is read-only to everyone
// else: such presets must still be listed and loaded.
TEST(PresetLibrary, PresetsTheUserCannotWriteAreRead) {
    TempFolder temp;
    ::chmod(temp.base().c_str(), 0755);
    const std::string folder = temp.folder("root/Factory");
    writePreset(folder + "shared.cdz", 9);
    ::chmod((folder + "shared.cdz").c_str(), 0444);
    const int result = presettest::asUnprivilegedUser([&] {
        uint32_t probe[5];
        if (!MFFileio::readFileBytes((folder + "shared.cdz").c_str(), probe, sizeof probe))
            return 1;
        MFPresetLibrary library;
        library.scan(temp.path("root"));
        return library.presetCount(0) == 1 && int32_t(library.preset(0, 0)->data[9]) == 9 ? 0 : 2;
    });
    EXPECT_EQ(result, 0);
}
