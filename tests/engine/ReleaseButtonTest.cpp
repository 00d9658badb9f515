// The editor's action buttons: "init_c", "copy", "paste", "Chaos", a lane's init and the
// Stutter's "initstutter" act when the button is let go, once, and never because a value
// was loaded or sent while the button was already up.

#include "engine/EngineRig.h"
#include "presets/PresetTestSupport.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using presettest::ScopedEnv;
using presettest::TempFolder;

namespace {

constexpr int32_t initAllTag = 557, copyTag = 563, pasteTag = 564, chaosTag = 565;
constexpr int32_t initStutterTag = 305;
constexpr int32_t patternKeysTag = 0;

using Ranges = std::vector<std::pair<int32_t, int32_t>>;

class ReleaseButtons : public ::testing::Test {
protected:
    ReleaseButtons() {
        client = new MFUniClient(FakeHost::callback());
        host.attach(client);
    }

    MFZoneHandlerContainer<MFFloatZoneHandler>& lane(int32_t index) {
        return client->getLane(index).zones;
    }
    void paint(int32_t laneIndex, int32_t first, int32_t last) {
        paintZone(lane(laneIndex), client->getPattern(), first, last);
    }
    Ranges zonesOf(int32_t laneIndex, int32_t pattern) {
        Ranges out;
        if (MFFloatZoneHandler* handler = lane(laneIndex).handler(pattern))
            for (const MFZone* z : handler->zones())
                out.emplace_back(z->start, z->end);
        return out;
    }
    // Every current-row value of every step table, to see whether anything moved.
    std::vector<float> tableValues() {
        std::vector<float> out;
        for (int32_t l = 0; l < mflane::count; ++l)
            for (MFTableXY* t : {&client->getLane(l).tableA, &client->getLane(l).tableB})
                for (int32_t s = 0; s < MFEffectLane::stepCount; ++s)
                    out.push_back(t->rawAt(s, client->getPattern()));
        return out;
    }
    void selectPattern(int32_t p) {
        client->setParameter(patternKeysTag, (float(p) + 0.5f) / 12.0f);
    }
    // A click: down, held (any pressed value is the same press), up.
    void click(int32_t tag) {
        client->setParameter(tag, 1.0f);
        client->setParameter(tag, 0.6f);
        client->setParameter(tag, 0.0f);
    }

    TempFolder home;
    ScopedEnv config{"XDG_CONFIG_HOME", home.folder("config").c_str()};
    ScopedEnv data{"XDG_DATA_HOME", home.folder("data").c_str()};
    FakeHost host;
    MFUniClient* client = nullptr;
};

// "init_c", a lane's init and "initstutter": nothing while pressed or when a 0 reaches a
// button that is up; the release acts.
TEST_F(ReleaseButtons, InitsActOnTheirReleaseOnly) {
    paint(mflane::loop, 0, 3);
    paint(mflane::reverb, 8, 9);
    MFTableXY& table = client->getLane(mflane::filter).tableA;
    const float initial = table.rawAt(5, 0);
    table.setRawOnRow(5, 0, 0.77f);
    client->setParameter(initAllTag, 0.0f);
    client->setParameter(initAllTag, 1.0f);
    client->setParameter(initAllTag, 0.3f);
    EXPECT_EQ(zonesOf(mflane::loop, 0), (Ranges{{0, 3}})) << "pressed, not yet let go";
    client->setParameter(initAllTag, 0.0f);
    EXPECT_TRUE(zonesOf(mflane::loop, 0).empty());
    EXPECT_TRUE(zonesOf(mflane::reverb, 0).empty());
    EXPECT_EQ(table.rawAt(5, 0), initial) << "the table is back at its default";

    const MFLaneTags& t = mflane::tags[mflane::delay];
    paint(mflane::delay, 10, 12);
    client->setParameter(t.init, 0.0f);
    EXPECT_EQ(zonesOf(mflane::delay, 0), (Ranges{{10, 12}}));
    click(t.init);
    EXPECT_TRUE(zonesOf(mflane::delay, 0).empty());

    MFTableXY& events = client->getEventTable(0);
    const float eventDefault = events.rawAt(2, 0);
    events.setRawOnRow(2, 0, 0.2f);
    client->setParameter(initStutterTag, 0.0f);
    EXPECT_EQ(events.rawAt(2, 0), 0.2f);
    click(initStutterTag);
    EXPECT_EQ(events.rawAt(2, 0), eventDefault);
}

TEST_F(ReleaseButtons, CopyThenPasteCarriesThePatternToAnother) {
    paint(mflane::loop, 2, 5);
    MFTableXY& table = client->getLane(mflane::delay).tableA;
    table.setRawOnRow(7, 0, 0.625f);
    click(copyTag);

    selectPattern(4);
    ASSERT_EQ(client->getPattern(), 4);
    client->setParameter(pasteTag, 1.0f);
    EXPECT_TRUE(zonesOf(mflane::loop, 4).empty()) << "pressed, not yet let go";
    client->setParameter(pasteTag, 0.0f);
    EXPECT_EQ(zonesOf(mflane::loop, 4), (Ranges{{2, 5}}));
    EXPECT_EQ(table.rawAt(7, 4), 0.625f);
    EXPECT_EQ(zonesOf(mflane::loop, 0), (Ranges{{2, 5}})) << "the source stays";

    // Pasting again without a release does nothing more: empty the target, send 0 again.
    lane(mflane::loop).initCurrent();
    client->setParameter(pasteTag, 0.0f);
    EXPECT_TRUE(zonesOf(mflane::loop, 4).empty());
}

TEST_F(ReleaseButtons, ChaosRandomisesTheTablesAtTheRelease) {
    const std::vector<float> before = tableValues();
    client->setParameter(chaosTag, 1.0f);
    EXPECT_EQ(tableValues(), before) << "pressed, not yet let go";
    client->setParameter(chaosTag, 0.0f);
    const std::vector<float> after = tableValues();
    std::size_t changed = 0;
    for (std::size_t i = 0; i < after.size(); ++i)
        changed += after[i] != before[i] ? 1 : 0;
    // Random values in 28 tables of 32 steps: almost all differ from the defaults.
    EXPECT_GT(changed, after.size() / 2);
    client->setParameter(chaosTag, 0.0f);
    EXPECT_EQ(tableValues(), after);
}

// A stored button value, pressed or not, is loaded as a value and nothing more. The
// Stutter's button is saved behind its event table, so a 0 read there once wiped the table.
TEST_F(ReleaseButtons, LoadingAStateReleasesNothing) {
    auto chunkOf = [&] {
        void* data = nullptr;
        const int32_t size = client->getChunk(&data, false);
        return std::vector<char>(static_cast<char*>(data), static_cast<char*>(data) + size);
    };
    MFTableXY& events = client->getEventTable(0);
    events.setRawOnRow(3, 0, 0.2f);
    std::vector<char> up = chunkOf();
    client->setParameter(initStutterTag, 1.0f);
    std::vector<char> held = chunkOf();

    client->setParameter(initStutterTag, 0.0f); // a real release: the table is reset
    ASSERT_NE(events.rawAt(3, 0), 0.2f);
    client->setChunk(up.data(), int32_t(up.size()), false);
    EXPECT_EQ(events.rawAt(3, 0), 0.2f);
    // From held to up by two loads: still no release.
    client->setChunk(held.data(), int32_t(held.size()), false);
    client->setChunk(up.data(), int32_t(up.size()), false);
    EXPECT_EQ(events.rawAt(3, 0), 0.2f);
}

} // namespace
