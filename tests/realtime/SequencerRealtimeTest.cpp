#include "../engine/MidiTestEvents.h"
#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "support/AllocationCounter.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>
#include <vector>

// The whole plug-in at work on the audio thread: every lane open on every pattern, step
// tables moving knobs, the Stutter cutting, notes switching patterns and learned
// controllers arriving by the hundred per block, and the host's tempo jumping from one end
// of its range to the other. The host's two audio calls must never touch the heap nor make
// memory resident: buffers that a slower tempo needs grow on the grower's thread.

namespace {

constexpr float rate = 48000.0f;
constexpr int blockSize = 1024;
// Controllers and the knobs they learn: loop size, reverb room, global wet, the X-Loop's
// first knob, a filter knob and the delay time (a tempo-dependent value).
constexpr int32_t learnedControllers[] = {1, 2, 3, 4, 5, 6};
constexpr int32_t learnedTags[] = {7, 67, 101, 2, 44, 36};

// Bytes of the buffers that grow with the tempo (the others depend on the rate alone).
std::size_t tempoBufferBytes(const MFBufferRegistry& registry) {
    std::size_t bytes = 0;
    for (const MFBufferRegistry::Entry& e : registry.blocks())
        bytes += e.growingSamples ? e.length() : 0;
    return bytes;
}

// Notes the size of the tempo buffers at every tick, as the audio thread sees it.
class WatchedClient : public MFUniClient {
public:
    explicit WatchedClient(vst::HostCallback host) : MFUniClient(host) {
        // Written once, so that the notes never touch a fresh page on the audio thread.
        bytesAtTicks.assign(4096, 0);
        bytesAtTicks.clear();
    }
    void runTick(int32_t i) override {
        MFUniClient::runTick(i);
        if (bytesAtTicks.size() < bytesAtTicks.capacity())
            bytesAtTicks.push_back(tempoBufferBytes(getBufferRegistry()));
    }
    std::vector<std::size_t> bytesAtTicks;
};

class Rig {
public:
    Rig() : events(MFMidiQueue::reservedPlaces) {
        client = new WatchedClient(FakeHost::callback());
        host.attach(client);
        client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        host.setPlaying(0.0, 120.0);
        client->setParameter(499, 0.15f); // four steps per beat: a step every 6000 samples
        for (std::size_t i = 0; i < in[0].size(); ++i) {
            in[0][i] = 0.3f * float((i * 7) % 97) / 97.0f - 0.15f;
            in[1][i] = 0.3f * float((i * 13) % 89) / 89.0f - 0.15f;
        }
    }

    void openEveryLaneOnEveryPattern() {
        for (int32_t lane = 0; lane < mflane::count; ++lane) {
            for (int32_t p = 0; p < MFEffectLane::patternCount; ++p) {
                MFFloatZoneHandler* handler = client->getLane(lane).zones.handler(p);
                MFZone* zone = handler->createZone(0);
                zone->start = 0;
                zone->end = 31;
                ASSERT_TRUE(handler->addZone(zone)) << lane << " " << p;
            }
        }
    }

    // Both tables of every lane drawn as ramps in every row, routed to their second
    // destination, with some smoothing so the ramps run too.
    void driveEveryTable() {
        for (int32_t lane = 0; lane < mflane::count; ++lane) {
            MFEffectLane& l = client->getLane(lane);
            for (int32_t row = 0; row < MFEffectLane::patternCount; ++row) {
                for (int32_t s = 0; s <= MFEffectLane::stepCount; ++s) {
                    l.tableA.setRawOnRow(s, row, float((s * 5 + row) % 32) / 31.0f);
                    l.tableB.setRawOnRow(s, row, float((s * 11 + row) % 32) / 31.0f);
                }
            }
            const MFLaneTags& t = mflane::tags[lane];
            client->setParameter(t.listA, 0.4f);
            client->setParameter(t.listB, 0.6f);
            client->setParameter(t.smoothA, 0.2f);
        }
    }

    // Learns each controller onto its knob the way a musician does: arm, then move it.
    void learnControllers() {
        for (std::size_t k = 0; k < std::size(learnedControllers); ++k) {
            ASSERT_TRUE(client->getMidiInput().armLearn(learnedTags[k], 0));
            events.clear();
            events.add(0, 0xB0, uint8_t(learnedControllers[k]), 64);
            process(false);
        }
    }

    // A full queue: notes of every pitch class (so the pattern changes within the block),
    // learned and unlearned controllers, pressure, bends and an occasional all-notes-off.
    void fillQueue(int block) {
        events.clear();
        for (int32_t i = 0; i < MFMidiQueue::reservedPlaces; ++i) {
            // All before the block's last tick, so that the queue is empty again when the
            // next block's messages arrive: 256 queued at most, the queue's reserve.
            const int32_t delta =
                i * (blockSize - MFUniClient::tickPeriod) / MFMidiQueue::reservedPlaces;
            const uint8_t note = uint8_t(48 + (i * 5 + block) % 36);
            const uint8_t value = uint8_t((i * 31 + block * 7) % 128);
            switch (i % 8) {
            case 0:
            case 6:
                events.add(delta, 0x90, note, uint8_t(1 + value % 127));
                break;
            case 1:
                events.add(delta, 0x80, note, 0);
                break;
            case 2:
            case 7:
                events.add(delta, 0xB0, uint8_t(learnedControllers[(i / 8 + block) % 6]), value);
                break;
            case 3:
                events.add(delta, 0xB0, uint8_t(i % 64 == 3 ? 123 : 20 + i % 40), value);
                break;
            case 4:
                events.add(delta, 0xD0, value, 0);
                break;
            default:
                events.add(delta, 0xE0, value, uint8_t(127 - value));
                break;
            }
        }
    }

