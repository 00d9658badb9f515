#include "../engine/MidiTestEvents.h"
#include "engine/MFUniClient.h"
#include "pattern/MFChunk.h"
#include "pattern/MFZone.h"
#include "presets/PresetTestSupport.h"
#include "support/AllocationCounter.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

// A MIDI program change loads a whole state: files in memory are parsed, lanes and tables
// rebuilt. None of that may happen on the audio thread: the block that receives the
// message, and the blocks around the load, touch no heap.

namespace {

constexpr float rate = 48000.0f;
constexpr int blockSize = 64;
constexpr int32_t loopSizeTag = 7;

void writeState(MFUniClient& writer, const std::string& path) {
    MFChunk chunk;
    chunk.beginMeasure(120.0f, rate);
    writer.writeState(chunk, 0);
    chunk.allocateMeasured();
    writer.writeState(chunk, 0);
    ASSERT_TRUE(presettest::writeFile(path, chunk.data, std::size_t(chunk.capacity()) * 4));
}

class ProgramChangeRig {
public:
    ProgramChangeRig() {
        {
            MFSettingsStore store;
            store.open("Cadenzoid");
            store.setInteger("firstuse", 1);
            store.setInteger("ignorePrgChange", 0);
        }
        const std::string folder = home.folder("library/Midi Programs");
        {
            FakeHost writerHost;
            auto* writer = new MFUniClient(FakeHost::callback());
            writerHost.attach(writer);
            for (int k = 0; k < 3; ++k) {
                writer->setParameter(loopSizeTag, 0.2f + 0.1f * float(k));
                writeState(*writer, folder + "p" + std::to_string(k) + ".cdz");
            }
        }
        client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        client->getPresetLibrary().scan(home.path("library/"));
        client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        host.setPlaying(0.0, 120.0);
    }

    // One host block, with a program change at its start when program >= 0; returns the
    // allocations made by the audio thread's two calls.
    std::size_t block(int32_t program = -1) {
        return program >= 0 ? blockWith(0xC0, uint8_t(program), 0) : blockWith(0, 0, 0);
    }
    // One host block with a message at its start (none for status 0).
    std::size_t blockWith(uint8_t status, uint8_t data1, uint8_t data2) {
        events.clear();
        if (status != 0)
            events.add(0, status, data1, data2);
        const vst::VstEvents* list = events.list();
        float* inputs[2] = {in.data(), in.data()};
        float* outputs[2] = {outLeft.data(), outRight.data()};
        std::size_t allocations = 0;
        {
            AllocationCounter counter;
            client->processEvents(const_cast<vst::VstEvents*>(list));
            client->processReplacing(inputs, outputs, blockSize);
            allocations = counter.count();
        }
        host.advance(blockSize, rate);
        return allocations;
    }

    // Keeps the audio running, as a host does, until the loader has finished count loads.
    std::size_t playUntilLoaded(uint32_t count) {
        std::size_t allocations = 0;
        for (int k = 0; k < 20000 && client->getProgramLoader().completed() < count; ++k) {
            allocations += block();
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        return allocations;
    }

    // A controller's press and release, then blocks until the loader has run the action.
    std::size_t click(uint8_t controller) {
        const uint32_t before = client->getProgramLoader().actionBatches();
        std::size_t allocations = blockWith(0xB0, controller, 127) + blockWith(0xB0, controller, 0);
        for (int k = 0; k < 20000 && client->getProgramLoader().actionBatches() == before; ++k) {
            allocations += block();
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        EXPECT_GT(client->getProgramLoader().actionBatches(), before) << "the action never ran";
        return allocations;
    }

    presettest::TempFolder home;
    presettest::ScopedEnv config{"XDG_CONFIG_HOME", home.folder("config").c_str()};
    presettest::ScopedEnv data{"XDG_DATA_HOME", home.folder("data").c_str()};
    FakeHost host;
    MFUniClient* client = nullptr;
    MidiTestEvents events;
    std::vector<float> in = std::vector<float>(blockSize, 0.2f);
    std::vector<float> outLeft = std::vector<float>(blockSize);
    std::vector<float> outRight = std::vector<float>(blockSize);
};

} // namespace

TEST(ProgramChangeRealtime, ALoadByProgramChangeNeverAllocatesOnTheAudioThread) {
    ProgramChangeRig rig;
    ASSERT_TRUE(rig.client->getProgramLoader().isRunning());
    for (int k = 0; k < 8; ++k)
        rig.block();

    uint32_t loads = 0;
    for (int32_t program : {2, 0, 1}) {
        SCOPED_TRACE(program);
        EXPECT_EQ(rig.block(program), 0u) << "the block that receives the program change";
        EXPECT_EQ(rig.playUntilLoaded(++loads), 0u) << "the blocks while the load runs";
        ASSERT_EQ(rig.client->getProgramLoader().completed(), loads);
        // The load did happen: its value is in force and the audio runs on.
        EXPECT_EQ(rig.client->getRegistry().rawValue(loopSizeTag), 0.2f + 0.1f * float(program));
        EXPECT_FALSE(rig.client->isLoading());
        std::size_t after = 0;
        for (int k = 0; k < 8; ++k)
            after += rig.block();
        EXPECT_EQ(after, 0u) << "the blocks after the load";
    }
}

// The pattern buttons build and free zones. Pressed by a learned controller they arrive on
// the audio thread, which leaves that work to the loader's thread: the blocks that carry
// the press and the release touch no heap, and the action still happens.
TEST(ProgramChangeRealtime, ControllerPressedCopyPasteAndInitRunOffTheAudioThread) {
    constexpr int32_t copyTag = 563, pasteTag = 564, initAllTag = 557, lane = 3;
    constexpr uint8_t copyController = 20, pasteController = 21, initController = 22;
    ProgramChangeRig rig;
    ASSERT_TRUE(rig.client->getProgramLoader().isRunning());
    MFMidiInput& midi = rig.client->getMidiInput();
    ASSERT_TRUE(midi.assignByMenuPlace(copyTag, 0, copyController));
    ASSERT_TRUE(midi.assignByMenuPlace(pasteTag, 0, pasteController));
    ASSERT_TRUE(midi.assignByMenuPlace(initAllTag, 0, initController));
    MFZoneHandlerContainer<MFFloatZoneHandler>& zones = rig.client->getLane(lane).zones;
    MFZone* zone = zones.createZone(0);
    zone->start = 4;
    zone->end = 9;
    ASSERT_TRUE(zones.addZone(zone));
    for (int k = 0; k < 8; ++k)
        rig.block();

    EXPECT_EQ(rig.click(copyController), 0u) << "copy";
    EXPECT_EQ(rig.click(initController), 0u) << "init";
    EXPECT_TRUE(zones.currentHandler()->zones().empty()) << "init empties the lane";
    EXPECT_EQ(rig.click(pasteController), 0u) << "paste";
    ASSERT_EQ(zones.currentHandler()->zones().size(), 1u) << "paste brings the zone back";
    EXPECT_EQ(zones.currentHandler()->zones()[0]->start, 4);
    EXPECT_EQ(zones.currentHandler()->zones()[0]->end, 9);
}
