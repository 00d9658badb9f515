#include "engine/MFMidiInput.h"
#include "engine/MFControllerNames.h"

#include "MidiTestEvents.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Records what the MIDI input asks of the plug-in, including the sub index that a table
// control would read while its parameter is being set.
class RecordingClient : public MFMidiClient {
public:
    struct Set {
        int32_t tag;
        float value;
        int32_t sub;
    };
    struct NoteState {
        float held;
        int32_t key;
    };

    void setParameter(int32_t tag, float value) override {
        sets.push_back({tag, value, input ? int32_t(input->lastSub) : -2});
    }
    void noteStateChanged(float held, int32_t key) override { notes.push_back({held, key}); }
    void programChange(int32_t number) override { programs.push_back(number); }
    bool beginStructureChange(int32_t waitLimit) override {
        waitLimits.push_back(waitLimit);
        return !audioStuck;
    }
    void endStructureChange() override { ++ends; }

    const MFMidiInput* input = nullptr;
    bool audioStuck = false;
    std::vector<Set> sets;
    std::vector<NoteState> notes;
    std::vector<int32_t> programs;
    std::vector<int32_t> waitLimits;
    int32_t ends = 0;
};

class MidiInputTest : public ::testing::Test {
protected:
    MidiInputTest() : input(maps, client) { client.input = &input; }

    // Sends the events and runs ticks until the queue is empty.
    void sendAndDrain(int32_t samplesSinceTick = 0) {
        EXPECT_EQ(input.processEvents(events.list(), samplesSinceTick), 1);
        events.clear();
        for (int32_t guard = 0; guard < 100 && !input.queue().empty(); ++guard)
            input.tick();
    }
    void send(uint8_t status, uint8_t data1, uint8_t data2) {
        events.add(0, status, data1, data2);
        sendAndDrain();
    }

    MFMidiMaps maps;
    RecordingClient client;
    MFMidiInput input;
    MidiTestEvents events;
};

} // namespace

// A note at sample 100 of a block is due at the second tick (sample 128). When the block
// starts 30 samples after a tick, a note at 40 lies at 70 from that tick: also the second
// tick, not the first, which would be early.
TEST_F(MidiInputTest, NotesAreHandledAtTheFirstTickAtOrAfterTheirSample) {
    events.add(100, 0x90, 60, 100);
    input.processEvents(events.list());
    input.tick();
    EXPECT_TRUE(client.notes.empty()) << "handled before its sample";
    EXPECT_EQ(input.noteHeld(), 0.0f);
    input.tick();
    ASSERT_EQ(client.notes.size(), 1u);
    EXPECT_EQ(input.noteHeld(), 1.0f);
    EXPECT_EQ(input.noteReleased(), 0.0f);

    events.clear();
    events.add(40, 0x80, 60, 0);
    input.processEvents(events.list(), 30);
    input.tick();
    EXPECT_EQ(input.noteHeld(), 1.0f) << "note off handled 6 samples early";
    input.tick();
    EXPECT_EQ(input.noteHeld(), 0.0f);
    EXPECT_EQ(input.noteReleased(), 1.0f);
}

// One voice: velocity 0 is a release; a second note replaces the first, so releasing the
// first-pressed finds it no longer in the stack and nothing changes.
TEST_F(MidiInputTest, OneVoiceNoteStackFollowsTheLastNote) {
    send(0x90, 60, 100);
    send(0x93, 60, 0); // velocity 0, and on another channel: channels are not told apart
    EXPECT_EQ(input.noteHeld(), 0.0f);
    EXPECT_EQ(input.lastVelocity(), 0.0f);
    send(0x90, 60, 100);
    send(0x90, 62, 90);
    send(0x80, 60, 0);
    EXPECT_EQ(input.noteHeld(), 1.0f);
    EXPECT_EQ(input.midiKey(), 2);
    EXPECT_NEAR(input.lastVelocity(), 90.0f / 128.0f, 1e-5f);
    send(0x80, 62, 64);
    EXPECT_EQ(input.noteHeld(), 0.0f);
    EXPECT_EQ(input.noteReleased(), 1.0f);
}

