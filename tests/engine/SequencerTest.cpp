// The sequencer as a whole: painted zones at the host's position open their effects,
// MIDI notes run and switch patterns, controllers move learned parameters, step tables
// drive knobs. Zones are painted through the lanes' own interface; everything else
// enters as a host would send it.

#include "engine/MFUniClient.h"
#include "engine/MidiTestEvents.h"
#include "pattern/MFZone.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using namespace vst;

namespace {

constexpr float rate = 48000.0f;
constexpr double samplesPerBeat = 24000.0; // 120 bpm at 48 kHz
constexpr float sixteenths = 0.15f;        // "Tempo" raw value for four steps per beat

struct TickRecord {
    int64_t sample;
    float step;
    float gateValue;
    float gateOut;
    float envLevel;
    int32_t pattern;
};

// Records, after each tick's work, the state of one lane.
class WatchedClient : public MFUniClient {
public:
    explicit WatchedClient(HostCallback host) : MFUniClient(host) {}
    void runTick(int32_t i) override {
        MFUniClient::runTick(i);
        const MFLaneGate& g = getGate(watchedLane);
        ticks.push_back({blockStart + i, getTransport().currentStep, g.getGateValue(),
                         g.getGateOut(), g.getEnvLevel(), getPattern()});
    }
    int32_t watchedLane = mflane::loop;
    int64_t blockStart = 0;
    std::vector<TickRecord> ticks;
};

class Rig {
public:
    Rig() {
        client = new WatchedClient(FakeHost::callback());
        host.attach(client);
        client->setSampleRate(rate);
        client->resume();
        host.setPlaying(0.0, 120.0);
        client->setParameter(499, sixteenths);
        client->setParameter(501, 0.0f); // position by the host's song position
    }

    void paint(int32_t lane, int32_t pattern, int32_t first, int32_t last) {
        auto& zones = lane < 0 ? client->getMasterLane() : client->getLane(lane).zones;
        MFFloatZoneHandler* handler = zones.handler(pattern);
        MFZone* zone = handler->createZone(0);
        zone->start = first;
        zone->end = last;
        ASSERT_TRUE(handler->addZone(zone));
    }

    // Runs n frames of a steady signal in blocks of the given sizes (cycled).
    void run(int64_t frames, const std::vector<int>& sizes = {256}) {
        std::vector<float> l(8192, 0.25f), r(8192, 0.25f), ol(8192), orr(8192);
        std::size_t k = 0;
        for (int64_t done = 0; done < frames;) {
            const int n = int(std::min<int64_t>(sizes[k++ % sizes.size()], frames - done));
            float* in[2] = {l.data(), r.data()};
            float* out[2] = {ol.data(), orr.data()};
            if (events) {
                client->processEvents(const_cast<VstEvents*>(events->list()));
                events = nullptr;
            }
            client->processReplacing(in, out, n);
            client->blockStart += n;
            host.advance(n, rate);
            done += n;
        }
    }

    void send(MidiTestEvents& list) { events = &list; }

    FakeHost host;
    WatchedClient* client;
    MidiTestEvents* events = nullptr;
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
        rig.paint(mflane::loop, 0, 4, 7);
        rig.run(int64_t(samplesPerBeat * 3), slicing);
        runs.push_back(rig.client->ticks);
    }
    const std::vector<TickRecord>& ticks = runs[0];

    // Step 4 of sixteenths begins at beat 1: sample 24000, which is tick 375 exactly.
    const int64_t open = int64_t(samplesPerBeat);
    for (const TickRecord& t : ticks) {
        if (t.sample < open) {
            EXPECT_EQ(t.gateValue, 0.0f) << "opened early at " << t.sample;
        }
    }
    const TickRecord* first = nullptr;
    for (const TickRecord& t : ticks)
        if (!first && t.gateValue > 0.0f)
            first = &t;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->sample, open);

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

TEST(Sequencer, TouchingZonesRetriggerAndAGapReopens) {
    Rig rig;
    rig.paint(mflane::loop, 0, 4, 7);
    rig.paint(mflane::loop, 0, 8, 11);
    rig.paint(mflane::loop, 0, 14, 15);
    rig.run(int64_t(samplesPerBeat * 4));
    const auto& ticks = rig.client->ticks;
    const float a = gateAt(ticks, 24000), b = gateAt(ticks, 48000), c = gateAt(ticks, 84000);
    EXPECT_GT(a, 0.0f);
    EXPECT_GT(b, 0.0f);
    EXPECT_NE(a, b) << "the second zone must show as a new gate";
    EXPECT_EQ(gateAt(ticks, 72000), 0.0f);
    EXPECT_GT(c, 0.0f);
    EXPECT_NE(c, b);
}

