// Buffers that follow the tempo: their room grows in place, on the main thread at once or,
// when the audio thread asks, later on the grower's thread; meanwhile every effect keeps its
// lengths inside the room it has, and takes up the full lengths when the room arrives.

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBeatStretcher.h"
#include "effects/MFLevelDelay.h"
#include "effects/MFLooperX.h"
#include "effects/MFLooperX2.h"
#include "effects/MFReverserX.h"
#include "effects/MFScratchLooper.h"
#include "engine/MFRoundingGuard.h"
#include "support/EffectHarness.h"
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

// The six effects whose buffers are sized in beats: how long their tempo-synced length
// is at a number of samples per beat, and what they hold now.
template <typename Effect> struct Tempo;
template <> struct Tempo<MFLooperX> {
    static constexpr int32_t id = 176, gate = MFLooperX::parameterGate;
    static int32_t full(float beat) { return int32_t(4.0f * beat); }
    static int32_t now(const MFLooperX& e) { return e.getBarLength(); }
};
template <> struct Tempo<MFLooperX2> {
    static constexpr int32_t id = 182, gate = MFLooperX2::parameterGate;
    static int32_t full(float beat) { return int32_t(4.0f * beat); }
    static int32_t now(const MFLooperX2& e) { return e.getBarLength(); }
};
template <> struct Tempo<MFScratchLooper> {
    static constexpr int32_t id = 184, gate = MFScratchLooper::gateIndex;
    static int32_t full(float beat) { return int32_t(2.0f * beat); }
    static int32_t now(const MFScratchLooper& e) { return e.getRingLength(); }
};
template <> struct Tempo<MFReverserX> {
    static constexpr int32_t id = 181, gate = MFReverserX::parameterGate;
    static int32_t full(float beat) { return int32_t(4.0f * beat + 1.0f) - 1; }
    static int32_t now(const MFReverserX& e) { return e.getRingLength(); }
};
template <> struct Tempo<MFBeatStretcher> {
    static constexpr int32_t id = 177, gate = MFBeatStretcher::parameterGate;
    static int32_t full(float beat) { return int32_t(8.0f * beat); }
    static int32_t now(const MFBeatStretcher& e) { return e.getCaptureLength(); }
};
template <> struct Tempo<MFLevelDelay> {
    static constexpr int32_t id = 189, gate = -1;
    static int32_t full(float beat) { return int32_t(4.0f * beat + 65.0f); }
    static int32_t now(const MFLevelDelay& e) { return e.getLineLength(); }
};

template <typename Effect> class TempoBuffers : public ::testing::Test {};
using TempoEffects = ::testing::Types<MFLooperX, MFLooperX2, MFScratchLooper, MFReverserX,
                                      MFBeatStretcher, MFLevelDelay>;
TYPED_TEST_SUITE(TempoBuffers, TempoEffects);

// The drop from 499 to 45 bpm in one block on the audio thread, with the effect sounding
// and its gate re-triggered: it plays on within the room it has (a read outside it would
// fault), nothing grows during the block, and the full lengths follow once the grower has
// made the room.
TYPED_TEST(TempoBuffers, ASlowerTempoPlaysWithinTheRoomUntilTheGrowerHasMadeMore) {
    using T = Tempo<TypeParam>;
    MFRoundingGuard truncation;
    TestContext c(48000.0f, 120.0);
    TypeParam fx(T::id, c.info);
    EffectDriver drive(fx, T::gate);
    drive.setGate(1.0f);
    drive.setMix(1.0f);
    drive.onTick([&](int64_t tick) {
        if (T::gate >= 0 && tick % 150 == 149)
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
        EXPECT_LT(T::now(fx), T::full(slowBeat)) << "the room at 120 bpm is shorter";
        EXPECT_GT(T::now(fx), 0);
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
        EXPECT_EQ(T::now(fx), T::full(slowBeat));
        l = source;
        r = source;
        drive.run(l, r);
        EXPECT_TRUE(signal::allFinite(l.data(), l.size()));
    }
    EXPECT_GT(c.registry.totalBytes(), bytesBefore);
}

} // namespace
