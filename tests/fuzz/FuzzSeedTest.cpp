// Seeds for the plug-in-level fuzz targets, made from the factory content: whole files,
// truncations around the 20-byte probe and the size word, and hostile edits of the words
// the readers trust least. The test checks the committed corpus matches what the content
// gives today; run it with CADENZOID_WRITE_CORPUS=1 to rewrite the files. Files named
// "regression-*" are inputs found by fuzzing and are kept as they are.
#include "presets/MFPresetCategory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Bytes = std::vector<uint8_t>;
using Seeds = std::map<std::string, Bytes>;

constexpr int32_t listEnd = -1;
constexpr int32_t mapListEnd = -2;
constexpr int32_t mapBlockEnd = -3;
constexpr int32_t nameCount = 15;
constexpr int32_t bodyStart = 9; // five header words, then four version words
constexpr int32_t huge = 0x7FFFFFFF;

Bytes readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The build's factory content and source tree; the environment may name others.
fs::path content() {
    const char* path = std::getenv("CADENZOID_CONTENT");
    return path ? fs::path(path) : fs::path(FUZZ_CONTENT_DIR);
}

fs::path corpus(const std::string& target) {
    const char* source = std::getenv("CADENZOID_SOURCE");
    return fs::path(source ? source : FUZZ_SOURCE_DIR) / "tests" / "fuzz" / "corpus" / target;
}

