// Whatever float a host sends, for whatever parameter, the plug-in keeps running: every
// record is given values far outside 0..1, zeros of both signs, infinities, NaN and
// denormals while every lane plays, and what leaves the plug-in stays finite and bounded.
// Run under the address sanitizer this also shows that no derived length or index leaves
// its buffer; a hang trips the watchdog.

#include "engine/EngineRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <thread>
#include <vector>

namespace {

// 22.05 kHz keeps the Stretch's grains short (at most 2756 samples), so that the values a
// grain latches are played to the grain's end within the samples each value gets.
constexpr float rate = 22050.0f;
constexpr int blockSize = 1024;
constexpr int blocksPerValue = 2;
// Input peak 0.5, master level at its top (x2): 64 (+36 dBFS) is far above any setting of
// the knobs and far below a feedback loop or a gain that ran away.
constexpr float levelBound = 64.0f;

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float tiniest = std::numeric_limits<float>::denorm_min();
const float hostileValues[] = {-1e30f, -100.0f, -2.0f,   -1.0f,   -1e-30f, -0.0f, 0.0f,
                               1.0f,   2.0f,    100.0f,  1e6f,    1e9f,    1e30f, inf,
                               -inf,   nan,     tiniest, -1e-40f, 1e-40f};

// Aborts naming the case in hand if one case runs for a minute: a hang, not slowness.
class Watchdog {
public:
    Watchdog() : thread([this] { watch(); }) {}
    ~Watchdog() {
        done.store(true);
        thread.join();
    }
    void at(int32_t t, float v) {
        tag.store(t);
        value.store(v);
        progress.fetch_add(1);
    }

private:
    void watch() {
        for (int64_t last = -1, idle = 0; !done.load(); ++idle) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            const int64_t now = progress.load();
            if (now != last) {
                last = now;
                idle = 0;
            }
            if (idle > 600) {
                std::fprintf(stderr, "hang: tag %d, value %g\n", tag.load(), double(value.load()));
                std::abort();
            }
        }
    }
    std::atomic<int64_t> progress{0};
    std::atomic<int32_t> tag{-1};
    std::atomic<float> value{0.0f};
    std::atomic<bool> done{false};
    std::thread thread;
};

// Plays some blocks of a sine with noise; the largest output magnitude, or infinity for a
// non-finite sample.
float play(EngineRig& rig, int blocks) {
    const std::vector<float> s = signal::sine(110.0, rate, blockSize, 0.35f);
    const std::vector<float> n = signal::noise(blockSize, 5);
    std::vector<float> l(blockSize), r(blockSize);
    for (std::size_t i = 0; i < l.size(); ++i) {
        l[i] = s[i] + 0.15f * n[i];
        r[i] = s[i] - 0.15f * n[i];
    }
    float worst = 0.0f;
    for (int b = 0; b < blocks; ++b) {
        rig.outLeft.clear();
        rig.outRight.clear();
        rig.run(l, r, {blockSize});
        for (const std::vector<float>* o : {&rig.outLeft, &rig.outRight}) {
            if (!signal::allFinite(o->data(), o->size()))
                return std::numeric_limits<float>::infinity();
            worst = std::max(worst, signal::peak(o->data(), o->size()));
        }
    }
    return worst;
}

TEST(HostileValues, EveryRecordTakesAnyFloatWithEveryLanePlaying) {
    EngineRig rig(rate);
    MFUniClient& c = *rig.client;
    // A zone over the whole pattern on every lane and pattern; init, random and Chaos
    // buttons among the records may take them away, so they are painted again.
    openEveryLane(c, MFEffectLane::patternCount);
    ASSERT_LT(play(rig, 4), levelBound);
    std::vector<int32_t> tags;
    for (const MFParameterRecord* r : c.getRegistry().recordsAll)
        tags.push_back(r->index);
    ASSERT_EQ(tags.size(), 338u);

    Watchdog watchdog;
    int failures = 0;
    for (const int32_t tag : tags) {
        const float original = c.getRegistry().rawValue(tag);
        for (const float v : hostileValues) {
            watchdog.at(tag, v);
            c.setParameter(tag, v);
            const float level = play(rig, blocksPerValue);
            if (!(level < levelBound) && ++failures <= 20)
                ADD_FAILURE() << "tag " << tag << " at " << v << ": output peak " << level;
        }
        c.setParameter(tag, original);
        openEveryLane(c, MFEffectLane::patternCount);
    }
    EXPECT_EQ(failures, 0);

    // The host reads back what it sent; only the mapped forms are held to the range.
    c.setParameter(61, 1e9f);
    EXPECT_EQ(c.getParameter(61), 1e9f);
    EXPECT_LT(play(rig, 4), levelBound);
}

} // namespace
