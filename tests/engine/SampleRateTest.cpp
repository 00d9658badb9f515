// Every rate from 11.025 to 192 kHz is taken up, and every length that follows the tempo
// is right at it: at 120 bpm, and at 45 bpm once the buffers have grown to the slowest bars.

#include "engine/EngineRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

// Every lane open, "DelayLeft" at 1 for the longest echo (four beats); `seconds` of a sine,
// false if anything non-finite or runaway left the plug-in.
bool play(EngineRig& rig, double seconds) {
    const std::vector<float> in =
        signal::sine(110.0, rig.rate, std::size_t(seconds * rig.rate), 0.5f);
    rig.outLeft.clear();
    rig.run(in, in, {512});
    return signal::allFinite(rig.outLeft.data(), in.size()) &&
           signal::peak(rig.outLeft.data(), in.size()) < 64.0f;
}

bool waitForGrowth(MFUniClient& c) {
    for (int tries = 0; tries < 5000 && c.getContext().bufferGrower.busy(); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return !c.getContext().bufferGrower.busy();
}

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
        EngineRig rig(rate);
        openEveryLane(*rig.client);
        rig.client->setParameter(61, 1.0f);
        ASSERT_TRUE(play(rig, 0.5));
        expectTempoLengths(*rig.client, rate, 120);

        // The slowest tempo: the longest bars, at the highest rate more than a million
        // samples; the buffers grow to them away from the audio thread.
        rig.host.time.tempo = 45.0;
        ASSERT_TRUE(play(rig, 0.1));
        ASSERT_TRUE(waitForGrowth(*rig.client));
        ASSERT_TRUE(play(rig, 1.0));
        expectTempoLengths(*rig.client, rate, 45);
    }
}

} // namespace
