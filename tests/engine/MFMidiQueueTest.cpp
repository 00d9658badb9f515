#include "engine/MFMidiQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

MFMidiMessage tagged(int32_t id) {
    MFMidiMessage m;
    m.type = MFMidiType::controller;
    m.data1 = id;
    return m;
}

struct Taken {
    int32_t id;
    int32_t tick;
};

} // namespace

// The stored delays are relative to the message before, with the remainder taken off
// the entry that an insert lands in front of.
TEST(MidiQueue, KeepsRelativeDelaysSortedWithArrivalOrderForTies) {
    MFMidiQueue q;
    q.insert(tagged(1), 100);
    q.insert(tagged(2), 30);
    q.insert(tagged(3), 100);
    q.insert(tagged(4), 0);
    q.insert(tagged(5), 64);
    ASSERT_EQ(q.size(), 5);
    const int32_t ids[] = {4, 2, 5, 1, 3};
    const int32_t delays[] = {0, 30, 34, 36, 0};
    for (int32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(q.at(i).data1, ids[i]) << "place " << i;
        EXPECT_EQ(q.at(i).delay, delays[i]) << "place " << i;
        EXPECT_EQ(q.at(i).source, 100);
        EXPECT_EQ(q.at(i).count, 1);
    }
}

// A message at offset o after the last tick is handed over at the first tick that
// reaches it: tick max(1, ceil(o / 64)), never earlier, at most 63 samples late. The
// second message of a pair must not inherit its predecessor's lateness.
TEST(MidiQueue, HandsOverAtTheFirstTickThatReachesEachOffset) {
    MFMidiQueue q;
    q.insert(tagged(1), 100); // tick 2
    q.insert(tagged(2), 110); // tick 2 as well, after 1
    q.insert(tagged(3), 129); // tick 3
    q.insert(tagged(4), 64);  // tick 1
    q.insert(tagged(5), 0);   // tick 1, before 4
    std::vector<Taken> taken;
    for (int32_t tick = 1; tick <= 4; ++tick)
        q.takeDue([&](const MFMidiMessage& m) { taken.push_back({m.data1, tick}); });
    ASSERT_EQ(taken.size(), 5u);
    const Taken expected[] = {{5, 1}, {4, 1}, {1, 2}, {2, 2}, {3, 3}};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(taken[i].id, expected[i].id) << "hand-over " << i;
        EXPECT_EQ(taken[i].tick, expected[i].tick) << "hand-over " << i;
    }
    EXPECT_TRUE(q.empty());
}

// Random inserts between ticks, including more than the reserved places, against a model
// of absolute due times: each message comes out at the first tick at or after its
// sample, in time order, ties in arrival order.
TEST(MidiQueue, MatchesAnAbsoluteTimeModelUnderInterleavedInsertsAndGrowth) {
    std::mt19937 rng(1234);
    std::uniform_int_distribution<int32_t> offsetOf(-5, 700);
    std::uniform_int_distribution<int32_t> burstOf(0, 40);
    MFMidiQueue q;
    struct Expected {
        int64_t due; // absolute sample
        int32_t id;
        int32_t tick;
    };
    std::vector<Expected> expected;
    std::vector<Taken> taken;
    int32_t id = 0;
    for (int32_t tick = 1; tick <= 400; ++tick) {
        // Past tick 300 only drain; around tick 40 a burst pushes it past its reserve.
        const int32_t burst = tick > 300 ? 0 : (tick == 40 ? 600 : burstOf(rng));
        for (int32_t i = 0; i < burst; ++i) {
            const int32_t o = offsetOf(rng);
            const int64_t sample = int64_t(tick - 1) * 64 + std::max(0, o);
            const int64_t dueTick = std::max<int64_t>(tick, (sample + 63) / 64);
            expected.push_back({sample, id, int32_t(dueTick)});
            q.insert(tagged(id++), o);
        }
        q.takeDue([&](const MFMidiMessage& m) { taken.push_back({m.data1, tick}); });
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [](const Expected& a, const Expected& b) { return a.due < b.due; });
    ASSERT_EQ(taken.size(), expected.size());
    for (std::size_t i = 0; i < taken.size(); ++i) {
        ASSERT_EQ(taken[i].id, expected[i].id) << "hand-over " << i;
        ASSERT_EQ(taken[i].tick, expected[i].tick) << "message " << taken[i].id;
    }
    EXPECT_TRUE(q.empty());
}
