// Buffers that follow the tempo: their room grows in place, on the main thread at once or,
// when the audio thread asks, later on the grower's thread; meanwhile every effect keeps its
// lengths inside the room it has, and takes up the full lengths when the room arrives.

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "engine/MFRoundingGuard.h"
#include "support/EffectChainRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

namespace {

struct CountingListener : MFBPMChangeInterface {
    int calls = 0;
    void bpmChanged() override { ++calls; }
};

TEST(GrowingBuffer, GrowsInPlaceOffTheAudioThreadAndTheRegistryFollows) {
    TestContext c;
    MFAlignedArray a(&c.registry);
    a.reserve(1 << 20, c.info.bufferGrower);
    a.setSize(1000);
    ASSERT_GE(a.getCapacity(), 1000u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.data()) % 16, 0u);
    for (uint32_t i = 0; i < 1000; ++i)
        a[i] = float(i + 1);
    const float* before = a.data();

    EXPECT_TRUE(a.requestSize(300000)); // not the audio thread: grown at once
    EXPECT_EQ(a.data(), before) << "growth in place never moves the samples";
    EXPECT_EQ(a.getSize(), 300000u);
    EXPECT_EQ(a[999], 1000.0f);
    EXPECT_EQ(a[1000], 0.0f);
    EXPECT_EQ(a[299999], 0.0f);
    ASSERT_EQ(c.registry.blocks().size(), 1u);
    EXPECT_EQ(c.registry.blocks()[0].length(), std::size_t(a.getCapacity()) * sizeof(float));

    a.setSize(10); // never shrinks
    EXPECT_EQ(a[999], 1000.0f);
    c.registry.clearAll();
    EXPECT_EQ(a[999], 0.0f);
}

TEST(GrowingBuffer, OnTheAudioThreadTheRequestWaitsForTheEndOfTheBlock) {
    TestContext c;
    CountingListener listener;
    c.info.addTempoListener(&listener);
    MFAlignedArray a(&c.registry);
    a.reserve(1 << 20, c.info.bufferGrower);
    a.setSize(4096);
    a[4095] = 0.5f;
    const uint32_t room = a.getCapacity();
    const std::size_t bytes = c.registry.totalBytes();
    {
        MFBufferGrower::AudioBlock block(c.info.bufferGrower);
        EXPECT_FALSE(a.requestSize(500000));
        EXPECT_EQ(a.getSize(), room) << "the caller works within the room there is";
        // However long the block lasts, nothing grows while it runs.
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(a.getCapacity(), room);
        EXPECT_EQ(c.registry.totalBytes(), bytes);
        EXPECT_FALSE(c.info.takeGrownBuffers());
    }
    ASSERT_TRUE(c.waitForGrower());
    EXPECT_GE(a.getCapacity(), 500000u);
    EXPECT_EQ(a[4095], 0.5f) << "the samples stay where they were";
    EXPECT_GT(c.registry.totalBytes(), bytes + 495000u * sizeof(float));
    {
        MFBufferGrower::AudioBlock block(c.info.bufferGrower);
        EXPECT_TRUE(c.info.takeGrownBuffers());
        EXPECT_FALSE(c.info.takeGrownBuffers()) << "one delivery is taken up once";
        EXPECT_EQ(listener.calls, 1);
        EXPECT_TRUE(a.requestSize(500000));
    }
    c.info.removeTempoListener(&listener);
}

TEST(GrowingBuffer, AReadPastTheRoomFaultsInsteadOfReadingSomethingElse) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TestContext c;
    MFAlignedArray a(&c.registry);
    a.reserve(1 << 20, c.info.bufferGrower);
    a.setSize(100);
    const uint32_t room = a.getCapacity();
    EXPECT_DEATH(
        {
            volatile float x = a.data()[room];
            (void)x;
        },
        "");
    EXPECT_DEATH(
        {
            volatile float x = a.data()[-1];
            (void)x;
        },
        "");
}