// The stream as words, for edits; files are whole words by construction.
std::vector<int32_t> wordsOf(const Bytes& bytes) {
    std::vector<int32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

Bytes bytesOf(const std::vector<int32_t>& words) {
    Bytes bytes(words.size() * 4);
    std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

// Where the readers' trusted words sit in a whole-state stream, found by walking it.
struct Layout {
    int32_t firstRecord = bodyStart;
    int32_t firstBody = -1;  // size word of the first record with a body longer than a value
    int32_t firstValue = -1; // value word of the first plain value record
    int32_t mapBlock = 0;
    int32_t nameCountWord = 0;
    int32_t section = 0;
};

Layout walk(const std::vector<int32_t>& w) {
    Layout at;
    std::size_t p = bodyStart;
    while (p + 1 < w.size() && w[p] != listEnd) {
        if (at.firstBody < 0 && w[p + 1] > 1)
            at.firstBody = int32_t(p + 1);
        if (at.firstValue < 0 && w[p + 1] == 1)
            at.firstValue = int32_t(p + 2);
        p += 2 + std::size_t(w[p + 1]);
    }
    at.mapBlock = int32_t(++p);
    while (p < w.size() && w[p] != mapBlockEnd) {
        ++p;
        while (p < w.size() && w[p] != mapListEnd)
            p += 2;
        ++p;
    }
    at.nameCountWord = int32_t(++p);
    ++p;
    for (int32_t i = 0; i < nameCount && p < w.size(); ++i)
        p += 1 + (std::size_t(w[p]) + 3) / 4;
    at.section = int32_t(p);
    return at;
}

void addTruncations(Seeds& seeds, const std::string& stem, const Bytes& file) {
    for (std::size_t cut :
         {std::size_t(19), std::size_t(20), std::size_t(21), file.size() / 2, file.size() - 4})
        if (cut < file.size())
            seeds[stem + "-cut" + std::to_string(cut)] =
                Bytes(file.begin(), file.begin() + long(cut));
}

// Hostile edits of a whole-state stream.
void addHostile(Seeds& seeds, const Bytes& file) {
    const std::vector<int32_t> words = wordsOf(file);
    const Layout at = walk(words);
    ASSERT_LT(std::size_t(at.section + 3), words.size()) << "the walk must end inside the stream";
    ASSERT_GT(at.firstBody, 0) << "a whole state has lanes";
    auto edit = [&](const std::string& name, int32_t index, int32_t value) {
        std::vector<int32_t> w = words;
        w[std::size_t(index)] = value;
        seeds[name] = bytesOf(w);
    };
    edit("hostile-size-word-huge", 0, huge);
    edit("hostile-size-word-negative", 0, -8);
    edit("hostile-writer-version-newer", 1, 99);
    edit("hostile-format-version-zero", 7, 0);
    edit("hostile-first-record-size-huge", at.firstRecord + 1, huge);
    edit("hostile-first-record-size-negative", at.firstRecord + 1, -5);
    edit("hostile-record-id-unknown", at.firstRecord, 123456);
    edit("hostile-lane-body-size-huge", at.firstBody, huge);
    edit("hostile-lane-first-count-huge", at.firstBody + 1, huge);
    edit("hostile-lane-first-count-negative", at.firstBody + 1, -1);
    edit("hostile-name-count-huge", at.nameCountWord, huge);
    edit("hostile-name-count-negative", at.nameCountWord, -3);
    edit("hostile-name-length-huge", at.nameCountWord + 1, huge);
    edit("hostile-program-out-of-range", at.section + 1, 100000);
    edit("hostile-folder-out-of-range", at.section + 2, -100000);
    edit("hostile-global-map-count-huge", at.section + 3, huge);
    // Value words that are no numbers, and values far outside 0..1 both ways (they once
    // overflowed the effects' integer maths); every value record is plain in a whole state.
    ASSERT_GT(at.firstValue, 0);
    constexpr int32_t quietNaN = 0x7FC00000;
    constexpr int32_t infinity = 0x7F800000;
    auto everyValue = [&](const std::string& name, auto value) {
        std::vector<int32_t> w = words;
        std::size_t p = bodyStart;
        for (int32_t k = 0; p + 1 < w.size() && w[p] != listEnd; ++k) {
            if (w[p + 1] == 1)
                w[p + 2] = value(k);
            p += 2 + std::size_t(w[p + 1]);
        }
        seeds[name] = bytesOf(w);
    };
    everyValue("hostile-values-nan", [](int32_t) { return quietNaN; });
    everyValue("hostile-values-out-of-range", [](int32_t k) {
        const float value = k % 2 ? 1.0e30f : -4.0e16f;
        int32_t word;
        std::memcpy(&word, &value, 4);
        return word;
    });
    edit("hostile-value-infinite", at.firstValue, infinity);

    // A MIDI map key far outside the controllers, with one entry, inserted before the
    // block's end; the header's size word follows the insertion.
    for (int32_t key : {100000, -7}) {
        std::vector<int32_t> w = words;
        const int32_t block[] = {key, 3, 0, mapListEnd};
        w.insert(w.begin() + at.mapBlock, std::begin(block), std::end(block));
        w[0] = int32_t(w.size());
        seeds["hostile-map-key-" + std::string(key < 0 ? "negative" : "huge")] = bytesOf(w);
    }
}

// A library tree record: folder, name (bit 7 of the length byte appends ".cdz"), content.
void addRecord(Bytes& tree, uint8_t folder, const std::string& name, bool preset,
               const Bytes& file) {
    tree.push_back(folder);
    tree.push_back(uint8_t(name.size() & 0x3F) | (preset ? 0x80 : 0x40));
    // The fuzz target maps bytes onto its alphabet by index: "a".."z" are 0..25.
    for (char c : name.substr(0, 0x3F))
        tree.push_back(uint8_t(c >= 'a' && c <= 'z' ? c - 'a' : 62));
    const std::size_t length = std::min<std::size_t>(file.size(), 0xFFFF);
    tree.push_back(uint8_t(length & 0xFF));
    tree.push_back(uint8_t(length >> 8));
    tree.insert(tree.end(), file.begin(), file.begin() + long(length));
}

struct Factory {
    std::map<std::string, Bytes> wholeStates;                 // by name, a few representative ones
    std::vector<std::pair<std::string, Bytes>> effectPresets; // every per-effect file
    Bytes defaultState;
};

Factory loadFactory() {
    Factory f;
    const fs::path root = content();
    f.defaultState = readFile(root / "Presets" / "default.cdz");
    // Whole states are 50 KB each: a representative few keep the corpus small.
    for (const char* name : {"Midi Programs/Program 0 Loops.cdz", "Performance/Controller Mix.cdz"})
        f.wholeStates[fs::path(name).stem().string()] = readFile(root / "Presets" / name);
    f.wholeStates["default"] = f.defaultState;
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file() && entry.path().extension() != ".cdz")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files)
        f.effectPresets.push_back({fs::relative(path, root).string(), readFile(path)});
    return f;
}

