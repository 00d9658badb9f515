// The plug-in's threads all at once, as a live session has them: the host automating and
// reading parameters, the editor painting zones and drawing tables, the audio thread
// processing blocks with MIDI, and state loads from the main thread. Run under
// ThreadSanitizer (tools/test.sh) these find data races; in other builds they check that
// nothing crashes and the output stays finite.

#include "engine/MFUniClient.h"
#include "engine/MidiTestEvents.h"
#include "pattern/MFChunk.h"
#include "pattern/MFZone.h"
#include "presets/PresetTestSupport.h"
#include "support/FakeHost.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr float rate = 48000.0f;
constexpr int blockSize = 256;
constexpr auto runTime = std::chrono::milliseconds(1200);
const int32_t paintedLanes[] = {mflane::loop, mflane::stutter, mflane::filter, mflane::delay,
                                mflane::reverb};

class Session {
public:
    Session() {
        client = new MFUniClient(FakeHost::callback());
        host.attach(client);
        client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, rate);
        client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        host.setPlaying(0.0, 140.0);
        client->setParameter(499, 0.15f);
        for (int32_t lane = 0; lane < mflane::count; ++lane)
            client->setParameter(mflane::tags[lane].listA, 0.4f);
    }

    // The audio thread: blocks with a few notes and controllers, until told to stop.
    void audio() {
        const std::vector<float> source = signal::noise(blockSize, 3);
        std::vector<float> outL(blockSize), outR(blockSize);
        MidiTestEvents events(8);
        int block = 0;
        while (!stop.load()) {
            events.clear();
            events.add(0, 0x90, uint8_t(60 + block % 12), 100);
            events.add(100, 0xB0, 1, uint8_t(block % 128));
            events.add(200, 0x80, uint8_t(60 + block % 12), 0);
            if (programChanges && block % 6 == 0)
                events.add(150, 0xC0, uint8_t(block / 6 % 3), 0);
            client->processEvents(const_cast<vst::VstEvents*>(events.list()));
            float* in[2] = {const_cast<float*>(source.data()), const_cast<float*>(source.data())};
            float* out[2] = {outL.data(), outR.data()};
            client->processReplacing(in, out, blockSize);
            host.advance(blockSize, rate);
            finite = finite && signal::allFinite(outL.data(), blockSize) &&
                     signal::allFinite(outR.data(), blockSize);
            ++blocks;
            ++block;
        }
    }

    // The host's automation thread: every parameter written, read and displayed.
    void automation() {
        std::mt19937 random(11);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        char text[64];
        while (!stop.load()) {
            for (int32_t tag = 0; tag < MFUniClient::hostParameterCount; ++tag) {
                client->setParameter(tag, unit(random));
                sink += client->getParameter(tag);
                client->getParameterDisplay(tag, text);
            }
            ++automationRounds;
        }
    }

    // The editor: painting and erasing zones on the current pattern of several lanes,
    // drawing into step tables, holding and letting go of controls.
    void editor(bool withLoads, const std::vector<char>& state) {
        std::mt19937 random(5);
        std::uniform_int_distribution<int32_t> step(0, 31);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        int round = 0;
        while (!stop.load()) {
            for (int32_t lane : paintedLanes) {
                // As the editor's idle does: no gesture while a program change loads.
                if (!client->enterEditorPass())
                    continue;
                struct Leave {
                    MFUniClient* c;
                    ~Leave() { c->leaveEditorPass(); }
                } leave{client};
                MFZoneHandlerContainer<MFFloatZoneHandler>& zones = client->getLane(lane).zones;
                const int32_t first = step(random);
                if (MFZone* existing = zones.zoneAt(first)) {
                    zones.removeZone(existing);
                } else {
                    int32_t lastFree = first;
                    if (zones.freeRange(first, lastFree)) {
                        MFZone* zone = zones.createZone(0);
                        zone->start = first;
                        zone->end = std::min(lastFree, first + 3);
                        if (!zones.addZone(zone))
                            zones.destroyZone(zone);
                    }
                }
                if (round % 50 == 49)
                    zones.clearZones(false);
                MFTableXY& table = client->getLane(lane).tableA;
                table.setRawOnRow(step(random), client->getPattern(), unit(random));
                client->setTouched(mflane::tags[lane].mix, round % 2 == 0);
            }
            if (withLoads && round % 40 == 0) {
                std::vector<char> copy = state;
                client->setChunk(copy.data(), int32_t(copy.size()), true);
                ++loads;
            }
            ++editorRounds;
            ++round;
        }
    }

    // The host's program list: choosing, naming and stepping programs, and recalling the
    // session, as a host's program menu and its session code do.
    void programs(const std::vector<char>& state) {
        char name[vst::kVstMaxProgNameLen + 1];
        int round = 0;
        while (!stop.load()) {
            client->setProgram(round % 5);
            for (int32_t p = -1; p < 6; ++p)
                client->getProgramNameIndexed(0, p, name);
            client->getProgramName(name);
            client->stepProgram(round % 2 == 0 ? 1 : -1);
            if (round % 7 == 0) {
                std::vector<char> copy = state;
                client->setChunk(copy.data(), int32_t(copy.size()), false);
                void* data = nullptr;
                client->getChunk(&data, false);
            }
            ++programRounds;
            ++round;
        }
    }

    FakeHost host;
    MFUniClient* client = nullptr;
    bool programChanges = false;
    std::atomic<bool> stop{false};
    std::atomic<int> blocks{0}, automationRounds{0}, editorRounds{0}, loads{0}, programRounds{0};
    bool finite = true;
    float sink = 0.0f;
};

