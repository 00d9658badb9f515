#include "PatternTestSupport.h"
#include "pattern/MFChunk.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFRandom.h"
#include "pattern/MFZone.h"
#include "platform/MFMessageService.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

std::vector<float> steps(const MFFloatZoneHandler& lane, int from, int to) {
    std::vector<float> v;
    for (int s = from; s <= to; ++s)
        v.push_back(lane.stepTable[s]);
    return v;
}

} // namespace

TEST(ZoneHandler, StepTableNumbersZonesAndLaterZoneWins) {
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    paint(lane, 4, 5);
    paint(lane, 6, 6); // adjacent: a new number with no gap, so a new zone is heard
    paint(lane, 127, 127);
    EXPECT_EQ(steps(lane, 3, 7), (std::vector<float>{0, 1, 1, 2, 0}));
    EXPECT_EQ(lane.stepTable[127], 3.0f);
    EXPECT_EQ(lane.zoneAt(127), lane.zoneByIndex(2));
    EXPECT_EQ(lane.zoneCountF, 3.0f);
    EXPECT_EQ(lane.startTable[1], 6.0f);

    // Overlap: 5..8 sorts between 4..5 and 6..6, so the list is 4-5, 5-8, 6-6, 127. Step 5
    // goes to the later 5-8 (2), step 6 to the still later 6-6 (3), steps 7-8 back to 2.
    paint(lane, 5, 8);
    EXPECT_EQ(steps(lane, 4, 9), (std::vector<float>{1, 2, 3, 2, 2, 0}));
    EXPECT_EQ(lane.zoneAt(5)->start, 4) << "zoneAt takes the first in list order";

    // Equal start goes behind the existing zone.
    MFZone* same = paint(lane, 4, 4);
    EXPECT_EQ(lane.indexOfZone(same), 1);

    // Moving a zone rebuilds the tables; stale start/end entries behind the count remain.
    lane.clearZones(false);
    EXPECT_EQ(lane.zoneCount(), 0);
    EXPECT_EQ(lane.zoneCountF, 0.0f);
    EXPECT_EQ(steps(lane, 0, 127), std::vector<float>(128, 0.0f));
    MFZone* z = paint(lane, 0, 31);
    z->setEnd(9);
    EXPECT_EQ(lane.stepTable[10], 0.0f);
    EXPECT_EQ(lane.endTable[0], 9.0f);
    // Out-of-range steps are stored as given but never written outside the table.
    z->setRange(-5, 400);
    EXPECT_EQ(lane.stepTable[0], 1.0f);
    EXPECT_EQ(lane.stepTable[127], 1.0f);
}

TEST(ZoneHandler, FreeRangeStopsBeforeTheNextZone) {
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    paint(lane, 20, 30);
    int32_t lastFree = -9;
    EXPECT_TRUE(lane.freeRange(10, lastFree));
    EXPECT_EQ(lastFree, 19);
    EXPECT_FALSE(lane.freeRange(20, lastFree));
    EXPECT_FALSE(lane.freeRange(30, lastFree));
    EXPECT_TRUE(lane.freeRange(31, lastFree));
    EXPECT_EQ(lastFree, 127);
    EXPECT_EQ(lane.zoneAt(19), nullptr);
    EXPECT_EQ(lane.zoneAt(31), nullptr);
}