TEST(Sequencer, AStoppedHostClosesEveryLaneInHostMode) {
    Rig rig;
    rig.client->watchedLane = mflane::reverb;
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        rig.paint(lane, 0, 0, 31);
    rig.run(24000);
    EXPECT_GT(rig.client->ticks.back().gateValue, 0.0f);
    rig.host.time.flags &= ~kVstTransportPlaying;
    rig.run(256);
    EXPECT_EQ(rig.client->ticks.back().gateValue, 0.0f);
    EXPECT_EQ(rig.client->getTransport().ppqPosition, 0.0f);
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        EXPECT_EQ(rig.client->getGate(lane).getGateValue(), 0.0f) << lane;
}

TEST(Sequencer, NoteModeRunsWhileANoteIsHeldAndRestartsAtTheLoopStart) {
    Rig rig;
    rig.client->setParameter(501, 0.6f); // position by note
    rig.paint(mflane::loop, 0, 0, 3);
    rig.run(12000);
    EXPECT_EQ(rig.client->ticks.back().gateValue, 0.0f) << "no note, no sequence";

    MidiTestEvents on;
    on.add(0, 0x90, 60, 100);
    rig.send(on);
    rig.run(12000); // two steps of sixteenths
    EXPECT_GT(rig.client->ticks.back().gateValue, 0.0f);
    EXPECT_GE(rig.client->ticks.back().step, 1.0f);

    MidiTestEvents off;
    off.add(0, 0x80, 60, 0);
    rig.send(off);
    rig.run(3000);
    EXPECT_EQ(rig.client->ticks.back().gateValue, 0.0f);

    MidiTestEvents again;
    again.add(0, 0x90, 62, 100);
    rig.send(again);
    rig.run(640);
    EXPECT_EQ(rig.client->ticks.back().step, 0.0f) << "a new note starts from the loop start";
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
    rig.paint(-1, 0, 5, 8);
    rig.host.setPlaying(2.0, 120.0); // song step 8 of sixteenths: 8 mod 4 = 0
    rig.run(64);
    rig.run(64);
    EXPECT_EQ(rig.client->ticks.back().step, 5.0f);
    rig.host.setPlaying(2.75, 120.0); // song step 11: 11 mod 4 = 3
    rig.run(128);
    EXPECT_EQ(rig.client->ticks.back().step, 8.0f);
}

TEST(Sequencer, SwingDelaysOddStepsByHalfAStep) {
    Rig rig;
    rig.client->setParameter(116, 1.0f);
    rig.run(int64_t(samplesPerBeat * 2));
    // A step of sixteenths is 6000 samples; at full swing step 1 begins 3000 samples late
    // (within one tick, the ring's grain), step 2 on time.
    const auto& ticks = rig.client->ticks;
    int64_t firstOfStep1 = -1, firstOfStep2 = -1;
    for (const TickRecord& t : ticks) {
        if (firstOfStep1 < 0 && int32_t(t.step) == 1)
            firstOfStep1 = t.sample;
        if (firstOfStep2 < 0 && int32_t(t.step) == 2)
            firstOfStep2 = t.sample;
    }
    EXPECT_NEAR(double(firstOfStep1), 9000.0, 128.0);
    EXPECT_NEAR(double(firstOfStep2), 12000.0, 64.0);
}

TEST(Sequencer, RetriggerReopensAZoneThatSpansTheWrap) {
    for (const float retrigger : {0.6f, 0.0f}) {
        Rig rig;
        rig.client->setParameter(514, retrigger);
        rig.paint(mflane::loop, 0, 0, 31);
        rig.run(int64_t(samplesPerBeat * 8) + 6400); // two passes of 32 sixteenths
        const float before = gateAt(rig.client->ticks, int64_t(samplesPerBeat * 8) - 64);
        const float after = gateAt(rig.client->ticks, int64_t(samplesPerBeat * 8) + 64);
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

    // While the maps change, controller messages are dropped at the door.
    rig.client->getMidiMaps().editing.set(true);
    MidiTestEvents during;
    during.add(0, 0xB0, 1, 5);
    rig.send(during);
    rig.run(128);
    rig.client->getMidiMaps().editing.set(false);
    EXPECT_FLOAT_EQ(rig.client->getParameter(7), 100.0f / 127.0f);
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

TEST(Sequencer, BothTablesOnOneKnobTheLastChangeWins) {
    Rig rig;
    MFEffectLane& lane = rig.client->getLane(mflane::reverb);
    for (int32_t s = 0; s <= 32; ++s) {
        lane.tableA.setRawOnRow(s, 0, s < 8 ? 0.2f : 0.7f);
        lane.tableB.setRawOnRow(s, 0, s < 16 ? 0.4f : 0.9f);
    }
    rig.client->setParameter(140, 0.4f); // "List" of table A: row 2 of six, "ReverbRoom"
    rig.client->setParameter(141, 0.4f); // "List_c": the same knob
    rig.run(6000 * 10);                  // into step 10: A changed last (at step 8)
    EXPECT_NEAR(rig.client->getParameter(67), 0.7f, 1e-6f);
    rig.run(6000 * 8); // step 18: B changed at 16
    EXPECT_NEAR(rig.client->getParameter(67), 0.9f, 1e-6f);
}

} // namespace
