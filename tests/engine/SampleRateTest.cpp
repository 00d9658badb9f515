// Every rate from 11.025 to 192 kHz is taken up, and every length that follows the tempo
// is right at it: at 120 bpm, and at 45 bpm once the buffers have grown to the slowest bars.

#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "support/FakeHost.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

class RateRig {
public:
    explicit RateRig(float rate) : rate(rate) {
        client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        host.setPlaying(0.0, 120.0);
        for (int32_t lane = 0; lane < mflane::count; ++lane) {
            MFFloatZoneHandler* handler = client->getLane(lane).zones.handler(0);
            MFZone* zone = handler->createZone(0);
            zone->start = 0;
            zone->end = 31;
            EXPECT_TRUE(handler->addZone(zone));
        }
        // "DelayLeft" at 1 sends the longest echo, four beats.
        client->setParameter(61, 1.0f);
        in = signal::sine(110.0, rate, block, 0.5f);
    }

    // Runs `seconds` with every lane open; false if anything non-finite or runaway left.
    bool play(double seconds) {
        std::vector<float> l = in, r = in, ol(block), orr(block);
        float* inputs[2] = {l.data(), r.data()};
        float* outputs[2] = {ol.data(), orr.data()};
        bool sane = true;
        for (int b = 0; b < int(seconds * rate) / block; ++b) {
            client->processReplacing(inputs, outputs, block);
            host.advance(block, rate);
            sane = sane && signal::allFinite(ol.data(), ol.size()) &&
                   signal::peak(ol.data(), ol.size()) < 64.0f;
        }
        return sane;
    }

    bool waitForGrowth() {
        for (int tries = 0; tries < 5000; ++tries) {
            if (!client->getContext().bufferGrower.busy())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    static constexpr int block = 512;
    float rate;
    FakeHost host;
    MFUniClient* client = nullptr;
    std::vector<float> in;
};

// The lengths in samples, from their musical definitions: a bar of four beats of 60 / bpm
// seconds at the rate (exact integers at these rates and tempi).
void expectTempoLengths(MFUniClient& c, float rate, int64_t bpm) {
    const int64_t r = int64_t(rate);
    const int64_t bar = r * 240 / bpm;
    const float beat = float(r * 60) / float(bpm);
    MFEffectChain& chain = c.getChain();
    const std::string at = std::to_string(r) + " Hz, " + std::to_string(bpm) + " bpm";
    EXPECT_EQ(c.getContext().sampleRate, rate) << at;
    EXPECT_FLOAT_EQ(c.getContext().samplesPerBeat, beat) << at;
    EXPECT_EQ(chain.loop.getBarLength(), bar) << at;
    EXPECT_EQ(chain.xLoop.getBarLength(), bar) << at;
    EXPECT_EQ(chain.reverse.getRingLength(), bar) << at;
    EXPECT_EQ(chain.scratchLoop.getRingLength(), bar / 2) << at << ": two beats";
    EXPECT_EQ(chain.stretch.getCaptureLength(), 2 * bar) << at << ": two bars";
    EXPECT_EQ(chain.stretch.getPrerollLength(), int32_t(double(r) / 44100.0 * 5512.0)) << at;
    EXPECT_EQ(chain.delay.getLineLength(), bar + 65) << at;
    EXPECT_FLOAT_EQ(chain.delay.getLeftTarget(), 4.0f * beat) << at << ": the longest echo";
    // The default "StutterTempo" plays eight steps a beat.
    EXPECT_FLOAT_EQ(c.getStutter().getStepSamples(), beat / 8.0f) << at;
}

TEST(SampleRate, EveryRateFrom11025To192000GetsItsTempoSyncedLengths) {
    for (const float rate : {11025.0f, 44100.0f, 176400.0f, 192000.0f}) {
        RateRig rig(rate);
        ASSERT_TRUE(rig.play(0.5));
        expectTempoLengths(*rig.client, rate, 120);

        // The slowest tempo: the longest bars, at the highest rate more than a million
        // samples; the buffers grow to them away from the audio thread.
        rig.host.time.tempo = 45.0;
        ASSERT_TRUE(rig.play(0.1));
        ASSERT_TRUE(rig.waitForGrowth());
        ASSERT_TRUE(rig.play(1.0));
        expectTempoLengths(*rig.client, rate, 45);
    }
}

} // namespace
