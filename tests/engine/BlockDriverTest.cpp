// The block driver, seen from inside: tick times, the silent loading path, master
// gain, meters and the plug-in object's context rules.

#include "effects/MFBPMChangeInterface.h"
#include "engine/EngineRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace vst;

namespace {

std::vector<float> constant(std::size_t n, float v) {
    return std::vector<float>(n, v);
}

TEST(BlockDriver, TicksEvery64SamplesWhateverTheHostSlicing) {
    const std::size_t frames = 4096 * 3 + 17;
    std::vector<std::vector<int>> slicings = {{4096}, {1}, {100}, {63, 65, 1, 500}};
    std::mt19937 random(11);
    slicings.emplace_back();
    for (int k = 0; k < 300; ++k)
        slicings.back().push_back(std::uniform_int_distribution<int>(1, 700)(random));

    std::vector<float> referencePositions;
    for (const auto& sizes : slicings) {
        EngineRig rig;
        std::vector<int64_t> ticks;
        std::vector<float> positions;
        rig.client->beforeTick = [&](int64_t sample) {
            ticks.push_back(sample);
            positions.push_back(rig.client->getTransport().ppqPosition);
        };
        rig.run(constant(frames, 0.25f), constant(frames, -0.25f), sizes);
        // The host plays from the first block on: playback starts, so its first sample ticks.
        ASSERT_EQ(ticks.size(), frames / 64 + 1) << "slicing starting " << sizes[0];
        for (std::size_t k = 0; k < ticks.size(); ++k)
            ASSERT_EQ(ticks[k], int64_t(k) * 64) << "tick " << k;
        // The noise index counts ticks, not host blocks.
        EXPECT_EQ(rig.client->getNoiseIndex(), int(ticks.size() % 1024));
        // The position a tick sees does not depend on the slicing beyond double rounding.
        if (referencePositions.empty())
            referencePositions = positions;
        for (std::size_t k = 0; k < referencePositions.size(); ++k)
            ASSERT_NEAR(positions[k], referencePositions[k], 1e-7) << "tick " << k;
    }
}

TEST(BlockDriver, PlaybackRestartsTheTicksAndMidiKeepsItsSamples) {
    // 37 stopped samples, then playback: its first sample ticks, and a note 10 samples
    // into that block waits for the tick at 64, the first at or after it, as it would
    // without the restart.
    EngineRig rig;
    std::vector<int64_t> ticks;
    rig.client->beforeTick = [&](int64_t sample) { ticks.push_back(sample); };
    rig.host.time.flags &= ~kVstTransportPlaying;
    std::vector<float> in(64), out(64);
    rig.block(in.data(), in.data(), out.data(), out.data(), 37);
    EXPECT_TRUE(ticks.empty());

    rig.host.setPlaying(0.0, 120.0);
    MidiTestEvents events;
    events.add(10, 0x90, 60, 100);
    rig.send(events);
    rig.block(in.data(), in.data(), out.data(), out.data(), 64);
    EXPECT_EQ(ticks, std::vector<int64_t>({37}));
    EXPECT_EQ(rig.client->getMidiInput().noteHeld(), 0.0f) << "the note came before its sample";
    rig.block(in.data(), in.data(), out.data(), out.data(), 1);
    EXPECT_EQ(ticks, std::vector<int64_t>({37, 101}));
    EXPECT_EQ(rig.client->getMidiInput().noteHeld(), 1.0f);

    // A jump in the song restarts them again, at the jump's first sample.
    rig.host.setPlaying(32.0, 120.0);
    rig.block(in.data(), in.data(), out.data(), out.data(), 20);
    EXPECT_EQ(ticks.back(), 102);
}

TEST(BlockDriver, LoadingGivesExactZerosAndFreezesEverything) {
    EngineRig rig;
    int ticks = 0;
    rig.client->beforeTick = [&](int64_t) { ++ticks; };
    rig.host.setPlaying(4.0, 120.0);
    std::vector<float> in(256, 0.5f), ol(256, 9.0f), orr(256, 9.0f);
    rig.block(in.data(), in.data(), ol.data(), orr.data(), 256);
    const float position = rig.client->getTransport().ppqPosition;
    const int noise = rig.client->getNoiseIndex(), requests = rig.host.timeRequests, before = ticks;

    ASSERT_TRUE(rig.client->beginStructureChange(10));
    std::fill(ol.begin(), ol.end(), 9.0f);
    std::fill(orr.begin(), orr.end(), 9.0f);
    rig.block(in.data(), in.data(), ol.data(), orr.data(), 256);
    EXPECT_EQ(ol, constant(256, 0.0f));
    EXPECT_EQ(orr, constant(256, 0.0f));
    EXPECT_EQ(rig.client->getTransport().ppqPosition, position);
    EXPECT_EQ(rig.client->getNoiseIndex(), noise);
    EXPECT_EQ(rig.host.timeRequests, requests) << "the silent path asks the host nothing";
    EXPECT_EQ(ticks, before);
    // A null second output is tolerated on the silent path.
    rig.block(in.data(), in.data(), ol.data(), nullptr, 256);

    rig.client->endStructureChange();
    rig.block(in.data(), in.data(), ol.data(), orr.data(), 256);
    EXPECT_GT(ticks, before);
}

TEST(BlockDriver, MasterGainRampsOverTheTickThatSetsIt) {
    // However the host slices its blocks, the level ramps over the 64 samples after the
    // tick that set it (sample 64 here: playback starts at sample 0 with a tick).
    for (const std::vector<int>& sizes : std::vector<std::vector<int>>{{256}, {100, 1, 155}}) {
        EngineRig rig;
        rig.client->beforeTick = [&](int64_t sample) {
            if (sample == 64)
                rig.client->setParameter(1, 0.25f);
        };
        rig.run(constant(256, 1.0f), constant(256, 1.0f), sizes);
        // Undo the DC blocker sample by sample to recover the gain-scaled input; the
        // tolerance is the float rounding of that inversion.
        float x1 = 0.0f, y1 = 0.0f;
        std::vector<float> gained(256);
        for (std::size_t i = 0; i < 256; ++i) {
            gained[i] = rig.outLeft[i] - y1 * 0.998f + x1;
            x1 = gained[i];
            y1 = rig.outLeft[i];
        }
        const float step = (0.5f - 1.0f) / 64.0f;
        EXPECT_NEAR(gained[63], 1.0f, 1e-5f) << "no change before the tick";
        EXPECT_NEAR(gained[64], 1.0f + step, 1e-5f) << "the first sample is already one step on";
        EXPECT_NEAR(gained[95], 1.0f + 32 * step, 1e-5f);
        EXPECT_NEAR(gained[127], 0.5f, 1e-5f) << "the ramp ends on the target with the tick";
        EXPECT_NEAR(gained[200], 0.5f, 1e-5f);
        EXPECT_EQ(rig.client->getMasterGain(), 0.5f);
    }
}

TEST(BlockDriver, MetersReadTheLargestSampleAndAnEmptyBlockMovesNothing) {
    EngineRig rig;
    std::vector<float> r(256, 0.3f);
    r[100] = 0.9f;
    rig.run(constant(256, -0.7f), r);
    // Meters are taken before the DC blocker: an all-negative left channel reads 0.
    EXPECT_EQ(rig.client->getPeakLeft(), 0.0f);
    EXPECT_FLOAT_EQ(rig.client->getPeakRight(), 0.9f);

    EngineRig empty;
    float in = 0.0f, out = 3.0f;
    empty.block(&in, &in, &out, &out, 0);
    EXPECT_EQ(empty.host.timeRequests, 1);
    EXPECT_EQ(out, 3.0f);
    EXPECT_EQ(empty.client->getNoiseIndex(), 0) << "no tick, no noise step";
}

TEST(BlockDriver, RoundingIsTruncationInsideTheBlockAndRestoredAfter) {
    // Plain effects cannot observe rounding, so check the caller's mode around a block.
    EngineRig rig;
    volatile float a = 1.0f, b = 3.0f;
    const float before = a / b;
    rig.run(64);
    const float after = a / b;
    EXPECT_EQ(before, after) << "the block must restore the caller's rounding mode";
    uint32_t bits;
    std::memcpy(&bits, &before, 4);
    EXPECT_EQ(bits, 0x3EAAAAABu) << "outside the block rounding is to nearest";
}

TEST(PluginObject, IsAllocatedOn32Bytes) {
    for (int k = 0; k < 4; ++k) {
        EngineRig rig;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(rig.client) % 32, 0u);
    }
}