// Equal velocities get the rotating offsets 1.2e-6, 2.4e-6, 3.6e-6 and then none, so that
// consecutive notes differ; the offsets are far below one velocity step (1/128).
TEST_F(MidiInputTest, RepeatedEqualVelocitiesDifferByTheRotatingOffsets) {
    const float offsets[] = {1.2e-6f, 2.4e-6f, 3.6e-6f, 0.0f, 1.2e-6f};
    float previous = -1.0f;
    for (float offset : offsets) {
        send(0x90, 60, 64);
        const float v = input.lastVelocity();
        EXPECT_NEAR(v, 0.5f + offset, 1e-7f);
        EXPECT_NE(v, previous);
        previous = v;
    }
}

TEST_F(MidiInputTest, ControllerOneTwoThreeEndsNotesOnlyOnTheFirstChannel) {
    ASSERT_TRUE(input.assignByMenuPlace(300, 0, 123));
    send(0x90, 60, 100);
    send(0xB1, 123, 0); // channel 2: an ordinary controller
    EXPECT_EQ(input.noteHeld(), 1.0f);
    ASSERT_EQ(client.sets.size(), 1u);
    EXPECT_EQ(client.sets[0].tag, 300);

    send(0xB0, 123, 0);
    EXPECT_EQ(input.noteHeld(), 0.0f);
    EXPECT_EQ(client.sets.size(), 1u) << "all-notes-off must not reach the learn map";

    // It is not a controller, so a map edit does not drop it.
    send(0x90, 60, 100);
    maps.editing.set(true);
    send(0xB0, 123, 0);
    EXPECT_EQ(input.noteHeld(), 0.0f);
}

TEST_F(MidiInputTest, ProgramChangeReachesTheClientOnlyWhenNotIgnored) {
    EXPECT_TRUE(input.ignoresProgramChange()) << "on by default";
    send(0xC0, 5, 0);
    EXPECT_TRUE(client.programs.empty());

    input.setIgnoreProgramChange(false);
    send(0xC0, 5, 0);
    send(0xC3, 9, 0x55); // the number is the first data byte; a stray second one is ignored
    ASSERT_EQ(client.programs.size(), 2u);
    EXPECT_EQ(client.programs[0], 5);
    EXPECT_EQ(client.programs[1], 9);

    maps.editing.set(true);
    send(0xC0, 5, 9);
    EXPECT_EQ(client.programs.size(), 2u);
}

// Arming removes the control's old entries; the controller that completes the learn
// already moves the parameter, with the armed sub visible while it is set.
TEST_F(MidiInputTest, LearnCompletesOnTheNextControllerAndMovesTheParameter) {
    ASSERT_TRUE(input.assignByMenuPlace(40, 1, 20));
    ASSERT_TRUE(input.armLearn(40, 3));
    EXPECT_TRUE(maps.controllers[20].empty());
    EXPECT_EQ(client.waitLimits.back(), 500);

    send(0xB0, 7, 127);
    send(0xB5, 7, 0);
    ASSERT_EQ(maps.controllers[7].size(), 1u) << "a learn completes once";
    EXPECT_EQ(maps.controllers[7][0].tag, 40);
    EXPECT_EQ(maps.controllers[7][0].sub, 3);
    EXPECT_EQ(int32_t(input.learnTag), -1);
    ASSERT_EQ(client.sets.size(), 2u);
    EXPECT_EQ(client.sets[0].tag, 40);
    EXPECT_EQ(client.sets[0].value, 1.0f);
    EXPECT_EQ(client.sets[0].sub, 3);
    EXPECT_EQ(client.sets[1].value, 0.0f);
    EXPECT_FALSE(maps.editing.get());

    // Channel pressure learns and moves on the global list, not a controller's.
    ASSERT_TRUE(input.armLearn(77, 0));
    send(0xD4, 127, 0);
    ASSERT_EQ(maps.global.size(), 1u);
    EXPECT_EQ(maps.global[0].tag, 77);
    EXPECT_EQ(client.sets.back().tag, 77);
    EXPECT_EQ(maps.controllers[7].size(), 1u);
}

