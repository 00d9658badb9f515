// The block driver, seen from inside: tick times, the silent loading path, master
// gain, meters and the plug-in object's context rules.

#include "effects/MFBPMChangeInterface.h"
#include "engine/MFUniClient.h"
#include "engine/MidiTestEvents.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

using namespace vst;

namespace {

// Records the absolute sample of every tick and can set the master target at a tick.
class ObservedClient : public MFUniClient {
public:
    explicit ObservedClient(HostCallback host) : MFUniClient(host) {}

    void runTick(int32_t i) override {
        tickSamples.push_back(blockStart + i);
        tickPositions.push_back(getTransport().ppqPosition);
        if (masterAtTick >= 0 && int64_t(tickSamples.size()) - 1 == masterAtTick)
            setParameter(1, masterValue * 0.5f); // "masterlevel": the gain is twice the raw value
        MFUniClient::runTick(i);
    }

    void block(float* l, float* r, float* ol, float* orr, int32_t n) {
        float* in[2] = {l, r};
        float* out[2] = {ol, orr};
        processReplacing(in, out, n);
        blockStart += n;
    }

    std::vector<int64_t> tickSamples;
    std::vector<float> tickPositions;
    int64_t blockStart = 0;
    int64_t masterAtTick = -1;
    float masterValue = 1.0f;
    using MFUniClient::beginStructureChange;
    using MFUniClient::endStructureChange;
};

struct Rig {
    FakeHost host;
    ObservedClient* client;
    Rig() {
        client = new ObservedClient(FakeHost::callback());
        host.attach(client);
        client->setParameter(1, 0.5f); // unity master gain, in force from the resume on
        client->resume();
    }
    // Runs frames through the plug-in in blocks given by sizes (cycled), host clock moving.
    void run(std::vector<float>& l, std::vector<float>& r, std::vector<float>& ol,
             std::vector<float>& orr, const std::vector<int>& sizes) {
        std::size_t done = 0, k = 0;
        while (done < l.size()) {
            const int n =
                int(std::min<std::size_t>(std::size_t(sizes[k++ % sizes.size()]), l.size() - done));
            client->block(&l[done], &r[done], &ol[done], &orr[done], n);
            host.advance(n, 44100.0);
            done += std::size_t(n);
        }
    }
};

TEST(BlockDriver, TicksEvery64SamplesWhateverTheHostSlicing) {
    const std::size_t frames = 4096 * 3 + 17;
    std::vector<std::vector<int>> slicings = {{4096}, {1}, {100}, {64}, {63, 65, 1, 500}};
    std::mt19937 random(11);
    std::vector<int> ragged;
    for (int k = 0; k < 300; ++k)
        ragged.push_back(std::uniform_int_distribution<int>(1, 700)(random));
    slicings.push_back(ragged);

    std::vector<int64_t> reference;
    std::vector<float> referencePositions;
    for (const auto& sizes : slicings) {
        Rig rig;
        std::vector<float> l(frames, 0.25f), r(frames, -0.25f), ol(frames), orr(frames);
        rig.run(l, r, ol, orr, sizes);
        const auto& ticks = rig.client->tickSamples;
        // The host plays from the first block on: playback starts, so its first sample ticks.
        ASSERT_EQ(ticks.size(), frames / 64 + 1) << "slicing starting " << sizes[0];
        for (std::size_t k = 0; k < ticks.size(); ++k)
            EXPECT_EQ(ticks[k], int64_t(k) * 64) << "tick " << k;
        // The noise index counts ticks, not host blocks.
        EXPECT_EQ(rig.client->getNoiseIndex(), int(ticks.size() % 1024));
        if (reference.empty()) {
            reference = ticks;
            referencePositions = rig.client->tickPositions;
        } else {
            // The position a tick sees does not depend on the slicing beyond double rounding.
            ASSERT_EQ(rig.client->tickPositions.size(), referencePositions.size());
            for (std::size_t k = 0; k < referencePositions.size(); ++k)
                ASSERT_NEAR(rig.client->tickPositions[k], referencePositions[k], 1e-7)
                    << "tick " << k;
        }
    }
}

TEST(BlockDriver, PlaybackRestartsTheTicksAndMidiKeepsItsSamples) {
    // 37 stopped samples, then playback: its first sample ticks, and a note 10 samples
    // into that block waits for the tick at 64, the first at or after it, as it would
    // without the restart.
    Rig rig;
    rig.host.time.flags &= ~kVstTransportPlaying;
    std::vector<float> l(64), r(64), ol(64), orr(64);
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 37);
    EXPECT_TRUE(rig.client->tickSamples.empty());