std::string stemOf(const std::string& relative) {
    std::string s;
    for (char c : relative)
        s += (c == '/' || c == ' ') ? '-' : c;
    return s;
}

Seeds setChunkSeeds(const Factory& f) {
    Seeds seeds;
    for (const char* name : {"default", "Program 0 Loops"})
        seeds["factory-" + stemOf(name)] = f.wholeStates.at(name);
    addTruncations(seeds, "default", f.defaultState);
    addHostile(seeds, f.defaultState);
    return seeds;
}

// The preset-file target reads a category byte before the file.
Seeds presetFileSeeds(const Factory& f) {
    Seeds seeds;
    auto withCategory = [](uint8_t category, const Bytes& file) {
        Bytes b{category};
        b.insert(b.end(), file.begin(), file.end());
        return b;
    };
    seeds["c00-factory-default"] = withCategory(0, f.defaultState);
    Seeds cuts;
    addTruncations(cuts, "default", f.defaultState);
    for (const auto& [name, bytes] : cuts)
        seeds["c00-" + name] = withCategory(0, bytes);
    // The state reader's hostile words are seeded for the chunk target; here only the
    // header words the file flow checks itself and the values that crashed a file load,
    // to keep the corpus small.
    Seeds hostile;
    addHostile(hostile, f.defaultState);
    for (const char* name :
         {"hostile-size-word-huge", "hostile-size-word-negative", "hostile-writer-version-newer",
          "hostile-values-nan", "hostile-values-out-of-range"})
        seeds[std::string("c00-") + name] = withCategory(0, hostile.at(name));

    // Every per-effect file under its own category, the first of them also cut and with
    // its first record claiming a huge body.
    const std::vector<MFPresetCategory> categories = MFPresetCategory::makeList();
    bool first = true;
    for (const auto& [relative, bytes] : f.effectPresets) {
        const std::string folder = fs::path(relative).begin()->string();
        const MFPresetCategory* category = nullptr;
        for (const MFPresetCategory& c : categories)
            if (c.name == folder && c.number > 0)
                category = &c;
        if (!category) {
            ADD_FAILURE() << relative << " is in no effect's folder";
            continue;
        }
        char prefix[8];
        std::snprintf(prefix, sizeof prefix, "c%02d-", int(category->number));
        const uint8_t number = uint8_t(category->number);
        seeds[prefix + stemOf(relative)] = withCategory(number, bytes);
        if (first) {
            first = false;
            Seeds effectCuts;
            addTruncations(effectCuts, stemOf(relative), bytes);
            for (const auto& [name, cut] : effectCuts)
                seeds[prefix + name] = withCategory(number, cut);
            std::vector<int32_t> w = wordsOf(bytes);
            w[bodyStart + 1] = huge;
            seeds[std::string(prefix) + "hostile-record-size-huge"] =
                withCategory(number, bytesOf(w));
        }
    }
    return seeds;
}