    // One host block; returns the allocations of processEvents and processReplacing.
    std::size_t process(bool withQueue, int block = 0) {
        if (withQueue)
            fillQueue(block);
        const vst::VstEvents* list = events.list();
        float* inputs[2] = {in[0].data(), in[1].data()};
        float* outputs[2] = {out[0].data(), out[1].data()};
        std::size_t allocations = 0;
        {
            AllocationCounter counter;
            client->processEvents(const_cast<vst::VstEvents*>(list));
            client->processReplacing(inputs, outputs, blockSize);
            allocations = counter.count();
            lastFaults = counter.pageFaults();
        }
        events.clear();
        host.advance(blockSize, rate);
        patternsSeen.insert(client->getPattern());
        return allocations;
    }

    FakeHost host;
    WatchedClient* client = nullptr;
    MidiTestEvents events;
    std::vector<float> in[2] = {std::vector<float>(blockSize), std::vector<float>(blockSize)};
    std::vector<float> out[2] = {std::vector<float>(blockSize), std::vector<float>(blockSize)};
    std::set<int32_t> patternsSeen;
    long lastFaults = 0;
};

bool waitForGrower(const MFUniClient& client) {
    for (int tries = 0; tries < 5000; ++tries) {
        if (!client.getContext().bufferGrower.busy())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

} // namespace

TEST(SequencerRealtime, TheWholePlugInWithEveryLaneOpenAndAFullMidiQueueNeverAllocates) {
    Rig rig;
    rig.openEveryLaneOnEveryPattern();
    rig.driveEveryTable();
    rig.learnControllers();
    // The host automates one of the learned knobs away from the learning value, so that
    // its later value shows the controllers did arrive.
    rig.client->setParameter(67, 0.0f);

    std::size_t allocations = 0;
    std::set<float> loopSizes;
    for (int block = 0; block < 60; ++block) {
        allocations += rig.process(true, block);
        loopSizes.insert(rig.client->getParameter(7));
    }
    EXPECT_EQ(allocations, 0u);

    // The scenario is what it claims to be: the Stutter's lane open, patterns switching,
    // the learned knob moving, the tables driving the loop size to many values.
    EXPECT_GT(rig.client->getGate(mflane::stutter).getGateValue(), 0.0f);
    EXPECT_GE(rig.patternsSeen.size(), 6u);
    EXPECT_NE(rig.client->getParameter(67), 0.0f);
    EXPECT_GE(loopSizes.size(), 8u);
}

TEST(SequencerRealtime, TempoJumpsFrom499To45LeaveTheGrowthToTheGrowersThread) {
    // A first instance runs the same jump, so that the code of every path taken below has
    // been paged in once: page faults then count memory only.
    {
        Rig warm;
        warm.openEveryLaneOnEveryPattern();
        warm.host.time.tempo = 45.0;
        warm.process(true);
        ASSERT_TRUE(waitForGrower(*warm.client));
        warm.process(true);
    }
    Rig rig;
    rig.openEveryLaneOnEveryPattern();
    rig.driveEveryTable();
    rig.learnControllers();
    int block = 0;
    auto run = [&](double tempo, const char* what) {
        rig.host.time.tempo = tempo;
        const std::size_t allocations = rig.process(true, block++);
        EXPECT_EQ(allocations, 0u) << what << " at " << tempo << " bpm";
        EXPECT_EQ(rig.lastFaults, 0) << what << " at " << tempo << " bpm";
    };
    for (int k = 0; k < 4; ++k)
        run(120.0, "ordinary blocks");
    const MFBufferRegistry& registry = rig.client->getBufferRegistry();
    const std::size_t at120 = tempoBufferBytes(registry);

    run(499.0, "the fastest tempo");
    rig.client->bytesAtTicks.clear();
    run(45.0, "the block of the fall from 499");
    ASSERT_EQ(rig.client->bytesAtTicks.size(), std::size_t(blockSize / 64));
    for (const std::size_t bytes : rig.client->bytesAtTicks)
        EXPECT_EQ(bytes, at120) << "no buffer grows while the block runs";
    for (int k = 0; k < 3; ++k)
        run(45.0, "blocks before the growth is taken up");
    ASSERT_TRUE(waitForGrower(*rig.client));
    for (int k = 0; k < 4; ++k)
        run(45.0, "blocks that take up the grown buffers");
    const float slowBeat = rate * 60.0f / 45.0f;
    EXPECT_EQ(rig.client->getChain().delay.getLineLength(), int32_t(4.0f * slowBeat + 65.0f));
    EXPECT_EQ(rig.client->getChain().loop.getBarLength(), int32_t(4.0f * slowBeat));

    // Memory follows the tempo in use: the bars of 120 bpm are 45/120 of those of 45 bpm,
    // and only the Loop's first take (three bars at the starting tempo) adds headroom.
    const std::size_t at45 = tempoBufferBytes(registry);
    EXPECT_LT(double(at120), 0.6 * double(at45)) << at120 << " bytes at 120 bpm, " << at45;

    // Once grown, no tempo in the range asks for more.
    for (const double tempo : {200.0, 60.0, 499.0, 45.0, 77.0})
        for (int k = 0; k < 2; ++k)
            run(tempo, "tempo changes within the grown buffers");
    ASSERT_TRUE(waitForGrower(*rig.client));
    EXPECT_EQ(tempoBufferBytes(registry), at45);
}