    rig.host.setPlaying(0.0, 120.0);
    MidiTestEvents events;
    events.add(10, 0x90, 60, 100);
    rig.client->processEvents(const_cast<VstEvents*>(events.list()));
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 64);
    EXPECT_EQ(rig.client->tickSamples, std::vector<int64_t>({37}));
    EXPECT_EQ(rig.client->getMidiInput().noteHeld(), 0.0f) << "the note came before its sample";
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 1);
    EXPECT_EQ(rig.client->tickSamples, std::vector<int64_t>({37, 101}));
    EXPECT_EQ(rig.client->getMidiInput().noteHeld(), 1.0f);

    // A jump in the song restarts them again, at the jump's first sample.
    rig.host.setPlaying(32.0, 120.0);
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 20);
    EXPECT_EQ(rig.client->tickSamples.back(), 102);
}

TEST(BlockDriver, LoadingGivesExactZerosAndFreezesEverything) {
    Rig rig;
    rig.host.setPlaying(4.0, 120.0);
    std::vector<float> l(256, 0.5f), r(256, 0.5f), ol(256, 9.0f), orr(256, 9.0f);
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 256);
    const float position = rig.client->getTransport().ppqPosition;
    const int noise = rig.client->getNoiseIndex();
    const int requests = rig.host.timeRequests;
    const std::size_t ticks = rig.client->tickSamples.size();

    ASSERT_TRUE(rig.client->beginStructureChange(10));
    std::fill(ol.begin(), ol.end(), 9.0f);
    std::fill(orr.begin(), orr.end(), 9.0f);
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 256);
    for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_EQ(ol[i], 0.0f);
        ASSERT_EQ(orr[i], 0.0f);
    }
    EXPECT_EQ(rig.client->getTransport().ppqPosition, position);
    EXPECT_EQ(rig.client->getNoiseIndex(), noise);
    EXPECT_EQ(rig.host.timeRequests, requests) << "the silent path asks the host nothing";
    EXPECT_EQ(rig.client->tickSamples.size(), ticks);

    // A null second output is tolerated on the silent path.
    float* in[2] = {l.data(), r.data()};
    float* out[2] = {ol.data(), nullptr};
    rig.client->processReplacing(in, out, 256);

    rig.client->endStructureChange();
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 256);
    EXPECT_GT(rig.client->tickSamples.size(), ticks);
}

TEST(BlockDriver, MasterGainRampsOverTheTickThatSetsIt) {
    // However the host slices its blocks, the level ramps over the 64 samples after the
    // tick that set it (sample 64 here: playback starts at sample 0 with a tick).
    for (const std::vector<int>& sizes : std::vector<std::vector<int>>{{256}, {100, 1, 155}}) {
        Rig rig;
        rig.client->masterAtTick = 1;
        rig.client->masterValue = 0.5f;
        std::vector<float> l(256, 1.0f), r(256, 1.0f), ol(256), orr(256);
        rig.run(l, r, ol, orr, sizes);
        // Undo the DC blocker sample by sample to recover the gain-scaled input; the
        // tolerance is the float rounding of that inversion.
        float x1 = 0.0f, y1 = 0.0f;
        std::vector<float> gained(256);
        for (std::size_t i = 0; i < 256; ++i) {
            gained[i] = ol[i] - y1 * 0.998f + x1;
            x1 = gained[i];
            y1 = ol[i];
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

TEST(BlockDriver, PeakMetersReadTheLargestSampleNotTheLargestMagnitude) {
    Rig rig;
    std::vector<float> l(256, -0.7f), r(256, 0.3f), ol(256), orr(256);
    r[100] = 0.9f;
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 256);
    // Meters are taken before the DC blocker: an all-negative left channel reads 0.
    EXPECT_EQ(rig.client->getPeakLeft(), 0.0f);
    EXPECT_FLOAT_EQ(rig.client->getPeakRight(), 0.9f);
}

TEST(BlockDriver, EmptyBlockAsksTheHostAndMovesNothing) {
    Rig rig;
    std::vector<float> l(1), r(1), ol(1, 3.0f), orr(1, 3.0f);
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 0);
    EXPECT_EQ(rig.host.timeRequests, 1);
    EXPECT_EQ(ol[0], 3.0f);
    EXPECT_EQ(rig.client->getNoiseIndex(), 0) << "no tick, no noise step";
}

TEST(BlockDriver, RoundingIsTruncationInsideTheBlockAndRestoredAfter) {
    // Plain effects cannot observe rounding, so check the caller's mode around a block.
    Rig rig;
    std::vector<float> l(64), r(64), ol(64), orr(64);
    volatile float a = 1.0f, b = 3.0f;
    const float before = a / b;
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 64);
    const float after = a / b;
    EXPECT_EQ(before, after) << "the block must restore the caller's rounding mode";
    uint32_t bits;
    std::memcpy(&bits, &before, 4);
    EXPECT_EQ(bits, 0x3EAAAAABu) << "outside the block rounding is to nearest";
}