TEST(GrowingBuffer, AContextGoesAwayWithARequestOutstanding) {
    // The grower's thread is joined and the room unmapped even while it has work;
    // the sanitizer builds watch for a leak or a race here.
    for (int k = 0; k < 8; ++k) {
        TestContext c;
        MFAlignedArray a(&c.registry);
        a.reserve(1 << 22, c.info.bufferGrower);
        a.setSize(64);
        MFBufferGrower::AudioBlock block(c.info.bufferGrower);
        a.requestSize(1 << 22);
    }
}

// The six effects whose buffers are sized in beats, by their place in the chain: how long
// their tempo-synced length is at a number of samples per beat, and what they hold now.
struct TempoBuffer {
    int k;
    int32_t (*full)(float beat);
    int32_t (*now)(MFEffectChain& c);
};
const TempoBuffer tempoBuffers[] = {
    {0, [](float b) { return int32_t(4.0f * b); },
     [](MFEffectChain& c) { return c.xLoop.getBarLength(); }},
    {1, [](float b) { return int32_t(4.0f * b); },
     [](MFEffectChain& c) { return c.loop.getBarLength(); }},
    {2, [](float b) { return int32_t(2.0f * b); },
     [](MFEffectChain& c) { return c.scratchLoop.getRingLength(); }},
    {3, [](float b) { return int32_t(4.0f * b + 1.0f) - 1; },
     [](MFEffectChain& c) { return c.reverse.getRingLength(); }},
    {4, [](float b) { return int32_t(8.0f * b); },
     [](MFEffectChain& c) { return c.stretch.getCaptureLength(); }},
    {13, [](float b) { return int32_t(4.0f * b + 65.0f); },
     [](MFEffectChain& c) { return c.delay.getLineLength(); }},
};

class TempoBuffers : public ::testing::TestWithParam<TempoBuffer> {};

// The drop from 499 to 45 bpm in one block on the audio thread, with the effect sounding
// and its gate re-triggered: it plays on within the room it has (a read outside it would
// fault), nothing grows during the block, and the full lengths follow once the grower has
// made the room.
TEST_P(TempoBuffers, ASlowerTempoPlaysWithinTheRoomUntilTheGrowerHasMadeMore) {
    const TempoBuffer& t = GetParam();
    MFRoundingGuard truncation;
    EffectChainRig rig(48000.0f, 120.0);
    TestContext& c = rig.context;
    EffectDriver& drive = rig.driver(t.k);
    rig.open(t.k);
    drive.onTick([&](int64_t tick) {
        if (tick % 150 == 149)
            drive.setGate(drive.ticks() % 300 < 150 ? 2.0f : 1.0f);
    });
    const std::vector<float> source = signal::sine(220.0, 48000.0, 48000, 0.5f);
    std::vector<float> l = source, r = source;
    const float slowBeat = 48000.0f * 60.0f / 45.0f;

    std::size_t bytesBefore = 0;
    {
        MFBufferGrower::AudioBlock block(c.info.bufferGrower);
        drive.run(l, r);
        bytesBefore = c.registry.totalBytes();
        c.changeTempo(499.0);
        c.changeTempo(45.0);
        EXPECT_LT(t.now(rig.chain), t.full(slowBeat)) << "the room at 120 bpm is shorter";
        EXPECT_GT(t.now(rig.chain), 0);
        l = source;
        r = source;
        drive.run(l, r);
        EXPECT_TRUE(signal::allFinite(l.data(), l.size()));
        EXPECT_GT(signal::rms(l.data(), l.size()), 0.01f) << "it still sounds";
        EXPECT_EQ(c.registry.totalBytes(), bytesBefore) << "nothing grows during the block";
    }
    ASSERT_TRUE(c.waitForGrower());
    {
        MFBufferGrower::AudioBlock block(c.info.bufferGrower);
        EXPECT_TRUE(c.info.takeGrownBuffers());
        EXPECT_EQ(t.now(rig.chain), t.full(slowBeat));
        l = source;
        r = source;
        drive.run(l, r);
        EXPECT_TRUE(signal::allFinite(l.data(), l.size()));
    }
    EXPECT_GT(c.registry.totalBytes(), bytesBefore);
}

INSTANTIATE_TEST_SUITE_P(SizedInBeats, TempoBuffers, ::testing::ValuesIn(tempoBuffers),
                         [](const auto& info) { return EffectChainRig::testName(info.param.k); });

} // namespace
