// Whatever float a host sends, for whatever parameter, the plug-in keeps running: every
// record is given values far outside 0..1, zeros of both signs, infinities, NaN and
// denormals while every lane plays, and what leaves the plug-in stays finite and bounded.
// Run under the address sanitizer this also shows that no derived length or index leaves
// its buffer; a hang trips the watchdog.

#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "support/FakeHost.h"
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

class Player {
public:
    Player() {
        client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        host.setPlaying(0.0, 120.0);
        openEveryLane();
        const std::vector<float> s = signal::sine(110.0, rate, blockSize, 0.35f);
        const std::vector<float> n = signal::noise(blockSize, 5);
        for (int i = 0; i < blockSize; ++i) {
            inLeft.push_back(s[std::size_t(i)] + 0.15f * n[std::size_t(i)]);
            inRight.push_back(s[std::size_t(i)] - 0.15f * n[std::size_t(i)]);
        }
    }

    // A zone over the whole pattern on every lane and pattern; init, random and Chaos
    // buttons among the records may have taken them away.
    void openEveryLane() {
        for (int32_t lane = 0; lane < mflane::count; ++lane) {
            for (int32_t p = 0; p < MFEffectLane::patternCount; ++p) {
                MFFloatZoneHandler* handler = client->getLane(lane).zones.handler(p);
                handler->clearZones(false);
                MFZone* zone = handler->createZone(0);
                zone->start = 0;
                zone->end = 31;
                handler->addZone(zone);
            }
        }
    }

    // Plays some blocks; the largest output magnitude, or infinity for a non-finite sample.
    float play(int blocks) {
        std::vector<float> l = inLeft, r = inRight, ol(blockSize), orr(blockSize);
        float* in[2] = {l.data(), r.data()};
        float* out[2] = {ol.data(), orr.data()};
        float worst = 0.0f;
        for (int b = 0; b < blocks; ++b) {
            client->processReplacing(in, out, blockSize);
            host.advance(blockSize, rate);
            for (const std::vector<float>* o : {&ol, &orr}) {
                if (!signal::allFinite(o->data(), o->size()))
                    return std::numeric_limits<float>::infinity();
                worst = std::max(worst, signal::peak(o->data(), o->size()));
            }
        }
        return worst;
    }

    FakeHost host;
    MFUniClient* client = nullptr;
    std::vector<float> inLeft, inRight;
};

TEST(HostileValues, EveryRecordTakesAnyFloatWithEveryLanePlaying) {
    Player player;
    MFUniClient& c = *player.client;
    ASSERT_LT(player.play(4), levelBound);
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
            const float level = player.play(blocksPerValue);
            if (!(level < levelBound) && ++failures <= 20)
                ADD_FAILURE() << "tag " << tag << " at " << v << ": output peak " << level;
        }
        c.setParameter(tag, original);
        player.openEveryLane();
    }
    EXPECT_EQ(failures, 0);

    // The host reads back what it sent; only the mapped forms are held to the range.
    c.setParameter(61, 1e9f);
    EXPECT_EQ(c.getParameter(61), 1e9f);
    EXPECT_LT(player.play(4), levelBound);
}

} // namespace