TEST(PluginObject, SampleRateOutsideTheRangeLeavesTheContextAlone) {
    EngineRig rig;
    MFUniClient& c = *rig.client;
    c.dispatcher(effSetSampleRate, 0, 0, nullptr, 48000.0f);
    const float ticksPerMs = c.getContext().ticksPerMs;
    for (const float refused : {8000.0f, 192000.5f, 200000.0f, 11024.5f}) {
        c.dispatcher(effSetSampleRate, 0, 0, nullptr, refused);
        EXPECT_EQ(c.getContext().sampleRate, 48000.0f) << refused;
        EXPECT_EQ(c.getContext().ticksPerMs, ticksPerMs) << refused;
    }
    EXPECT_EQ(c.getGetTailSize(), 11024) << "the base still stores the host's rate";
}

TEST(PluginObject, EditNotificationsStopAt117) {
    EngineRig rig;
    EXPECT_FALSE(rig.client->beginEdit(117));
    EXPECT_FALSE(rig.client->endEdit(200));
    rig.client->setParameterAutomated(117, 0.5f);
    EXPECT_EQ(rig.host.beginEdits + rig.host.automations, 0);
    EXPECT_TRUE(rig.client->beginEdit(116));
    rig.client->setParameterAutomated(3, 0.25f);
    EXPECT_EQ(rig.host.beginEdits, 1);
    EXPECT_EQ(rig.host.automations, 1);
    EXPECT_EQ(rig.client->getParameter(3), 0.25f);
}

