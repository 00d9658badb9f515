#include "../engine/MidiTestEvents.h"
#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "support/AllocationCounter.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

// The pattern buttons build and free zones. Pressed by a learned controller they arrive
// on the audio thread, which must leave that work to the loader's thread: the blocks that
// carry the press and the release touch no heap, and the action still happens.

namespace {

constexpr float rate = 48000.0f;
constexpr int blockSize = 64;
constexpr int32_t copyTag = 563, pasteTag = 564, initAllTag = 557;
constexpr int32_t copyController = 20, pasteController = 21, initController = 22;
constexpr int32_t paintedLane = 3;

class ActionRig {
public:
    ActionRig() {
        client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        host.setPlaying(0.0, 120.0);
        MFMidiInput& midi = client->getMidiInput();
        EXPECT_TRUE(midi.assignByMenuPlace(copyTag, 0, copyController));
        EXPECT_TRUE(midi.assignByMenuPlace(pasteTag, 0, pasteController));
        EXPECT_TRUE(midi.assignByMenuPlace(initAllTag, 0, initController));
    }

    // One block with a controller message at its start; the audio thread's allocations.
    std::size_t block(int32_t controller = -1, int32_t value = 0) {
        events.clear();
        if (controller >= 0)
            events.add(0, 0xB0, uint8_t(controller), uint8_t(value));
        float* inputs[2] = {in.data(), in.data()};
        float* outputs[2] = {outLeft.data(), outRight.data()};
        std::size_t allocations = 0;
        {
            AllocationCounter counter;
            client->processEvents(const_cast<vst::VstEvents*>(events.list()));
            client->processReplacing(inputs, outputs, blockSize);
            allocations = counter.count();
        }
        host.advance(blockSize, rate);
        return allocations;
    }
    // A press and a release by the controller, then blocks until the loader has run.
    std::size_t click(int32_t controller) {
        const uint32_t before = client->getProgramLoader().actionBatches();
        std::size_t allocations = block(controller, 127) + block(controller, 0);
        for (int k = 0; k < 20000 && client->getProgramLoader().actionBatches() == before; ++k) {
            allocations += block();
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        EXPECT_GT(client->getProgramLoader().actionBatches(), before) << "the action never ran";
        return allocations;
    }
    std::size_t zoneCount() {
        return client->getLane(paintedLane).zones.currentHandler()->zones().size();
    }

    FakeHost host;
    MFUniClient* client = nullptr;
    MidiTestEvents events;
    std::vector<float> in = std::vector<float>(blockSize, 0.2f);
    std::vector<float> outLeft = std::vector<float>(blockSize);
    std::vector<float> outRight = std::vector<float>(blockSize);
};

} // namespace

TEST(ActionButtonRealtime, ControllerPressedCopyPasteAndInitRunOffTheAudioThread) {
    ActionRig rig;
    ASSERT_TRUE(rig.client->getProgramLoader().isRunning());
    MFZoneHandlerContainer<MFFloatZoneHandler>& zones = rig.client->getLane(paintedLane).zones;
    MFZone* zone = zones.createZone(0);
    zone->start = 4;
    zone->end = 9;
    ASSERT_TRUE(zones.addZone(zone));
    for (int k = 0; k < 8; ++k)
        rig.block();

    EXPECT_EQ(rig.click(copyController), 0u) << "copy";
    EXPECT_EQ(rig.click(initController), 0u) << "init";
    EXPECT_EQ(rig.zoneCount(), 0u) << "init empties the lane";
    EXPECT_EQ(rig.click(pasteController), 0u) << "paste";
    ASSERT_EQ(rig.zoneCount(), 1u) << "paste brings the copied zone back";
    EXPECT_EQ(zones.currentHandler()->zones()[0]->start, 4);
    EXPECT_EQ(zones.currentHandler()->zones()[0]->end, 9);
}
