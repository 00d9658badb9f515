// The renderer's benchmark pairing: what is timed must be every member, in alternation,
// and each member's figures must be its own.

#include "tools/render/PairedBench.h"

#include <gtest/gtest.h>

#include <set>

namespace {

struct Call {
    std::size_t member;
    int64_t frames;
};

TEST(PairedBench, WarmsUpEveryMemberThenAlternatesWithARotatingFirst) {
    std::vector<Call> calls;
    PairedBench bench;
    for (std::size_t k = 0; k < 3; ++k)
        bench.add([&calls, k](int64_t frames) {
            calls.push_back({k, frames});
            return 0.0;
        });
    bench.measure(4, 1000, 50);

    ASSERT_EQ(calls.size(), 3u + 4u * 3u);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(calls[k].member, k);
        EXPECT_EQ(calls[k].frames, 50);
    }
    for (int round = 0; round < 4; ++round) {
        std::set<std::size_t> seen;
        for (std::size_t k = 0; k < 3; ++k) {
            const Call& c = calls[3 + std::size_t(round) * 3 + k];
            EXPECT_EQ(c.frames, 1000);
            seen.insert(c.member);
        }
        EXPECT_EQ(seen.size(), 3u) << "round " << round << " skipped or repeated a member";
        EXPECT_EQ(calls[3 + std::size_t(round) * 3].member, std::size_t(round) % 3)
            << "round " << round << " did not start with the next member";
    }
}

TEST(PairedBench, EachMemberKeepsItsOwnFiguresAndSummary) {
    PairedBench bench;
    // Member k answers 100 k plus its call count: figures that tell whose they are.
    for (int k = 0; k < 2; ++k)
        bench.add([k, count = 0](int64_t) mutable { return 100.0 * k + double(count++); });
    bench.measure(5, 10, 0);

    EXPECT_EQ(bench.nsPerFrame(0), (std::vector<double>{0, 1, 2, 3, 4}));
    EXPECT_EQ(bench.nsPerFrame(1), (std::vector<double>{100, 101, 102, 103, 104}));
    const PairedBench::Summary second = bench.summary(1);
    EXPECT_EQ(second.median, 102.0);
    EXPECT_EQ(second.min, 100.0);
    EXPECT_EQ(second.max, 104.0);
    // An even count takes the upper middle value; order of the figures does not matter.
    EXPECT_EQ(PairedBench::summarise({4.0, 1.0, 3.0, 2.0}).median, 3.0);
}

} // namespace