TEST(PluginObject, IsAllocatedOn32Bytes) {
    for (int k = 0; k < 4; ++k) {
        FakeHost host;
        auto* client = new MFUniClient(FakeHost::callback());
        EXPECT_EQ(reinterpret_cast<uintptr_t>(client) % 32, 0u);
        host.attach(client);
    }
}

TEST(PluginObject, SampleRateOutsideTheRangeLeavesTheContextAlone) {
    Rig rig;
    MFUniClient& c = *rig.client;
    c.dispatcher(effSetSampleRate, 0, 0, nullptr, 48000.0f);
    EXPECT_EQ(c.getContext().sampleRate, 48000.0f);
    const float ticksPerMs = c.getContext().ticksPerMs;

    c.dispatcher(effSetSampleRate, 0, 0, nullptr, 8000.0f);
    EXPECT_EQ(c.getContext().sampleRate, 48000.0f);
    EXPECT_EQ(c.getContext().ticksPerMs, ticksPerMs);
    EXPECT_EQ(c.getGetTailSize(), 8000) << "the base still stores the host's rate";

    for (const float refused : {192000.5f, 200000.0f, 11024.5f}) {
        c.dispatcher(effSetSampleRate, 0, 0, nullptr, refused);
        EXPECT_EQ(c.getContext().sampleRate, 48000.0f) << refused;
    }
    c.dispatcher(effSetSampleRate, 0, 0, nullptr, 192000.0f);
    EXPECT_EQ(c.getContext().sampleRate, 192000.0f);
    EXPECT_FLOAT_EQ(c.getContext().samplesPerBeat, 96000.0f);
}

TEST(PluginObject, EditNotificationsStopAt117) {
    Rig rig;
    EXPECT_FALSE(rig.client->beginEdit(117));
    EXPECT_FALSE(rig.client->endEdit(200));
    rig.client->setParameterAutomated(117, 0.5f);
    EXPECT_EQ(rig.host.beginEdits, 0);
    EXPECT_EQ(rig.host.automations, 0);
    EXPECT_TRUE(rig.client->beginEdit(116));
    rig.client->setParameterAutomated(3, 0.25f);
    EXPECT_EQ(rig.host.beginEdits, 1);
    EXPECT_EQ(rig.host.automations, 1);
    EXPECT_EQ(rig.client->getParameter(3), 0.25f);
}

TEST(PluginObject, NoiseTableIsTheMinimalStandardGeneratorFrom20537) {
    Rig rig;
    const float* noise = rig.client->getNoiseTable();
    // 20537 * 16807 = 345165359, below the modulus.
    EXPECT_FLOAT_EQ(noise[0], float(345165359.0 / 2147483648.0));
    // Second: 345165359 * 16807 mod (2^31 - 1), by 64-bit arithmetic here.
    const uint64_t second = (345165359ull * 16807ull) % 2147483647ull;
    EXPECT_FLOAT_EQ(noise[1], float(double(second) / 2147483648.0));
    for (int k = 0; k < 1024; ++k) {
        EXPECT_GT(noise[k], 0.0f);
        EXPECT_LT(noise[k], 1.0f);
    }
}

class TempoProbe : public MFBPMChangeInterface {
public:
    void bpmChanged() override { ++calls; }
    int calls = 0;
};

TEST(PluginObject, HostTempoReachesTheContextAtTheNextTick) {
    Rig rig;
    // The probe stands in for the effects that will listen; it joins the context's list.
    TempoProbe probe;
    const_cast<MFSystemInfo&>(rig.client->getContext()).addTempoListener(&probe);
    std::vector<float> l(128), r(128), ol(128), orr(128);
    // Playback starts with a tick at its first sample; the next comes 64 samples on.
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 1);
    rig.host.time.tempo = 90.0;
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 62);
    EXPECT_EQ(rig.client->getContext().tempo, 120.0) << "no tick yet";
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 2);
    EXPECT_EQ(rig.client->getContext().tempo, 90.0);
    EXPECT_EQ(probe.calls, 1);

    rig.host.time.tempo = 30.0;
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 128);
    EXPECT_EQ(rig.client->getContext().tempo, 45.0);

    // 500 or more is ignored, yet the change is attempted at every tick.
    rig.host.time.tempo = 600.0;
    const int before = probe.calls;
    rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 128);
    EXPECT_EQ(rig.client->getContext().tempo, 45.0);
    EXPECT_EQ(probe.calls - before, 2);
    const_cast<MFSystemInfo&>(rig.client->getContext()).removeTempoListener(&probe);
}

} // namespace

