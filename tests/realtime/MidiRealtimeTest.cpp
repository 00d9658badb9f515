#include "support/AllocationCounter.h"

#include "../engine/MidiTestEvents.h"
#include "engine/MFMidiInput.h"

#include <gtest/gtest.h>

namespace {

class SilentClient : public MFMidiClient {
public:
    void setParameter(int32_t, float value) override { sum += value; }
    void noteStateChanged(float held, int32_t key) override { sum += held + float(key); }
    void programChange(int32_t number) override { sum += float(number); }
    bool beginStructureChange(int32_t) override { return true; }
    void endStructureChange() override {}
    float sum = 0.0f;
};

} // namespace

// A full queue of notes, controllers with several learned targets, pressure and bends,
// and a learn completed within the lists' reserve: the audio thread's side allocates
// nothing.
TEST(MidiRealtime, ProcessEventsAndTicksWithAFullQueueDoNotAllocate) {
    MFMidiMaps maps;
    SilentClient client;
    MFMidiInput input(maps, client);
    input.setIgnoreProgramChange(false);
    // Controllers 8..15 carry three targets each; the learn lands on an empty list.
    for (int32_t c = 8; c < 16; ++c)
        for (int32_t t = 0; t < 3; ++t)
            ASSERT_TRUE(input.assignByMenuPlace(100 + c * 3 + t, t, c));
    ASSERT_TRUE(input.armLearn(50, 1));

    MidiTestEvents events(MFMidiQueue::reservedPlaces);
    const uint8_t statuses[] = {0x90, 0x80, 0xB0, 0xB1, 0xD0, 0xE0, 0xC0, 0x90};
    for (int32_t i = 0; i < MFMidiQueue::reservedPlaces; ++i)
        events.add((i * 37) % 1024, statuses[i % 8], uint8_t(i % 16), uint8_t(i % 128));
    const vst::VstEvents* list = events.list();

    std::size_t allocations = 0;
    int32_t leftAfterDrain = -1;
    {
        AllocationCounter counter;
        for (int32_t round = 0; round < 4; ++round) {
            input.processEvents(list, round * 13);
            for (int32_t tick = 0; tick < 20; ++tick)
                input.tick();
        }
        leftAfterDrain = input.queue().size();
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(leftAfterDrain, 0);
    EXPECT_EQ(int32_t(input.learnTag), -1) << "the learn should have completed";
    EXPECT_TRUE(client.sum == client.sum);
}