Seeds libraryScanSeeds(const Factory& f) {
    Seeds seeds;
    seeds["empty"] = Bytes();
    Bytes programs;
    addRecord(programs, 0, "program", true, f.wholeStates.at("Program 0 Loops"));
    addRecord(programs, 0, "second", true, f.defaultState);
    addRecord(programs, 0, "notes", false, Bytes{'h', 'i'});
    addRecord(programs, 1, "groove", true, f.wholeStates.at("Controller Mix"));
    addRecord(programs, 4, "loose", true, f.defaultState);
    seeds["factory-midi-programs"] = programs;

    Bytes damaged;
    addRecord(damaged, 0, "probe", true,
              Bytes(f.defaultState.begin(), f.defaultState.begin() + 19));
    addRecord(damaged, 0, "header", true,
              Bytes(f.defaultState.begin(), f.defaultState.begin() + 20));
    addRecord(
        damaged, 2, "half", true,
        Bytes(f.defaultState.begin(), f.defaultState.begin() + long(f.defaultState.size() / 2)));
    std::vector<int32_t> w = wordsOf(f.defaultState);
    w[0] = huge;
    addRecord(damaged, 3, "huge", true, bytesOf(w));
    w[0] = -1;
    addRecord(damaged, 3, "negative", true, bytesOf(w));
    addRecord(damaged, 1, "empty", true, Bytes());
    seeds["hostile-damaged-files"] = damaged;

    // More files than a folder holds: the library must stop at its limit.
    Bytes crowded;
    for (int i = 0; i < 140; ++i) {
        std::string name = "p";
        name += char('a' + i / 26);
        name += char('a' + i % 26);
        addRecord(crowded, uint8_t(i % 2), name, true,
                  Bytes(f.defaultState.begin(), f.defaultState.begin() + 24));
    }
    seeds["hostile-crowded-folders"] = crowded;
    return seeds;
}

void checkOrWrite(const std::string& target, const Seeds& seeds) {
    const fs::path folder = corpus(target);
    if (std::getenv("CADENZOID_WRITE_CORPUS")) {
        fs::create_directories(folder);
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().filename().string().rfind("regression-", 0) != 0)
                fs::remove(entry.path());
        for (const auto& [name, bytes] : seeds) {
            std::ofstream out(folder / name, std::ios::binary);
            out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        }
        return;
    }
    std::size_t committed = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("regression-", 0) == 0)
            continue;
        ++committed;
        EXPECT_TRUE(seeds.count(name)) << target << "/" << name << " is no longer generated";
    }
    EXPECT_EQ(committed, seeds.size()) << target << ": seeds missing from the corpus";
    for (const auto& [name, bytes] : seeds)
        EXPECT_EQ(readFile(folder / name), bytes) << target << "/" << name << " is stale";
}

class FuzzSeeds : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists(content() / "Presets" / "default.cdz"))
            << content() << " holds no factory content (target cadenzoid-content)";
        factory = loadFactory();
        ASSERT_GT(factory.defaultState.size(), 100u);
        ASSERT_GT(factory.effectPresets.size(), 14u);
    }
    Factory factory;
};

} // namespace

TEST_F(FuzzSeeds, SetChunkCorpusIsCurrent) {
    checkOrWrite("SetChunkFuzz", setChunkSeeds(factory));
}

TEST_F(FuzzSeeds, PresetFileCorpusIsCurrent) {
    checkOrWrite("PresetFileFuzz", presetFileSeeds(factory));
}

TEST_F(FuzzSeeds, LibraryScanCorpusIsCurrent) {
    checkOrWrite("LibraryScanFuzz", libraryScanSeeds(factory));
}

TEST_F(FuzzSeeds, HostileEditsHitTheWordsTheyName) {
    // The walk must land on the words the writer put there, or the hostile seeds edit
    // something else: the name count is the constant 15, the map block ends in -3 right
    // before it, and the section number 16 follows the fifteen names.
    const std::vector<int32_t> w = wordsOf(factory.defaultState);
    const Layout at = walk(w);
    EXPECT_EQ(w[std::size_t(at.nameCountWord)], nameCount);
    EXPECT_EQ(w[std::size_t(at.nameCountWord - 1)], mapBlockEnd);
    EXPECT_EQ(w[std::size_t(at.section)], 16);
    EXPECT_EQ(w[0], int32_t(w.size())) << "the size word counts the whole stream";
}
