// The persistent state through the plug-in object: what getChunk writes, what setChunk and
// the preset paths restore, and what a damaged stream is not allowed to touch. Expected
// streams are built here word by word from the layout, never taken from the writer.

#include "engine/EngineRig.h"
#include "pattern/MFChunk.h"
#include "presets/PresetTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

using presettest::MessageCapture;
using presettest::ScopedEnv;
using presettest::TempFolder;

namespace {

constexpr int32_t magic = 26101977;
constexpr int32_t product = 110108;
const std::string badFormat = "\t This is no valid Cadenzoid format!";

// Tags and ids of a few plain records, from the parameter table.
constexpr int32_t loopSizeTag = 7, loopSizeId = 121;
constexpr int32_t loopFadeTag = 8;
constexpr int32_t scratchMixTag = 17, scratchMixId = 182;
constexpr int32_t reversMixTag = 21, reversMixId = 137;
constexpr int32_t masterTag = 1, masterId = 216;

uint32_t bitsOf(float v) {
    return std::bit_cast<uint32_t>(v);
}

// A stream built by hand: the five header words first, the size word filled in at the end.
struct Words {
    std::vector<uint32_t> w{0, 3, bitsOf(120.0f), bitsOf(44100.0f), uint32_t(magic)};
    Words& i(int32_t v) {
        w.push_back(uint32_t(v));
        return *this;
    }
    Words& f(float v) {
        w.push_back(bitsOf(v));
        return *this;
    }
    Words& s(const std::string& text) {
        i(int32_t(text.size()));
        const std::size_t first = w.size();
        w.resize(first + (text.size() + 3) / 4, 0);
        std::memcpy(w.data() + first, text.data(), text.size());
        return *this;
    }
    Words& value(int32_t id, float v) { return i(id).i(1).f(v); }
    std::vector<uint32_t> done() {
        w[0] = uint32_t(w.size());
        return w;
    }
};

// Counts every setParameter, from the host and from the state reader alike.
class CountingClient : public MFUniClient {
public:
    explicit CountingClient(vst::HostCallback host) : MFUniClient(host) {}
    void setParameter(int32_t tag, float value) override {
        ++setCalls;
        MFUniClient::setParameter(tag, value);
    }
    int setCalls = 0;
};

struct Instance {
    Instance() {
        client = new CountingClient(FakeHost::callback());
        host.attach(client);
    }
    CountingClient& operator*() { return *client; }
    CountingClient* operator->() { return client; }
    FakeHost host;
    CountingClient* client;
};

std::vector<uint32_t> chunkOf(MFUniClient& c) {
    void* data = nullptr;
    const int32_t bytes = c.getChunk(&data, false);
    const uint32_t* words = static_cast<const uint32_t*>(data);
    return std::vector<uint32_t>(words, words + bytes / 4);
}

void setChunk(MFUniClient& c, std::vector<uint32_t> words) {
    c.setChunk(words.data(), int32_t(words.size() * 4), false);
}

std::vector<uint32_t> stateOf(MFUniClient& c, int32_t category) {
    MFChunk chunk;
    chunk.beginMeasure(120.0f, 44100.0f);
    c.writeState(chunk, category);
    chunk.allocateMeasured();
    c.writeState(chunk, category);
    return std::vector<uint32_t>(chunk.data, chunk.data + chunk.capacity());
}

using Ranges = std::vector<std::pair<int32_t, int32_t>>;
Ranges zonesOf(MFZoneHandlerContainer<MFFloatZoneHandler>& lane, int32_t pattern) {
    Ranges out;
    if (MFFloatZoneHandler* handler = lane.handler(pattern))
        for (const MFZone* z : handler->zones())
            out.emplace_back(z->start, z->end);
    return out;
}

using Map = std::vector<std::pair<int32_t, int32_t>>;
Map mapOf(const std::vector<MFMapEntry>& list) {
    Map out;
    for (const MFMapEntry& e : list)
        out.emplace_back(e.tag, e.sub);
    return out;
}

MFMapEntry entry(int16_t tag, int16_t sub) {
    MFMapEntry e;
    e.tag = tag;
    e.sub = sub;
    return e;
}

// Where each element of a whole-state parameter list starts, found by the size words.
struct Element {
    int32_t id;
    int32_t size;
    std::size_t body;
};
std::vector<Element> elementsOf(const std::vector<uint32_t>& w) {
    std::vector<Element> out;
    std::size_t p = 9;
    while (p + 1 < w.size() && int32_t(w[p]) != -1) {
        out.push_back({int32_t(w[p]), int32_t(w[p + 1]), p + 2});
        p += 2 + w[p + 1];
    }
    return out;
}

// Every test runs in a home of its own: no settings, no content, no default preset.
class StateTest : public ::testing::Test {
protected:
    // Settings for the instances made after this; the first start is already done.
    void storeSettings(const char* name, int32_t value) {
        MFSettingsStore store;
        ASSERT_TRUE(store.open("Cadenzoid"));
        store.setInteger("firstuse", 1);
        store.setInteger(name, value);
        store.close();
    }
    TempFolder home;
    ScopedEnv config{"XDG_CONFIG_HOME", home.folder("config").c_str()};
    ScopedEnv data{"XDG_DATA_HOME", home.folder("data").c_str()};
};

TEST_F(StateTest, WholeStateRoundTripRestoresZonesTablesMapsNamesAndProgram) {
    Instance a;
    MFUniClient& c = *a;
    paintZone(c.getLane(mflane::loop).zones, 0, 0, 3);
    paintZone(c.getLane(mflane::loop).zones, 5, 8, 15);
    paintZone(c.getLane(mflane::stutter).zones, 2, 28, 31);
    paintZone(c.getLane(mflane::reverb).zones, 11, 30, 31);
    paintZone(c.getMasterLane(), 3, 4, 7);
    MFTableXY& table = c.getLane(mflane::filter).tableA;
    ASSERT_GE(table.getRowCount(), 3);
    table.setRawOnRow(5, 2, 0.77f);
    table.setRawOnRow(0, 0, 0.125f);
    c.getEventTable(1).setRawOnRow(3, 1, 0.375f);
    c.setParameter(loopSizeTag, 0.3f);
    c.setParameter(499, 0.15f); // "Tempo", a value kept by a mouse area
    MFMidiMaps& maps = c.getMidiMaps();
    maps.controllers[7].push_back(entry(7, 0));
    maps.controllers[74] = {entry(47, 0), entry(300, 2)};
    maps.global = {entry(13, 0), entry(44, 1)};
    MFPresetHost& names = c;
    names.presetName(0) = "Session";
    names.presetName(3) = "Baby Scratch";
    names.presetName(14) = "Wobble";
    names.setFolderIndex(2);
    names.setCurrentProgram(5);
    const std::vector<uint32_t> bytes = chunkOf(c);

    Instance b;
    MFUniClient& d = *b;
    setChunk(d, bytes);
    EXPECT_EQ(chunkOf(d), bytes);

    // The bytes agreeing could hide a state that was only copied; the objects must hold it.
    EXPECT_EQ(zonesOf(d.getLane(mflane::loop).zones, 0), (Ranges{{0, 3}}));
    EXPECT_EQ(zonesOf(d.getLane(mflane::loop).zones, 5), (Ranges{{8, 15}}));
    EXPECT_EQ(zonesOf(d.getLane(mflane::stutter).zones, 2), (Ranges{{28, 31}}));
    EXPECT_EQ(zonesOf(d.getLane(mflane::reverb).zones, 11), (Ranges{{30, 31}}));
    EXPECT_TRUE(zonesOf(d.getLane(mflane::reverb).zones, 0).empty());
    EXPECT_EQ(zonesOf(d.getMasterLane(), 3), (Ranges{{4, 7}}));
    EXPECT_EQ(d.getLane(mflane::filter).tableA.rawAt(5, 2), 0.77f);
    EXPECT_EQ(d.getLane(mflane::filter).tableA.rawAt(0, 0), 0.125f);
    EXPECT_EQ(d.getEventTable(1).rawAt(3, 1), 0.375f);
    EXPECT_EQ(d.getRegistry().rawValue(loopSizeTag), 0.3f);
    EXPECT_EQ(d.getRegistry().rawValue(499), 0.15f);
    EXPECT_EQ(mapOf(d.getMidiMaps().controllers[7]), (Map{{7, 0}}));
    EXPECT_EQ(mapOf(d.getMidiMaps().controllers[74]), (Map{{47, 0}, {300, 2}}));
    EXPECT_EQ(mapOf(d.getMidiMaps().global), (Map{{13, 0}, {44, 1}}));
    EXPECT_EQ(d.getPresetNames()[0], "Session");
    EXPECT_EQ(d.getPresetNames()[3], "Baby Scratch");
    EXPECT_EQ(d.getPresetNames()[14], "Wobble");
    EXPECT_EQ(d.getFolderIndex(), 2);
    EXPECT_EQ(d.getProgram(), 5);
    EXPECT_FALSE(d.isLoading());
}

TEST_F(StateTest, EffectStateHoldsOnlyItsRecordsAndOneNameAndLoadsOnlyThem) {
    Instance a;
    a->setParameter(scratchMixTag, 0.25f);
    MFPresetHost& names = *a;
    names.presetName(3) = "Baby Scratch";
    const std::vector<uint32_t> w = stateOf(*a, 3);

    ASSERT_GT(w.size(), 9u);
    EXPECT_EQ(w[0], w.size());
    EXPECT_EQ(int32_t(w[4]), magic);
    EXPECT_EQ((std::vector<uint32_t>(w.begin() + 5, w.begin() + 9)),
              (std::vector<uint32_t>{5, 1, 3, uint32_t(product)}));

    const auto& records = a->getRegistry().recordsByCategory[3];
    std::vector<std::string> seen;
    std::size_t p = 9;
    for (const MFParameterRecord* r : records) {
        ASSERT_LE(p + 3, w.size());
        EXPECT_EQ(int32_t(w[p]), r->id) << r->name;
        EXPECT_EQ(w[p + 1], 1u) << r->name;
        EXPECT_EQ(std::bit_cast<float>(w[p + 2]), float(*r->value)) << r->name;
        seen.push_back(r->name);
        p += 3;
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen, (std::vector<std::string>{"ScratchAttack", "ScratchBWD", "ScratchBwdSlope",
                                              "ScratchFWD", "ScratchFwdSlope", "ScratchMix",
                                              "ScratchRelease", "ScratchSize"}));
    // Behind the list: the terminator, one name, section 16, the empty matrix, "Host".
    const std::vector<uint32_t> tail = Words{}.i(-1).s("Baby Scratch").i(16).i(0).i(0).s("Host").w;
    ASSERT_EQ(w.size(), p + tail.size() - 5);
    EXPECT_EQ(std::vector<uint32_t>(w.begin() + std::ptrdiff_t(p), w.end()),
              std::vector<uint32_t>(tail.begin() + 5, tail.end()));

    // Read into another instance: the effect's values and name arrive, nothing else moves.
    Instance b;
    b->setParameter(loopSizeTag, 0.9f);
    MFChunk chunk;
    chunk.attachCopy(w.data(), w.size() * 4);
    ASSERT_TRUE(b->readState(chunk, 3, false, true, false));
    EXPECT_EQ(b->getRegistry().rawValue(scratchMixTag), 0.25f);
    EXPECT_EQ(b->getRegistry().rawValue(loopSizeTag), 0.9f);
    EXPECT_EQ(b->getPresetNames()[3], "Baby Scratch");
    EXPECT_EQ(b->getPresetNames()[0], "default");
}

// A whole state written by hand: three known values, an element of an unknown id with 20
// words of body, one more known value behind it, maps and names.
std::vector<uint32_t> handWritten() {
    Words w;
    w.i(5).i(1).i(3).i(product);
    w.value(loopSizeId, 0.3f).value(scratchMixId, 0.25f).value(masterId, 0.8f);
    w.i(9999).i(20).f(0.5f);
    for (int k = 0; k < 19; ++k)
        w.i(int32_t(0xDEADBEEF));
    w.value(reversMixId, 0.6f).i(-1);
    w.i(7).i(47).i(0).i(-2).i(-3);
    w.i(15).s("Hand Made");
    for (int k = 1; k < 15; ++k)
        w.i(0);
    w.i(16).i(5).i(2).i(1).i(13).i(1).i(-4).i(0).i(0).s("Host");
    return w.done();
}

TEST_F(StateTest, HandWrittenStreamLandsValuesSkipsUnknownIdAndRestoresMaps) {
    Instance a;
    MFUniClient& c = *a;
    c.getMidiMaps().controllers[20].push_back(entry(5, 0));
    const int32_t wetTag = c.getRegistry().byName("GlobalWet")->index;
    c.setParameter(wetTag, 0.3f);
    const MFParameterRecord* fade = c.getRegistry().byTag(loopFadeTag);
    ASSERT_NE(float(*fade->value), fade->defaultValue);

    MessageCapture messages;
    setChunk(c, handWritten());
    EXPECT_TRUE(messages.shown().empty());
    const MFParameterRegistry& r = c.getRegistry();
    EXPECT_EQ(r.rawValue(loopSizeTag), 0.3f);
    EXPECT_EQ(r.rawValue(scratchMixTag), 0.25f);
    EXPECT_EQ(r.rawValue(masterTag), 0.8f);
    EXPECT_EQ(r.rawValue(reversMixTag), 0.6f); // the stream stayed aligned past id 9999
    // Unmentioned values fall back to their defaults; the global records keep theirs.
    EXPECT_EQ(r.rawValue(loopFadeTag), fade->defaultValue);
    EXPECT_EQ(r.rawValue(wetTag), 0.3f);
    EXPECT_EQ(mapOf(c.getMidiMaps().controllers[7]), (Map{{47, 0}}));
    EXPECT_TRUE(c.getMidiMaps().controllers[20].empty());
    EXPECT_EQ(mapOf(c.getMidiMaps().global), (Map{{13, 1}}));
    EXPECT_EQ(c.getPresetNames()[0], "Hand Made");
    EXPECT_EQ(c.getPresetNames()[1], "");
    EXPECT_EQ(c.getFolderIndex(), 2);
    EXPECT_EQ(c.getProgram(), 5);
}

// The older formats: 1 has no product word, 1 and 2 keep one word per map entry.
std::vector<uint32_t> olderFormat(int32_t format) {
    Words w;
    w.i(5).i(1).i(format);
    if (format >= 2)
        w.i(product);
    w.value(loopSizeId, 0.3f).value(masterId, 0.7f).i(-1);
    w.i(7).i(47).i(48).i(-2).i(64).i(300).i(-2).i(-3);
    w.i(1).s("Old");
    w.i(16).i(3).i(1).i(1).i(13).i(-4).i(0).i(0).s("Host");
    return w.done();
}

TEST_F(StateTest, FormatsOneAndTwoReadWithTheirOwnLayouts) {
    for (int32_t format : {1, 2}) {
        SCOPED_TRACE(format);
        Instance a;
        MessageCapture messages;
        setChunk(*a, olderFormat(format));
        EXPECT_TRUE(messages.shown().empty());
        EXPECT_EQ(a->getRegistry().rawValue(loopSizeTag), 0.3f);
        EXPECT_EQ(a->getRegistry().rawValue(masterTag), 0.7f);
        EXPECT_EQ(mapOf(a->getMidiMaps().controllers[7]), (Map{{47, 0}, {48, 0}}));
        EXPECT_EQ(mapOf(a->getMidiMaps().controllers[64]), (Map{{300, 0}}));
        EXPECT_EQ(mapOf(a->getMidiMaps().global), (Map{{13, 0}}));
        EXPECT_EQ(a->getPresetNames()[0], "Old");
        EXPECT_EQ(a->getProgram(), 3);
        EXPECT_EQ(a->getFolderIndex(), 1);
    }
}

TEST_F(StateTest, RefusedStreamsLeaveTheStateUntouchedAndSayWhy) {
    // The stream offered: a different state, so that any partial load would show.
    Instance source;
    paintZone(source->getLane(mflane::delay).zones, 1, 2, 5);
    source->setParameter(loopSizeTag, 0.05f);
    source->getMidiMaps().controllers[1].push_back(entry(9, 0));
    const std::vector<uint32_t> good = chunkOf(*source);
    const std::vector<Element> elements = elementsOf(good);

    Instance target;
    paintZone(target->getLane(mflane::loop).zones, 0, 0, 3);
    target->setParameter(loopSizeTag, 0.9f);
    target->getMidiMaps().controllers[2].push_back(entry(11, 0));
    const std::vector<uint32_t> before = chunkOf(*target);

    // The body of the first lane: its handler count is the third word of the body.
    int32_t laneId = -1;
    for (const MFParameterRecord* r : target->getRegistry().recordsByCategory[0])
        if (r->chunkable == &target->getLane(0).zones)
            laneId = r->id;
    std::size_t laneBody = 0, loopSize = 0;
    for (const Element& e : elements) {
        if (e.id == laneId)
            laneBody = e.body;
        if (e.id == loopSizeId)
            loopSize = e.body - 1;
    }
    ASSERT_NE(laneBody, 0u);
    ASSERT_NE(loopSize, 0u);

    using Damage = std::function<void(std::vector<uint32_t>&)>;
    auto cut = [](std::size_t words) {
        return [words](std::vector<uint32_t>& w) { w.resize(words); };
    };
    const std::string wrongVersion = "wrong plugin version";
    const std::string notOurs = "This is not a Cadenzoid file";
    const std::vector<std::tuple<const char*, Damage, std::string>> cases{
        {"bad magic", [](std::vector<uint32_t>& w) { w[4] = 1234; }, badFormat},
        {"plug-in version 2", [](std::vector<uint32_t>& w) { w[6] = 2; }, wrongVersion},
        {"format 0", [](std::vector<uint32_t>& w) { w[7] = 0; }, notOurs},
        {"other product", [](std::vector<uint32_t>& w) { w[8] = product + 1; }, notOurs},
        {"shorter than a header", cut(3), badFormat},
        {"cut in the parameter list", cut(12), badFormat},
        {"cut inside a lane body", cut(laneBody + 3), badFormat},
        {"cut in the matrix", cut(good.size() - 3), badFormat},
        {"trailer cut", cut(good.size() - 1), badFormat},
        {"lane without patterns", [=](std::vector<uint32_t>& w) { w[laneBody + 2] = 0; },
         badFormat},
        {"size beyond the stream", [=](std::vector<uint32_t>& w) { w[loopSize] = 0x7FFFFFFF; },
         badFormat},
    };
    for (const auto& [name, damage, text] : cases) {
        SCOPED_TRACE(name);
        std::vector<uint32_t> w = good;
        damage(w);
        MessageCapture messages;
        target->setCalls = 0;
        setChunk(*target, w);
        EXPECT_EQ(target->setCalls, 0);
        EXPECT_EQ(chunkOf(*target), before);
        EXPECT_EQ(messages.shown(), std::vector<std::string>{text});
        EXPECT_FALSE(target->isLoading());
    }

    // A host that hands over fewer bytes than the stream claims: only those are read.
    MessageCapture messages;
    std::vector<uint32_t> whole = good;
    target->setChunk(whole.data(), int32_t(whole.size() * 4 - 8), false);
    EXPECT_EQ(chunkOf(*target), before);

    // The undamaged stream does load, so the cases above failed for their damage alone.
    setChunk(*target, good);
    EXPECT_EQ(chunkOf(*target), good);
}

std::string writeStateFile(MFUniClient& c, const std::string& path) {
    const std::vector<uint32_t> w = stateOf(c, 0);
    EXPECT_TRUE(presettest::writeFile(path, w.data(), w.size() * 4));
    return path;
}

// A preset file leaves program and folder to the library and ignores a record kept on
// presets (reset to its default like the rest of the category); a host recall restores all.
TEST_F(StateTest, HostRecallRestoresProgramFolderAndKeptRecordsButAPresetFileDoesNot) {
    Instance a;
    a->setParameter(loopSizeTag, 0.3f);
    a->setParameter(scratchMixTag, 0.25f);
    MFPresetHost& host = *a;
    host.setFolderIndex(2);
    host.setCurrentProgram(5);
    const std::vector<uint32_t> bytes = chunkOf(*a);
    const std::string file = writeStateFile(*a, home.folder("saved") + "State.cdz");

    Instance b;
    MFParameterRecord* kept = b->getRegistry().byTag(loopSizeTag);
    kept->keepOnPreset = 1;
    b->setParameter(loopSizeTag, 0.9f);
    ASSERT_TRUE(b->getPresetManager().loadPreset(file.c_str(), 0));
    EXPECT_EQ(b->getRegistry().rawValue(scratchMixTag), 0.25f);
    EXPECT_EQ(b->getRegistry().rawValue(loopSizeTag), kept->defaultValue);
    EXPECT_EQ(b->getFolderIndex(), 0);
    EXPECT_EQ(b->getProgram(), 0);
    EXPECT_EQ(b->getPresetNames()[0], "State");

    setChunk(*b, bytes);
    EXPECT_EQ(b->getRegistry().rawValue(loopSizeTag), 0.3f);
    EXPECT_EQ(b->getFolderIndex(), 2);
    EXPECT_EQ(b->getProgram(), 5);
}

// A preset load replaces the learned controllers unless "CC Map Recall isolate" is on.
// Reopening a session is no preset load: its maps come back whatever the setting.
TEST_F(StateTest, PresetLoadsKeepTheMapsOnlyWhenIsolatedAndARecallAlwaysRestoresThem) {
    for (const bool isolate : {false, true}) {
        SCOPED_TRACE(isolate ? "isolated" : "not isolated");
        storeSettings("CC Map Recall isolate", isolate ? 1 : 0);
        Instance a;
        a->getMidiMaps().controllers[7].push_back(entry(47, 0));
        a->getMidiMaps().controllers[74] = {entry(44, 0), entry(300, 2)};
        a->getMidiMaps().global.push_back(entry(13, 1));
        a->setParameter(loopSizeTag, 0.3f);
        const std::string file = writeStateFile(*a, home.folder("saved") + "Mapped.cdz");
        const std::vector<uint32_t> session = chunkOf(*a);

        Instance b, c;
        for (Instance* own : {&b, &c}) {
            (*own)->getMidiMaps().controllers[20].push_back(entry(5, 0));
            (*own)->getMidiMaps().global.push_back(entry(9, 1));
        }
        ASSERT_TRUE(b->getPresetManager().loadPreset(file.c_str(), 0));
        EXPECT_EQ(b->getRegistry().rawValue(loopSizeTag), 0.3f);
        const MFMidiMaps& kept = b->getMidiMaps();
        EXPECT_EQ(mapOf(kept.controllers[20]), isolate ? (Map{{5, 0}}) : Map{});
        EXPECT_EQ(mapOf(kept.controllers[7]), isolate ? Map{} : (Map{{47, 0}}));
        EXPECT_EQ(mapOf(kept.global), isolate ? (Map{{9, 1}}) : (Map{{13, 1}}));

        setChunk(*c, session);
        const MFMidiMaps& recalled = c->getMidiMaps();
        EXPECT_EQ(mapOf(recalled.controllers[7]), (Map{{47, 0}}));
        EXPECT_EQ(mapOf(recalled.controllers[74]), (Map{{44, 0}, {300, 2}}));
        EXPECT_TRUE(recalled.controllers[20].empty()) << "the session's maps, not a merge";
        EXPECT_EQ(mapOf(recalled.global), (Map{{13, 1}}));
        EXPECT_EQ(chunkOf(*c), session);
    }
}

void runBlocks(Instance& a, int blocks, std::vector<float>* lastLeft = nullptr) {
    std::vector<float> in(256, 0.25f), outLeft(256), outRight(256);
    for (int block = 0; block < blocks; ++block) {
        float* inputs[2] = {in.data(), in.data()};
        float* outputs[2] = {outLeft.data(), outRight.data()};
        a->processReplacing(inputs, outputs, 256);
        for (std::size_t i = 0; i < 256; ++i)
            ASSERT_TRUE(std::isfinite(outLeft[i]) && std::isfinite(outRight[i]));
    }
    if (lastLeft)
        *lastLeft = outLeft;
}

// The loader's thread runs the load; a test waits for it, at most a few seconds.
bool waitForLoads(Instance& a, uint32_t count) {
    for (int tries = 0; tries < 5000 && a->getProgramLoader().completed() < count; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return a->getProgramLoader().completed() >= count;
}

TEST_F(StateTest, MidiProgramChangeLoadsItsNumberOnTheLoadersThread) {
    storeSettings("ignorePrgChange", 0);
    {
        Instance writer;
        const std::string folder = home.folder("library/Midi Programs");
        writer->setParameter(loopSizeTag, 0.41f);
        writeStateFile(*writer, folder + "p0.cdz");
        writer->setParameter(loopSizeTag, 0.42f);
        writeStateFile(*writer, folder + "p1.cdz");
    }
    Instance a;
    a->getPresetLibrary().scan(home.path("library/"));
    ASSERT_GE(a->getPresetLibrary().midiFolder(), 0);
    ASSERT_TRUE(a->getProgramLoader().isRunning());
    a->setSampleRate(44100.0f);
    a->resume();
    a.host.setPlaying(0.0, 120.0);

    // The number is the first data byte: program 1.
    MidiTestEvents events;
    events.add(10, 0xC0, 1, 0);
    a->processEvents(const_cast<vst::VstEvents*>(events.list()));
    runBlocks(a, 1);
    ASSERT_TRUE(waitForLoads(a, 1));
    EXPECT_EQ(a->getRegistry().rawValue(loopSizeTag), 0.42f);
    EXPECT_EQ(a->getPresetNames()[0], "p1");
    EXPECT_FALSE(a->isLoading());
    runBlocks(a, 2);

    // A program change whose load ends while the main thread holds the audio thread off
    // leaves that hold standing: only its owner ends it.
    events.clear();
    events.add(0, 0xC0, 0, 0);
    a->processEvents(const_cast<vst::VstEvents*>(events.list()));
    runBlocks(a, 1);
    ASSERT_TRUE(a->beginStructureChange(100));
    ASSERT_TRUE(waitForLoads(a, 2));
    EXPECT_EQ(a->getRegistry().rawValue(loopSizeTag), 0.41f);
    EXPECT_TRUE(a->isLoading());
    std::vector<float> left;
    runBlocks(a, 1, &left);
    EXPECT_EQ(*std::max_element(left.begin(), left.end()), 0.0f) << "still silent";
    a->endStructureChange();
    EXPECT_FALSE(a->isLoading());

    // A number with no preset behind it changes nothing.
    events.clear();
    events.add(0, 0xC0, 7, 0);
    a->processEvents(const_cast<vst::VstEvents*>(events.list()));
    runBlocks(a, 1);
    ASSERT_TRUE(waitForLoads(a, 3));
    EXPECT_EQ(a->getPresetNames()[0], "p0");
}

// Programs are the library as one list: folders A (3), B (2), C (1) and D (1), each preset
// told apart by its "LoopSize".
class ProgramTest : public StateTest {
protected:
    void SetUp() override {
        Instance writer;
        const std::vector<std::tuple<std::string, std::string, float>> files{
            {"A", "a1", 0.11f},       {"A", "a2", 0.12f}, {"A", "a3", 0.13f},
            {"B", "b1", 0.21f},       {"B", "b2", 0.22f}, {"C", longName, 0.31f},
            {"D", controlName, 0.41f}};
        for (const auto& [folder, name, value] : files) {
            writer->setParameter(loopSizeTag, value);
            writeStateFile(*writer, home.folder("library/" + folder) + name + ".cdz");
        }
        player->getPresetLibrary().scan(home.path("library/"));
        ASSERT_EQ(player->getPresetLibrary().folderCount(), 4);
    }
    float loopSize() { return player->getRegistry().rawValue(loopSizeTag); }
    // The host's program name buffer holds 24 characters and a terminator; nothing
    // beyond it may be written.
    std::string nameAt(int32_t index, bool current = false) {
        char text[256];
        std::memset(text, '#', sizeof text);
        if (current)
            player->getProgramName(text);
        else
            player->getProgramNameIndexed(0, index, text);
        for (std::size_t k = vst::kVstMaxProgNameLen + 1; k < sizeof text; ++k)
            EXPECT_EQ(text[k], '#') << "written past the host's buffer at " << k;
        return text;
    }

    const std::string longName = std::string(40, 'L') + std::string(40, 'M');
    const std::string controlName = "Tab\there\x01";
    Instance player;
};

TEST_F(ProgramTest, EveryListedNameIsWhatChoosingItLoads) {
    const std::vector<std::string> listed{
        "a1", "a2", "a3", "b1", "b2", longName.substr(0, vst::kVstMaxProgNameLen), "Tab here "};
    const float values[] = {0.11f, 0.12f, 0.13f, 0.21f, 0.22f, 0.31f, 0.41f};
    const int32_t folders[] = {0, 0, 0, 1, 1, 2, 3};
    // In an order that crosses folders both ways.
    for (int32_t program : {3, 1, 6, 0, 5, 2, 4}) {
        SCOPED_TRACE(program);
        EXPECT_EQ(nameAt(program), listed[std::size_t(program)]);
        player->setProgram(program);
        EXPECT_EQ(player->getProgram(), program);
        EXPECT_EQ(player->getFolderIndex(), folders[program]);
        EXPECT_EQ(loopSize(), values[program]);
        EXPECT_EQ(nameAt(-1), listed[std::size_t(program)]);
        EXPECT_EQ(nameAt(0, true), listed[std::size_t(program)]);
    }
    // The library itself keeps 64 characters of a name.
    char full[128];
    player->getPresetLibrary().presetName(full, sizeof full, 2, 0);
    EXPECT_EQ(std::string(full), longName.substr(0, 64));
    // Empty places change nothing, nor do numbers the host should not send.
    for (int32_t program : {7, 63, 64, 1000, -1, -5}) {
        SCOPED_TRACE(program);
        if (program >= 0 && program < 64) {
            EXPECT_EQ(nameAt(program), "empty");
        }
        player->setProgram(program);
        EXPECT_EQ(player->getProgram(), 4);
        EXPECT_EQ(loopSize(), 0.22f);
    }
}

TEST_F(ProgramTest, TheCurrentProgramLoadsWhenTheStateIsNotIt) {
    // At start the state is the plug-in's own, while program 0 is current.
    ASSERT_EQ(player->getProgram(), 0);
    ASSERT_NE(loopSize(), 0.11f);
    player->setProgram(0);
    EXPECT_EQ(loopSize(), 0.11f);
    // Once it is in force, choosing it again is no reload.
    player->setParameter(loopSizeTag, 0.5f);
    player->setProgram(0);
    EXPECT_EQ(loopSize(), 0.5f);
    // A session recalled on another state, with program 0 current: choosing it loads.
    Instance other;
    other->setParameter(loopSizeTag, 0.77f);
    setChunk(*player, chunkOf(*other));
    ASSERT_EQ(player->getProgram(), 0);
    ASSERT_EQ(loopSize(), 0.77f);
    player->setProgram(0);
    EXPECT_EQ(loopSize(), 0.11f);
    // A session saved with a program in force keeps its own state when the host picks it.
    player->setParameter(loopSizeTag, 0.6f);
    setChunk(*player, chunkOf(*player));
    player->setProgram(0);
    EXPECT_EQ(loopSize(), 0.6f);
}

// The host's step and the editor's arrows cross folders both ways.
TEST_F(ProgramTest, StepsFollowTheListAcrossFolders) {
    player->setProgram(0);
    player->stepProgram(-1);
    EXPECT_EQ(loopSize(), 0.41f);
    EXPECT_EQ(player->getFolderIndex(), 3);
    player->getPresetManager().previousPreset(0);
    EXPECT_EQ(loopSize(), 0.31f);
    EXPECT_EQ(player->getPresetNames()[0], longName);
    player->getPresetManager().nextPreset(0);
    player->getPresetManager().nextPreset(0);
    EXPECT_EQ(loopSize(), 0.11f);
    EXPECT_EQ(player->getProgram(), 0);
}

} // namespace