void runSession(Session& s, bool withLoads, bool withPrograms = false) {
    std::vector<char> state;
    if (withLoads || withPrograms) {
        void* data = nullptr;
        const int32_t size = s.client->getChunk(&data, true);
        const char* bytes = static_cast<const char*>(data);
        state.assign(bytes, bytes + size);
    }
    std::thread audio([&] { s.audio(); });
    std::thread automation([&] { s.automation(); });
    std::thread editor([&] { s.editor(withLoads, state); });
    std::thread programs;
    if (withPrograms)
        programs = std::thread([&] { s.programs(state); });
    std::this_thread::sleep_for(runTime);
    s.stop = true;
    audio.join();
    automation.join();
    editor.join();
    if (programs.joinable())
        programs.join();
}

// A home whose settings accept program changes, with a library of two folders, "Midi
// Programs" among them, of whole states written by the plug-in itself.
class ProgramHome {
public:
    ProgramHome() {
        {
            MFSettingsStore store;
            store.open("Cadenzoid");
            store.setInteger("firstuse", 1);
            store.setInteger("ignorePrgChange", 0);
        }
        FakeHost writerHost;
        auto* writer = new MFUniClient(FakeHost::callback());
        writerHost.attach(writer);
        for (const char* folder : {"Midi Programs", "Set"}) {
            const std::string path = home.folder(std::string("library/") + folder);
            for (int k = 0; k < 3; ++k) {
                writer->setParameter(7, 0.1f * float(k + 1));
                MFChunk chunk;
                chunk.beginMeasure(120.0f, rate);
                writer->writeState(chunk, 0);
                chunk.allocateMeasured();
                writer->writeState(chunk, 0);
                presettest::writeFile(path + "p" + std::to_string(k) + ".cdz", chunk.data,
                                      std::size_t(chunk.capacity()) * 4);
            }
        }
    }
    std::string library() const { return home.path("library/"); }

private:
    presettest::TempFolder home;
    presettest::ScopedEnv config{"XDG_CONFIG_HOME", home.folder("config").c_str()};
    presettest::ScopedEnv data{"XDG_DATA_HOME", home.folder("data").c_str()};
};

} // namespace

TEST(SequencerConcurrency, HostAutomationEditorPaintingAndAudioTogether) {
    Session s;
    runSession(s, false);
    EXPECT_TRUE(s.finite);
    // Each thread did real work while the others ran.
    EXPECT_GT(s.blocks.load(), 10);
    EXPECT_GT(s.automationRounds.load(), 10);
    EXPECT_GT(s.editorRounds.load(), 10);
}

TEST(SequencerConcurrency, StateLoadsFromTheMainThreadWhileAudioRuns) {
    Session s;
    runSession(s, true);
    EXPECT_TRUE(s.finite);
    EXPECT_GT(s.loads.load(), 1);
    EXPECT_GT(s.blocks.load(), 10);
    EXPECT_FALSE(s.client->isLoading()) << "every load ends its handshake";
}

// MIDI program changes load on the loader's thread while the main thread recalls sessions,
// the host chooses and names programs, the editor paints and the host automates: every
// load keeps to the handshake, and none ends another's silence.
TEST(SequencerConcurrency, ProgramChangesLoadBesideTheMainThreadsLoads) {
    ProgramHome home;
    Session s;
    s.client->getPresetLibrary().scan(home.library());
    ASSERT_TRUE(s.client->getProgramLoader().isRunning());
    s.programChanges = true;
    runSession(s, true, true);
    EXPECT_TRUE(s.finite);
    EXPECT_GT(s.blocks.load(), 10);
    EXPECT_GE(s.programRounds.load(), 1);
    EXPECT_GE(s.client->getProgramLoader().completed(), 1u);
    // A change posted by the last blocks may still be loading: once the loader's thread
    // has finished, no load may hold the handshake.
    s.client->getProgramLoader().stop();
    EXPECT_FALSE(s.client->isLoading()) << "every load ends its handshake";
}

// A program change that arrives while the editor is inside its pass waits for the pass to
// end, and the editor is never kept waiting: it is turned away while the load runs.
TEST(SequencerConcurrency, AProgramChangeWaitsForTheEditorsPassAndTheEditorNeverWaits) {
    ProgramHome home;
    Session s;
    s.client->getPresetLibrary().scan(home.library());
    MFProgramLoader& loader = s.client->getProgramLoader();
    ASSERT_TRUE(loader.isRunning());

    ASSERT_TRUE(s.client->enterEditorPass());
    ASSERT_TRUE(loader.request(1));
    // Long enough for an unguarded load (a few milliseconds) to have finished.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(loader.completed(), 0u) << "the load ran inside the editor's pass";
    // The pass may go on calling the plug-in: the waiting load holds none of its state
    // (if it did, this call would never return).
    char name[vst::kVstMaxProgNameLen + 1];
    EXPECT_TRUE(s.client->getProgramNameIndexed(0, 0, name));
    s.client->leaveEditorPass();

    for (int tries = 0; tries < 5000 && loader.completed() < 1; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(loader.completed(), 1u);
    // With no load running the editor goes straight in.
    EXPECT_TRUE(s.client->enterEditorPass());
    s.client->leaveEditorPass();
}
