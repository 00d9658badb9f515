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

// A message at offset o after the last tick is due at the first tick that reaches it:
// tick max(1, ceil(o / 64)), never earlier, at most 63 samples late, and one taken late
// must not pass its lateness on to the next.
// Checked with random inserts between ticks, more than the reserved places at once,
// against a model of absolute times: time order, ties in arrival order.
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