TEST(ZoneHandler, DeletionPathsAndTrash) {
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    MFZone* a = paint(lane, 0, 1);
    MFZone* b = paint(lane, 4, 5);
    MFZone* c = paint(lane, 8, 9);

    // A zone held by an audio client is only marked and parked.
    b->inUse.set(true);
    lane.removeZone(b);
    EXPECT_EQ(lane.zoneCount(), 3) << "zoneCount still counts the parked zone";
    EXPECT_EQ(lane.zoneByIndex(1), c) << "zoneByIndex skips it";
    EXPECT_EQ(lane.indexOfZone(c), 1);
    EXPECT_EQ(lane.zoneAt(4), nullptr);
    ASSERT_EQ(lane.trashList().size(), 1u);
    EXPECT_FALSE(lane.purgeDeleted() && lane.trashList().empty()) << "still in use";
    b->inUse.set(false);
    EXPECT_TRUE(lane.purgeDeleted());
    EXPECT_TRUE(lane.trashList().empty());
    EXPECT_EQ(lane.zoneCount(), 2);
    EXPECT_EQ(lane.stepTable[8], 2.0f) << "tables follow the purge";

    // Deferred clear marks everything and keeps the list.
    lane.clearZones(true);
    EXPECT_EQ(lane.zoneCount(), 2);
    EXPECT_EQ(lane.zoneByIndex(0), nullptr);
    EXPECT_EQ(lane.trashList().size(), 2u);
    EXPECT_TRUE(lane.purgeDeleted());
    EXPECT_EQ(lane.zoneCount(), 0);
    (void)a;
}

TEST(ZoneHandler, BusyAudioDefersDeleteAndReportsOnce) {
    // Waits out its 1000 one-millisecond tries: about one second of sleeping, no CPU.
    static std::vector<std::string> messages;
    messages.clear();
    MFMessageService::setHandler([](MFMessageService::Kind, const char* text) {
        messages.emplace_back(text);
        return true;
    });
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    MFZone* z = paint(lane, 2, 3);
    lane.setBusy(true);
    lane.removeZone(z);
    MFMessageService::setHandler(nullptr);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0], "Can't delete Zone. Reduce CPU Usage and try again.");
    EXPECT_EQ(lane.zoneCount(), 1);
    EXPECT_TRUE(z->deleted.get());
    EXPECT_FALSE(lane.purgeDeleted()) << "no purge while audio is busy";
    lane.setBusy(false);
    EXPECT_TRUE(lane.purgeDeleted());
    EXPECT_EQ(lane.zoneCount(), 0);
}

TEST(ZoneHandler, SerialisedFormIsWordExact) {
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    EXPECT_EQ(writeWords(lane), (std::vector<uint32_t>{1, 520860, 0}));
    paint(lane, 3, 7);
    paint(lane, 0, 0);
    // Handler header, then per zone: type 0, zone marker 0, start, end; list order.
    const std::vector<uint32_t> expected = {1, 520860, 2, 0, 0, 0, 0, 0, 0, 3, 7};
    EXPECT_EQ(writeWords(lane), expected);

    MFFloatZoneHandler copy(ctx.info, 1, false);
    int32_t consumed = 0;
    EXPECT_EQ(readWords(copy, expected, true, &consumed), 1);
    EXPECT_EQ(consumed, 11) << "skip consumes exactly the body";
    EXPECT_EQ(copy.zoneCount(), 0) << "skip changes nothing";
    EXPECT_EQ(readWords(copy, expected, false, &consumed), 1);
    EXPECT_EQ(consumed, 11);
    EXPECT_EQ(writeWords(copy), expected);
    EXPECT_EQ(copy.stepTable[7], 2.0f);

    // Older body without the magic: a first word of 0 goes straight to the count.
    MFFloatZoneHandler legacy(ctx.info, 1, false);
    EXPECT_EQ(readWords(legacy, {0, 1, 0, 0, 5, 6}, false), 1);
    ASSERT_EQ(legacy.zoneCount(), 1);
    EXPECT_EQ(legacy.zoneByIndex(0)->start, 5);
    // An empty body leaves the lane as it was; reading adds to existing zones.
    EXPECT_EQ(readWords(legacy, {1, 520860, 0}, false), 1);
    EXPECT_EQ(legacy.zoneCount(), 1);
    EXPECT_EQ(readWords(legacy, {1, 520860, 1, 0, 0, 9, 9}, false), 1);
    EXPECT_EQ(legacy.zoneCount(), 2);
}

