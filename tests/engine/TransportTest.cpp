// The per-block reading of the host's time information and the per-sample advance.

#include "engine/MFTransport.h"

#include <gtest/gtest.h>

using namespace vst;

namespace {

constexpr float samplesPerBeat = 22050.0f; // 120 bpm at 44.1 kHz

VstTimeInfo playingAt(double ppq) {
    VstTimeInfo info{};
    info.ppqPos = ppq;
    info.tempo = 120.0;
    info.flags = kVstTransportPlaying | kVstPpqPosValid | kVstTempoValid;
    return info;
}

VstTimeInfo loopingAt(double ppq, double start, double end) {
    VstTimeInfo info = playingAt(ppq);
    info.flags |= kVstTransportCycleActive | kVstCyclePosValid;
    info.cycleStartPos = start;
    info.cycleEndPos = end;
    return info;
}

// Runs n samples of a block and returns the sample index at which the position
// jumped back (or -1); counts the samples that said they wrapped.
int runBlock(MFTransport& t, const MFTransport::BlockTiming& timing, int n, int* wraps = nullptr) {
    int jumpedAt = -1;
    for (int i = 0; i < n; ++i) {
        const float before = t.ppqPosition;
        const bool wrapped = t.advance(timing);
        if (wraps)
            *wraps += wrapped ? 1 : 0;
        if (t.ppqPosition < before)
            jumpedAt = i;
    }
    return jumpedAt;
}

TEST(Transport, FollowsAPlayingHostExactly) {
    MFTransport t;
    double host = 0.0;
    for (int block = 0; block < 50; ++block) {
        const VstTimeInfo info = playingAt(host);
        runBlock(t, t.beginBlock(&info, 512, samplesPerBeat), 512);
        host += 512.0 / samplesPerBeat;
        // The float the sequencer reads is within one float step of the host's position.
        EXPECT_NEAR(t.ppqPosition, host, 2e-7 * (1.0 + host)) << block;
    }
    EXPECT_EQ(t.runningFlag, 1.0f);
}

TEST(Transport, StaysOnTheSampleLateInALongSongWithLargeBlocks) {
    MFTransport t;
    // Twenty minutes in at 120 bpm, 4096-sample blocks: a float sum alone would stall here.
    double host = 2400.0;
    for (int block = 0; block < 20; ++block) {
        const VstTimeInfo info = playingAt(host);
        const auto timing = t.beginBlock(&info, 4096, samplesPerBeat);
        for (int i = 0; i < 4096; ++i) {
            t.advance(timing);
            if (i == 2047) {
                EXPECT_NEAR(t.exactPosition, host + 2048.0 / samplesPerBeat, 1e-9);
            }
        }
        host += 4096.0 / samplesPerBeat;
    }
    EXPECT_NEAR(t.ppqPosition, host, 2.5e-4); // one float step at 2400
}

// An error of up to half a quarter is chased within the block; more is a jump, and only
// starts and jumps ask the sequencer for a restart.
TEST(Transport, JumpsOnlyForErrorsAboveHalfAQuarter) {
    MFTransport t;
    VstTimeInfo info = playingAt(0.0);
    info.flags &= ~kVstTransportPlaying;
    EXPECT_FALSE(t.beginBlock(&info, 64, samplesPerBeat).restart) << "stopped";
    info = playingAt(0.0);
    auto timing = t.beginBlock(&info, 64, samplesPerBeat);
    EXPECT_TRUE(timing.restart) << "playback starts";
    runBlock(t, timing, 64);
    info = playingAt(64.0 / samplesPerBeat);
    EXPECT_FALSE(t.beginBlock(&info, 64, samplesPerBeat).restart) << "playing on";

    // 0.3 behind: chased, not jumped, and caught up at the block's end.
    t.setPosition(9.7);
    info = playingAt(10.0);
    timing = t.beginBlock(&info, 441, samplesPerBeat);
    EXPECT_FALSE(timing.restart);
    EXPECT_FLOAT_EQ(t.ppqPosition, 9.7f) << "no jump for an error of 0.3";
    runBlock(t, timing, 441);
    EXPECT_NEAR(t.exactPosition, 10.0 + 441.0 / samplesPerBeat, 1e-9);

    // 0.6 away: jumped at once.
    t.setPosition(3.0);
    info = playingAt(3.6);
    EXPECT_TRUE(t.beginBlock(&info, 64, samplesPerBeat).restart);
    EXPECT_FLOAT_EQ(t.ppqPosition, 3.6f);

    // The host's own loop, wrapping inside the block, is no jump.
    const double start = 16.0 - 10.0 / samplesPerBeat;
    t.setPosition(start);
    info = loopingAt(start, 8.0, 16.0);
    EXPECT_FALSE(t.beginBlock(&info, 64, samplesPerBeat).restart);
}

TEST(Transport, HostLoopWrapsAtTheSampleThatReachesItsEnd) {
    MFTransport t;
    // Loop 8..16; the block starts 100 samples before the end.
    const double start = 16.0 - 100.0 / samplesPerBeat;
    VstTimeInfo info = loopingAt(start, 8.0, 16.0);
    t.setPosition(start);
    const auto timing = t.beginBlock(&info, 256, samplesPerBeat);
    EXPECT_TRUE(timing.hasLoopPoint);
    int wraps = 0;
    const int jumped = runBlock(t, timing, 256, &wraps);
    EXPECT_EQ(wraps, 1);
    // After 100 advances the position reaches 16 (allowing one sample for float rounding).
    EXPECT_GE(jumped, 98);
    EXPECT_LE(jumped, 100);
    EXPECT_LT(t.ppqPosition, 8.0f + 160.0f / samplesPerBeat);
    EXPECT_GE(t.ppqPosition, 8.0f);
}

TEST(Transport, LateHostPastTheLoopEndIsNotCorrected) {
    MFTransport t;
    t.setPosition(8.05); // already wrapped by us
    // The host still reports 0.1 past its loop end: an overshoot, not a jump.
    VstTimeInfo info = loopingAt(16.1, 8.0, 16.0);
    const auto timing = t.beginBlock(&info, 128, samplesPerBeat);
    EXPECT_FLOAT_EQ(t.ppqPosition, 8.05f);
    EXPECT_FALSE(timing.hasLoopPoint);
    EXPECT_NEAR(timing.increment, 1.0 / samplesPerBeat, 1e-12);
    // 0.2 past is no longer an overshoot: the position jumps.
    info = loopingAt(16.2, 8.0, 16.0);
    t.beginBlock(&info, 128, samplesPerBeat);
    EXPECT_FLOAT_EQ(t.ppqPosition, 16.2f);
}

TEST(Transport, StoppedOrPrerollingHostResetsThePosition) {
    MFTransport t;
    VstTimeInfo info = playingAt(5.0);
    runBlock(t, t.beginBlock(&info, 64, samplesPerBeat), 64);
    EXPECT_EQ(t.runningFlag, 1.0f);
    EXPECT_GT(t.transportGate, 0.0f);

    info.flags &= ~kVstTransportPlaying;
    auto timing = t.beginBlock(&info, 64, samplesPerBeat);
    EXPECT_EQ(t.ppqPosition, 0.0f);
    EXPECT_EQ(timing.increment, 0.0);
    EXPECT_EQ(t.runningFlag, 0.0f);
    EXPECT_EQ(t.transportGate, 0.0f);

    info = playingAt(-0.5); // pre-roll counts as stopped
    timing = t.beginBlock(&info, 64, samplesPerBeat);
    EXPECT_EQ(t.runningFlag, 0.0f);
    EXPECT_EQ(timing.increment, 0.0);
}

TEST(Transport, MissingTimeInfoChangesNothingAndTheTempoIsRaisedTo45) {
    MFTransport t;
    t.setPosition(2.5);
    t.hostTempo = 133.0;
    EXPECT_EQ(t.beginBlock(nullptr, 256, samplesPerBeat).increment, 0.0);
    EXPECT_EQ(t.ppqPosition, 2.5f);
    EXPECT_EQ(t.hostTempo, 133.0);

    VstTimeInfo info = playingAt(0.0);
    info.tempo = 30.0;
    t.beginBlock(&info, 64, samplesPerBeat);
    EXPECT_EQ(t.hostTempo, 45.0);
    EXPECT_EQ(t.hostTempoRaw, 30.0);
}

} // namespace
