#include "PatternTestSupport.h"
#include "pattern/MFChunk.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFZone.h"
#include "pattern/MFZoneHandlerContainer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using Lane = MFZoneHandlerContainer<MFFloatZoneHandler>;

TEST(Container, ForwardsToCurrentPatternAndInitsOnlyIt) {
    PatternContext ctx;
    Lane lane(ctx.info, 1, 12, false);
    EXPECT_EQ(ctx.info.initObjects.size(), 1u) << "only the container registers";
    for (int p = 0; p < 12; ++p) {
        lane.current = p;
        paint(lane, p, p + 1);
    }
    lane.current = 3;
    EXPECT_EQ(lane.currentHandler()->stepTable[4], 1.0f);
    lane.initCurrent();
    EXPECT_TRUE(lane.dirty);
    EXPECT_EQ(lane.zoneCount(), 0);
    paint(lane, 3, 4);
    lane.dirty = false;
    lane.initAll();
    EXPECT_TRUE(lane.dirty);
    for (int p = 0; p < 12; ++p)
        EXPECT_EQ(lane.handler(p)->zoneCount(), p == 3 ? 0 : 1) << "pattern " << p;

    lane.setRandomSteps(32);
    lane.random();
    EXPECT_EQ(lane.handler(2)->zoneCount(), 1) << "random touches only the current pattern";
}

TEST(Container, BodyFormAndReadingIgnoresCurrent) {
    PatternContext ctx;
    Lane lane(ctx.info, 1, 2, false);
    lane.current = 1;
    paint(lane, 2, 3);
    const std::vector<uint32_t> expected = {512795, 1,      2, 1,           // header
                                            1,      520860, 0,              // pattern 0
                                            1,      520860, 1, 0, 0, 2, 3}; // pattern 1
    EXPECT_EQ(writeWords(lane), expected);

    Lane copy(ctx.info, 1, 12, false);
    copy.current = 0;
    auto body = expected;
    body[3] = 5; // the stored current pattern is ignored
    int32_t consumed = 0;
    EXPECT_EQ(readWords(copy, body, false, &consumed), 1);
    EXPECT_EQ(consumed, int32_t(body.size()));
    EXPECT_EQ(copy.current, 0);
    EXPECT_EQ(copy.handlerCount, 2);
    EXPECT_EQ(copy.handler(2), nullptr);
    EXPECT_EQ(copy.handler(1)->zoneByIndex(0)->end, 3);

    // Skip consumes the same words and leaves the handlers alone.
    EXPECT_EQ(readWords(copy, body, true, &consumed), 1);
    EXPECT_EQ(consumed, int32_t(body.size()));
    EXPECT_EQ(copy.handler(1)->zoneCount(), 1);

    // Counts without usable patterns or a truncated body fail and keep the lane usable.
    for (uint32_t count : {0u, 64u, 0xFFFFFFFFu}) {
        auto bad = body;
        bad[2] = count;
        EXPECT_EQ(readWords(copy, bad), 0);
        EXPECT_NE(copy.currentHandler(), nullptr);
    }
    EXPECT_EQ(readWords(copy, std::vector<uint32_t>(body.begin(), body.begin() + 12)), 0);
    EXPECT_NE(copy.currentHandler(), nullptr);

    // A lane with fewer patterns than a body holds still steps over all of them when it
    // only checks the stream: a later element must not be read from inside this body.
    Lane twelve(ctx.info, 1, 12, false);
    twelve.current = 7;
    paint(twelve, 4, 9);
    const std::vector<uint32_t> longBody = writeWords(twelve);
    EXPECT_EQ(readWords(copy, longBody, true, &consumed), 1);
    EXPECT_EQ(consumed, int32_t(longBody.size()));
    EXPECT_EQ(copy.handlerCount, 2) << "a check changes nothing";
}

TEST(Container, CopyPasteKeyedByTag) {
    PatternContext ctx;
    Lane a(ctx.info, 1, 12, false), b(ctx.info, 1, 12, false), other(ctx.info, 1, 12, false);
    a.tag = 40;
    b.tag = 40;
    other.tag = 41;
    a.current = 2;
    paint(a, 5, 6);
    a.copy(0, 31);
    a.handler(2)->clearZones(false);
    paint(a, 9, 9);
    a.copy(1, 7); // replaces the entry for tag 40
    ASSERT_EQ(MFContainerGlobals::clipboard().size(), 1u);
    EXPECT_EQ(MFContainerGlobals::clipboard()[0]->copyTo, 7);
    EXPECT_EQ(ctx.info.initObjects.size(), 3u) << "clones do not register";

    paint(a, 20, 20); // after the copy: not in the clipboard
    b.current = 7;
    paint(b, 0, 0);
    b.paste();
    ASSERT_EQ(b.zoneCount(), 1);
    EXPECT_EQ(b.zoneByIndex(0)->start, 9);
    EXPECT_EQ(b.handler(2)->zoneCount(), 0) << "pasted into the current pattern";

    paint(other, 1, 1);
    other.paste(); // no entry for tag 41
    EXPECT_EQ(other.zoneCount(), 1);
    MFContainerGlobals::clearClipboard();
}

// The editor paints, moves and deletes zones while an audio thread reads step tables
// through the lane and switches patterns; run under ThreadSanitizer to prove it clean.
TEST(Container, EditorAndAudioThreadsShareTablesWithoutRaces) {
    PatternContext ctx;
    Lane lane(ctx.info, 1, 12, false);
    std::atomic<bool> stop{false};
    std::atomic<long> reads{0};
    std::thread audio([&] {
        float sum = 0.0f;
        while (!stop.load()) {
            for (int s = 0; s < 128; ++s) {
                const float v = lane.currentHandler()->stepValue(s);
                sum += v;
                if (v < 0.0f || v > 128.0f)
                    ADD_FAILURE() << "impossible step value " << v;
            }
            lane.current = int32_t(reads.load() % 12);
            reads.fetch_add(1);
        }
        EXPECT_GE(sum, 0.0f);
    });
    for (int round = 0; round < 300; ++round) {
        MFZone* z = lane.createZone(0);
        z->setRange(round % 120, round % 120 + 5);
        if (!lane.addZone(z))
            delete z;
        if (MFZone* hit = lane.zoneAt((round * 7) % 128))
            lane.removeZone(hit);
        if (round % 50 == 0)
            lane.clearZones(false);
    }
    while (reads.load() < 100)
        std::this_thread::yield();
    stop = true;
    audio.join();
}