TEST(ZoneHandler, CorruptAndTruncatedBodiesFail) {
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    EXPECT_EQ(readWords(lane, {1, 520861, 0}, false), 3) << "wrong magic";
    EXPECT_EQ(readWords(lane, {1, 520860, 1, 0, 1, 2, 3}, false), 3) << "zone marker 1";
    EXPECT_EQ(lane.zoneCount(), 0) << "the half-built zone is destroyed";
    EXPECT_EQ(readWords(lane, {1, 520860, 2, 0, 0, 2, 3, 0, 0}, false), 3) << "truncated";
    EXPECT_EQ(readWords(lane, {1, 520860, 0x7FFFFFFF, 0, 0, 1, 1}, false), 3) << "huge count";
    EXPECT_EQ(readWords(lane, {1}, false), 3);
    EXPECT_EQ(readWords(lane, {}, true), 3);
}

TEST(ZoneHandler, ClipboardAndRegistry) {
    PatternContext ctx;
    MFFloatZoneHandler a(ctx.info, 7, false);
    MFFloatZoneHandler b(ctx.info, 7, false);
    paint(a, 1, 2);
    paint(a, 10, 12);
    paint(b, 30, 31);
    a.copyZones();
    a.removeZone(a.zoneAt(1));
    b.pasteZones(); // sees the source as it is now
    ASSERT_EQ(b.zoneCount(), 1);
    EXPECT_EQ(b.zoneByIndex(0)->start, 10);
    EXPECT_EQ(b.stepTable[11], 1.0f);
    EXPECT_EQ(b.stepTable[30], 0.0f);

    a.pasteZones(); // onto itself: emptied first, nothing left to copy
    EXPECT_EQ(a.zoneCount(), 0);
    MFZoneHandler::clearClipboard();
    b.pasteZones();
    EXPECT_EQ(b.zoneCount(), 1) << "empty clipboard changes nothing";

    // clearAllWithId reaches same-id lanes of this instance only.
    PatternContext other;
    MFFloatZoneHandler foreign(other.info, 7, false);
    MFFloatZoneHandler otherId(ctx.info, 8, false);
    paint(a, 0, 0);
    paint(foreign, 0, 0);
    paint(otherId, 0, 0);
    b.clearAllWithId(7);
    EXPECT_EQ(a.zoneCount(), 0);
    EXPECT_EQ(b.zoneCount(), 0);
    EXPECT_EQ(foreign.zoneCount(), 1);
    EXPECT_EQ(otherId.zoneCount(), 1);
    EXPECT_EQ(ctx.info.initObjects.size(), 3u);
}

TEST(ZoneHandler, RandomiseIsSeededAndPaintsDisjointZonesInRange) {
    PatternContext ctx;
    MFFloatZoneHandler lane(ctx.info, 1, false);
    MFRandom::reseed();
    lane.randomise(0);
    EXPECT_EQ(lane.zoneCount(), 0);

    const auto zonesOf = [](MFFloatZoneHandler& l) {
        std::vector<std::pair<int32_t, int32_t>> z;
        for (int32_t i = 0; i < l.zoneCount(); ++i)
            z.push_back({l.zoneByIndex(i)->start, l.zoneByIndex(i)->end});
        return z;
    };
    std::size_t most = 0;
    for (int32_t seed = 1; seed <= 40; ++seed) {
        MFFloatZoneHandler a(ctx.info, 2, false), b(ctx.info, 2, false);
        MFRandom::reseed(seed * 7919);
        a.randomise(32);
        const auto zones = zonesOf(a);
        // Sorted, disjoint zones inside the 32 steps asked for.
        for (std::size_t i = 0; i < zones.size(); ++i) {
            EXPECT_LE(zones[i].first, zones[i].second) << seed;
            EXPECT_GE(zones[i].first, 0) << seed;
            EXPECT_LT(zones[i].second, 32) << seed;
            if (i > 0) {
                EXPECT_GT(zones[i].first, zones[i - 1].second) << seed;
            }
        }
        MFRandom::reseed(seed * 7919);
        b.randomise(32);
        EXPECT_EQ(zonesOf(b), zones) << "the same seed paints the same lane";
        most = std::max(most, zones.size());
    }
    EXPECT_GE(most, 2u) << "some seed must paint several zones";
    MFRandom::reseed();
}
