// The sequencer as a whole: painted zones at the host's position open their effects,
// MIDI notes run and switch patterns, controllers move learned parameters, step tables
// drive knobs. Zones are painted through the lanes' own interface; everything else
// enters as a host would send it.

#include "engine/EngineRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace vst;

namespace {

constexpr double samplesPerBeat = 24000.0; // 120 bpm at 48 kHz

struct TickRecord {
    int64_t sample;
    float step, gateValue, gateOut, envLevel;
};

// Sixteenth steps at 120 bpm and 48 kHz; records, after each tick's work, one lane.
struct Rig : EngineRig {
    Rig() : EngineRig(48000.0f) {
        sixteenths();
        client->afterTick = [this](int64_t sample) {
            const MFLaneGate& g = client->getGate(watchedLane);
            ticks.push_back({sample, client->getTransport().currentStep, g.getGateValue(),
                             g.getGateOut(), g.getEnvLevel()});
        };
    }
    int32_t watchedLane = mflane::loop;
    std::vector<TickRecord> ticks;
};

float gateAt(const std::vector<TickRecord>& ticks, int64_t sample) {
    for (const TickRecord& t : ticks)
        if (t.sample >= sample)
            return t.gateValue;
    return -1.0f;
}

// --- zones at the host's position ----------------------------------------------------------

TEST(Sequencer, AZoneOpensAtTheFirstTickOfItsStepAndClosesAfterTheRelease) {
    // Release of 100 ms: 1000 v^3 + 5 = 100.
    const float release = std::cbrt(0.095f);
    std::vector<std::vector<TickRecord>> runs;
    for (const std::vector<int>& slicing :
         std::vector<std::vector<int>>{{4096}, {1, 63, 500}, {64}, {100, 37}}) {
        Rig rig;
        rig.client->setParameter(332, release);
        rig.paint(mflane::loop, 4, 7);
        rig.run(int64_t(samplesPerBeat * 3), {}, slicing);
        runs.push_back(rig.ticks);
    }
    const std::vector<TickRecord>& ticks = runs[0];

    // Step 4 of sixteenths begins at beat 1: sample 24000, which is tick 375 exactly.
    const int64_t open = int64_t(samplesPerBeat);
    const auto first = std::find_if(ticks.begin(), ticks.end(),
                                    [](const TickRecord& t) { return t.gateValue > 0.0f; });
    ASSERT_NE(first, ticks.end());
    EXPECT_EQ(first->sample, open) << "opened at another tick";

    // Step 8 at sample 48000 closes the gate; the envelope then falls for 100 ms, that is
    // 75 ticks at 0.75 ticks per millisecond, while the effect keeps its positive gate.
    const int64_t close = 2 * int64_t(samplesPerBeat);
    // The gate carries the transport's factor (near 1) times the zone toggle.
    EXPECT_GT(gateAt(ticks, close - 64), 0.99f);
    EXPECT_EQ(gateAt(ticks, close), 0.0f);
    int64_t lastPositiveOut = 0;
    for (const TickRecord& t : ticks)
        if (t.gateOut > 0.0f)
            lastPositiveOut = t.sample;
    const double releaseTicks = (lastPositiveOut - close) / 64.0;
    // One tick of slack either side for the float sum of 75 equal steps.
    EXPECT_NEAR(releaseTicks, 75.0, 1.0);

    // Any slicing of the host's blocks gives the same ticks and the same gate changes.
    for (std::size_t k = 1; k < runs.size(); ++k) {
        ASSERT_EQ(runs[k].size(), ticks.size());
        for (std::size_t i = 0; i < ticks.size(); ++i) {
            ASSERT_EQ(runs[k][i].sample, ticks[i].sample);
            ASSERT_EQ(runs[k][i].gateValue, ticks[i].gateValue) << "slicing " << k << " tick " << i;
            ASSERT_EQ(runs[k][i].envLevel, ticks[i].envLevel);
        }
    }
}

TEST(Sequencer, AStoppedHostClosesEveryLaneInHostMode) {
    Rig rig;
    rig.watchedLane = mflane::reverb;
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        rig.paint(lane, 0, 31);
    rig.run(24000);
    EXPECT_GT(rig.ticks.back().gateValue, 0.0f);
    rig.host.time.flags &= ~kVstTransportPlaying;
    rig.run(256);
    EXPECT_EQ(rig.ticks.back().gateValue, 0.0f);
    EXPECT_EQ(rig.client->getTransport().ppqPosition, 0.0f);
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        EXPECT_EQ(rig.client->getGate(lane).getGateValue(), 0.0f) << lane;
}

TEST(Sequencer, NoteModeRunsWhileANoteIsHeldAndRestartsAtTheLoopStart) {
    Rig rig;
    rig.client->setParameter(501, 0.6f); // position by note
    rig.paint(mflane::loop, 0, 3);
    rig.run(12000);
    EXPECT_EQ(rig.ticks.back().gateValue, 0.0f) << "no note, no sequence";

    MidiTestEvents on;
    on.add(0, 0x90, 60, 100);
    rig.send(on);
    rig.run(12000); // two steps of sixteenths
    EXPECT_GT(rig.ticks.back().gateValue, 0.0f);
    EXPECT_GE(rig.ticks.back().step, 1.0f);

    MidiTestEvents off;
    off.add(0, 0x80, 60, 0);
    rig.send(off);
    rig.run(3000);
    EXPECT_EQ(rig.ticks.back().gateValue, 0.0f);

    MidiTestEvents again;
    again.add(0, 0x90, 62, 100);
    rig.send(again);
    rig.run(640);
    EXPECT_EQ(rig.ticks.back().step, 0.0f) << "a new note starts from the loop start";
}

TEST(Sequencer, NotesChooseThePatternByPitchClass) {
    Rig rig;
    auto playNote = [&](uint8_t note) {
        MidiTestEvents e;
        e.add(0, 0x90, note, 100);
        e.add(10, 0x80, note, 0);
        rig.send(e);
        rig.run(256);
        return rig.client->getPattern();
    };
    EXPECT_EQ(playNote(61), 1);
    EXPECT_EQ(playNote(60), 0);
    EXPECT_EQ(playNote(73), 1);
    EXPECT_EQ(playNote(72), 0);
    EXPECT_EQ(playNote(71), 11);
    EXPECT_EQ(rig.client->getLane(mflane::delay).zones.current, 11);
    EXPECT_EQ(rig.client->getMasterLane().current, 0)
        << "the loop range is the same in every pattern";

    // The pattern keys: a later click wins over the note.
    rig.client->setParameter(0, 3.5f / 12.0f);
    EXPECT_EQ(rig.client->getPattern(), 3);

    // "PatternOctave" off: notes and keys both leave pattern 0.
    rig.client->setParameter(525, 0.0f);
    EXPECT_EQ(rig.client->getPattern(), 0);
    EXPECT_EQ(playNote(65), 0);
}

TEST(Sequencer, TheLoopRangeRunsAgainstTheSongPosition) {
    Rig rig;
    auto* handler = rig.client->getMasterLane().handler(0);
    handler->clearZones(false);
    rig.paint(-1, 5, 8);
    rig.host.setPlaying(2.0, 120.0); // song step 8 of sixteenths: 8 mod 4 = 0
    rig.run(64);
    rig.run(64);
    EXPECT_EQ(rig.ticks.back().step, 5.0f);
    rig.host.setPlaying(2.75, 120.0); // song step 11: 11 mod 4 = 3
    rig.run(128);
    EXPECT_EQ(rig.ticks.back().step, 8.0f);
}

TEST(Sequencer, RetriggerReopensAZoneThatSpansTheWrap) {
    for (const float retrigger : {0.6f, 0.0f}) {
        Rig rig;
        rig.client->setParameter(514, retrigger);
        rig.paint(mflane::loop, 0, 31);
        rig.run(int64_t(samplesPerBeat * 8) + 6400); // two passes of 32 sixteenths
        const float before = gateAt(rig.ticks, int64_t(samplesPerBeat * 8) - 64);
        const float after = gateAt(rig.ticks, int64_t(samplesPerBeat * 8) + 64);
        EXPECT_GT(before, 0.0f);
        EXPECT_GT(after, 0.0f);
        if (retrigger > 0.5f) {
            EXPECT_NE(before, after) << "the wrap must show as a new gate";
        } else {
            EXPECT_EQ(before, after);
        }
    }
}

// --- MIDI learn ---------------------------------------------------------------------------

TEST(Sequencer, ControllersMoveLearnedParametersAndPressureTheGlobalMap) {
    Rig rig;
    MFMidiInput& midi = rig.client->getMidiInput();
    midi.armLearn(7, 0); // "LoopSize"
    MidiTestEvents first;
    first.add(0, 0xB0, 1, 64);
    rig.send(first);
    rig.run(128);
    EXPECT_FLOAT_EQ(rig.client->getParameter(7), 64.0f / 127.0f) << "the learning message moves it";

    midi.armLearn(67, 0); // "ReverbRoom" on the same controller
    MidiTestEvents second;
    second.add(0, 0xB0, 1, 127);
    second.add(1, 0xB0, 1, 100);
    rig.send(second);
    rig.run(128);
    EXPECT_FLOAT_EQ(rig.client->getParameter(67), 100.0f / 127.0f);
    EXPECT_FLOAT_EQ(rig.client->getParameter(7), 100.0f / 127.0f)
        << "several targets per controller";

    midi.armLearn(101, 0); // "GlobalWet" by channel pressure
    MidiTestEvents pressure;
    pressure.add(0, 0xD0, 90, 0);
    rig.send(pressure);
    rig.run(128);
    EXPECT_FLOAT_EQ(rig.client->getParameter(101), 90.0f / 127.0f);
    EXPECT_EQ(rig.client->getMidiMaps().global.size(), 1u);
}

// --- step tables ------------------------------------------------------------------------------

TEST(Sequencer, AStepTableDrivesItsKnobAlongThePattern) {
    Rig rig;
    MFTableXY& table = rig.client->getLane(mflane::loop).tableA;
    for (int32_t s = 0; s < 32; ++s)
        table.setRawOnRow(s, 0, 0.1f + 0.02f * float(s));
    table.setRawOnRow(32, 0, 0.1f);
    rig.client->setParameter(345, 0.4f); // "List": row 2 of six, "LoopSize"
    std::vector<float> seen;
    for (int k = 0; k < 12; ++k) {
        rig.run(6000); // one step of sixteenths
        seen.push_back(rig.client->getParameter(7));
    }
    // Run k ends where step k + 1 begins, before the tick that will see it: the knob
    // holds step k's value.
    for (int k = 0; k < 12; ++k)
        EXPECT_NEAR(seen[std::size_t(k)], 0.1f + 0.02f * float(k), 1e-6f) << k;
}

} // namespace