// Values are data / 127: the ends are exact, the middle within a float rounding step.
TEST_F(MidiInputTest, SeveralTargetsOnOneControllerMoveInTheirOrder) {
    ASSERT_TRUE(input.assignByMenuPlace(10, 0, 7));
    ASSERT_TRUE(input.assignByMenuPlace(11, 2, 7));
    ASSERT_TRUE(input.assignByMenuPlace(12, 5, 8));
    send(0xB0, 7, 64);
    ASSERT_EQ(client.sets.size(), 2u);
    EXPECT_EQ(client.sets[0].tag, 10);
    EXPECT_EQ(client.sets[0].sub, 0);
    EXPECT_EQ(client.sets[1].tag, 11);
    EXPECT_EQ(client.sets[1].sub, 2);
    EXPECT_NEAR(client.sets[1].value, 64.0 / 127.0, 1e-7);

    // Re-assigning a tag moves it rather than adding a second entry.
    ASSERT_TRUE(input.assignByMenuPlace(10, 0, 8));
    send(0xB0, 7, 1);
    EXPECT_EQ(client.sets.back().tag, 11);
    EXPECT_EQ(client.sets.size(), 3u);
    EXPECT_EQ(maps.controllers[8].size(), 2u);

    EXPECT_FALSE(input.assignByMenuPlace(10, 0, 126 + 1)) << "the menu has 127 places";
    EXPECT_FALSE(input.assignByMenuPlace(10, 0, -1));
}

// While the main thread edits the maps, a controller is dropped at the source, and one
// already queued is dropped when it comes due.
TEST_F(MidiInputTest, ControllersArrivingDuringAMapEditAreDropped) {
    ASSERT_TRUE(input.assignByMenuPlace(10, 0, 7));
    maps.editing.set(true);
    send(0xB0, 7, 100);
    send(0xD0, 100, 0);
    EXPECT_TRUE(client.sets.empty());
    EXPECT_EQ(input.controllerValue(7), 0.0f);

    maps.editing.set(false);
    events.add(200, 0xB0, 7, 100);
    input.processEvents(events.list());
    events.clear();
    maps.editing.set(true);
    for (int32_t i = 0; i < 4; ++i)
        input.tick();
    EXPECT_TRUE(client.sets.empty());
    EXPECT_TRUE(input.queue().empty());
}

// When the audio thread cannot be held off, nothing is removed or armed, and the map
// edit flag is not left set.
TEST_F(MidiInputTest, LearnEditsChangeNothingWhenTheAudioThreadIsStuck) {
    ASSERT_TRUE(input.assignByMenuPlace(10, 0, 7));
    maps.global.push_back({10, 1});
    client.audioStuck = true;
    EXPECT_FALSE(input.clearAssignment(10));
    EXPECT_FALSE(input.armLearn(10, 0));
    EXPECT_FALSE(input.assignByMenuPlace(10, 0, 9));
    EXPECT_EQ(maps.controllers[7].size(), 1u);
    EXPECT_EQ(maps.global.size(), 1u);
    EXPECT_TRUE(maps.controllers[9].empty());
    EXPECT_EQ(int32_t(input.learnTag), -1);
    EXPECT_FALSE(maps.editing.get());
    EXPECT_EQ(client.ends, 1) << "only the successful assignment ends its change";

    client.audioStuck = false;
    maps.controllers[100].push_back({11, 0});
    EXPECT_TRUE(input.clearAssignment(10));
    EXPECT_TRUE(maps.controllers[7].empty());
    EXPECT_TRUE(maps.global.empty());
    EXPECT_EQ(maps.controllers[100].size(), 1u) << "other tags stay";
}

// Whatever a host sends, nothing but MIDI gets in and data bytes stay within 0..127.
TEST_F(MidiInputTest, IgnoresForeignEventsAndMalformedBytes) {
    EXPECT_EQ(input.processEvents(nullptr), 1);
    EXPECT_EQ(input.processEvents(events.list()), 1); // no events
    events.addSysEx(0);
    events.add(0, 0xF8, 0, 0);         // clock: not handled
    events.add(0, 0xA0, 60, 10);       // poly pressure: not handled
    events.add(-50, 0xB0, 0xFF, 0xFF); // a broken host: negative offset, high bits set
    sendAndDrain();
    EXPECT_TRUE(client.notes.empty());
    EXPECT_EQ(input.controllerValue(127), 1.0f);
}

// The names skip controller 118: the table's place 118 names controller 119.
TEST(ControllerNames, TableKeepsItsGapAfterControllerOneSeventeen) {
    const std::pair<int32_t, const char*> cases[] = {
        {0, "Banksel"},   {117, "#117"}, {118, "#119"}, {119, "AllSound off"},
        {126, "Poly ON"}, {127, ""},     {-1, ""}};
    for (const auto& [index, name] : cases)
        EXPECT_STREQ(MFControllerNames::controllerName(index), name) << "index " << index;
}