TEST(PluginObject, NoiseTableIsTheMinimalStandardGeneratorFrom20537) {
    EngineRig rig;
    const float* noise = rig.client->getNoiseTable();
    // 20537 * 16807 = 345165359, below the modulus; the next by 64-bit arithmetic here.
    EXPECT_FLOAT_EQ(noise[0], float(345165359.0 / 2147483648.0));
    const uint64_t second = (345165359ull * 16807ull) % 2147483647ull;
    EXPECT_FLOAT_EQ(noise[1], float(double(second) / 2147483648.0));
    for (int k = 0; k < 1024; ++k)
        ASSERT_TRUE(noise[k] > 0.0f && noise[k] < 1.0f) << k;
}

class TempoProbe : public MFBPMChangeInterface {
public:
    void bpmChanged() override { ++calls; }
    int calls = 0;
};

TEST(PluginObject, HostTempoReachesTheContextAtTheNextTick) {
    EngineRig rig;
    // The probe stands in for the effects that listen; it joins the context's list.
    TempoProbe probe;
    MFSystemInfo& context = const_cast<MFSystemInfo&>(rig.client->getContext());
    context.addTempoListener(&probe);
    // Playback starts with a tick at its first sample; the next comes 64 samples on.
    rig.run(1);
    rig.host.time.tempo = 90.0;
    rig.run(62);
    EXPECT_EQ(context.tempo, 120.0) << "no tick yet";
    rig.run(2);
    EXPECT_EQ(context.tempo, 90.0);
    EXPECT_EQ(probe.calls, 1);

    rig.host.time.tempo = 30.0;
    rig.run(128);
    EXPECT_EQ(context.tempo, 45.0);

    // 500 or more is ignored, yet the change is attempted at every tick.
    rig.host.time.tempo = 600.0;
    const int before = probe.calls;
    rig.run(128);
    EXPECT_EQ(context.tempo, 45.0);
    EXPECT_EQ(probe.calls - before, 2);
    context.removeTempoListener(&probe);
}

bool anyRegisteredSample(const MFBufferRegistry& registry) {
    for (const auto& block : registry.blocks())
        for (std::size_t k = 0; k < block.length() / sizeof(float); ++k)
            if (block.data[k] != 0.0f)
                return true;
    return false;
}

TEST(PluginObject, SuspendZeroesEverySampleBuffer) {
    EngineRig rig;
    MFUniClient& c = *rig.client;
    // Open the vinyl stage directly so that its delay line fills with sound.
    c.getChain().vinyl.setParameter(MFVinyl::gateIndex, 1.0f);
    c.getChain().vinyl.setMix(1.0f);
    rig.run(constant(20 * 4096, 0.4f), constant(20 * 4096, -0.3f), {4096});
    ASSERT_TRUE(anyRegisteredSample(c.getBufferRegistry())) << "nothing to clear: test is void";
    c.dispatcher(effMainsChanged, 0, 0, nullptr, 0.0f);
    EXPECT_FALSE(anyRegisteredSample(c.getBufferRegistry()));
}

// A NaN or infinite host sample counts as silence: it reaches neither the chain, nor the
// level follower, nor the output's DC filter, whose state would otherwise keep it for
// good. Two plug-ins, one fed bursts of bad samples and one zeros there, play the same bits;
// after a suspend and resume both go on alike.
TEST(BlockDriver, BadHostSamplesCountAsSilence) {
    const std::size_t n = 8820;
    std::vector<float> l(n), r(n);
    for (std::size_t i = 0; i < n; ++i) {
        l[i] = 0.5f * std::sin(float(i) * 0.05f);
        r[i] = -l[i];
    }
    std::vector<float> bl = l, br = r;
    for (std::size_t i : {10u, 11u, 700u, 4000u}) {
        bl[i] = std::numeric_limits<float>::quiet_NaN();
        br[i] = (i % 2 ? 1.0f : -1.0f) * std::numeric_limits<float>::infinity();
        l[i] = r[i] = 0.0f;
    }
    EngineRig poisoned, clean;
    poisoned.run(bl, br, {64, 37, 1, 512});
    clean.run(l, r, {64, 37, 1, 512});
    for (EngineRig* rig : {&poisoned, &clean}) {
        rig->client->dispatcher(effMainsChanged, 0, 0, nullptr, 0.0f);
        rig->client->dispatcher(effMainsChanged, 0, 1, nullptr, 0.0f);
        rig->run(l, r);
    }
    for (std::size_t i = 0; i < 2 * n; ++i)
        ASSERT_TRUE(std::isfinite(poisoned.outLeft[i]) && std::isfinite(poisoned.outRight[i])) << i;
    EXPECT_EQ(0, std::memcmp(poisoned.outLeft.data(), clean.outLeft.data(), 2 * n * sizeof(float)));
    EXPECT_EQ(0,
              std::memcmp(poisoned.outRight.data(), clean.outRight.data(), 2 * n * sizeof(float)));
}

} // namespace