namespace {

TEST(BlockDriver, LoadHandshakeWaitsForTheBlockInFlight) {
    // An audio thread runs blocks back to back while the main thread silences it,
    // "changes a structure" and lets it go again, many times over.
    FakeHost host;
    auto* client = new MFUniClient(FakeHost::callback());
    host.attach(client);
    std::atomic<bool> stop{false};
    std::atomic<int> silentBlocks{0};
    std::thread audio([&] {
        std::vector<float> l(256, 0.5f), r(256, 0.5f), ol(256), orr(256);
        float* in[2] = {l.data(), r.data()};
        float* out[2] = {ol.data(), orr.data()};
        while (!stop.load()) {
            client->processReplacing(in, out, 256);
            if (ol[0] == 0.0f && ol[255] == 0.0f)
                silentBlocks.fetch_add(1);
        }
    });
    int sequence = 0;
    for (int round = 0; round < 50; ++round) {
        ASSERT_TRUE(client->beginStructureChange(500));
        // The structure being changed: nothing on the audio thread may run meanwhile.
        sequence += 1;
        client->endStructureChange();
    }
    stop.store(true);
    audio.join();
    EXPECT_EQ(sequence, 50);
}

} // namespace

namespace {

bool anyRegisteredSample(const MFBufferRegistry& registry) {
    for (const auto& block : registry.blocks())
        for (std::size_t k = 0; k < block.length() / sizeof(float); ++k)
            if (block.data[k] != 0.0f)
                return true;
    return false;
}

TEST(PluginObject, SuspendZeroesEverySampleBuffer) {
    Rig rig;
    MFUniClient& c = *rig.client;
    // Open the vinyl stage directly so that its delay line fills with sound.
    c.getChain().vinyl.setParameter(MFVinyl::gateIndex, 1.0f);
    c.getChain().vinyl.setMix(1.0f);
    std::vector<float> l(4096, 0.4f), r(4096, -0.3f), ol(4096), orr(4096);
    for (int k = 0; k < 20; ++k)
        rig.client->block(l.data(), r.data(), ol.data(), orr.data(), 4096);
    ASSERT_TRUE(anyRegisteredSample(c.getBufferRegistry())) << "nothing to clear: test is void";

    c.dispatcher(effMainsChanged, 0, 0, nullptr, 0.0f);
    EXPECT_FALSE(anyRegisteredSample(c.getBufferRegistry()));
}

// A NaN or infinite host sample counts as silence: it reaches neither the chain, nor the
// level follower, nor the output's DC filter, whose state would otherwise keep it for
// good. Two plug-ins, one fed bursts of bad samples and one zeros there, play the same bits;
// after a suspend and resume both go on alike.
TEST(BlockDriver, BadHostSamplesCountAsSilence) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    Rig poisoned, clean;
    const std::size_t n = 8820;
    std::vector<float> l(n), r(n);
    for (std::size_t i = 0; i < n; ++i) {
        l[i] = 0.5f * std::sin(float(i) * 0.05f);
        r[i] = -l[i];
    }
    std::vector<float> bl = l, br = r, ol(n), orr(n), cl(n), cr(n);
    for (std::size_t i : {std::size_t(10), std::size_t(11), std::size_t(700), std::size_t(4000)}) {
        bl[i] = nan;
        br[i] = i % 2 ? inf : -inf;
        l[i] = r[i] = 0.0f;
    }
    poisoned.run(bl, br, ol, orr, {64, 37, 1, 512});
    clean.run(l, r, cl, cr, {64, 37, 1, 512});
    for (std::size_t i = 0; i < n; ++i)
        ASSERT_TRUE(std::isfinite(ol[i]) && std::isfinite(orr[i])) << "sample " << i;
    EXPECT_EQ(0, std::memcmp(ol.data(), cl.data(), n * sizeof(float)));
    EXPECT_EQ(0, std::memcmp(orr.data(), cr.data(), n * sizeof(float)));

    for (Rig* rig : {&poisoned, &clean}) {
        rig->client->dispatcher(effMainsChanged, 0, 0, nullptr, 0.0f);
        rig->client->dispatcher(effMainsChanged, 0, 1, nullptr, 0.0f);
    }
    poisoned.run(l, r, ol, orr, {256});
    clean.run(l, r, cl, cr, {256});
    EXPECT_TRUE(std::isfinite(ol[0]));
    EXPECT_EQ(0, std::memcmp(ol.data(), cl.data(), n * sizeof(float)));
}

} // namespace
