// The plug-in library as a host sees it: loaded with dlopen, driven through the
// AEffect structure and the dispatcher only.

#include "tools/host/PluginHost.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using namespace vst;

namespace {

class PluginAbi : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.load(CADENZOID_PLUGIN_PATH)) << host.lastError();
        e = host.effect();
    }
    PluginHost host;
    AEffect* e = nullptr;
};

std::vector<float> testSignal(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> d(-0.8f, 0.8f);
    std::vector<float> v(n);
    for (float& x : v)
        x = d(random);
    return v;
}

TEST_F(PluginAbi, IdentifiesItselfAsTheTableSays) {
    EXPECT_EQ(e->magic, effectMagic);
    EXPECT_EQ(e->uniqueID, int32_t(0x63647A78)); // 'c' 'd' 'z' 'x', first in the top byte
    EXPECT_EQ(e->version, 1);
    EXPECT_EQ(e->numInputs, 2);
    EXPECT_EQ(e->numOutputs, 2);
    EXPECT_EQ(e->numParams, 117);
    EXPECT_EQ(e->numPrograms, 64);
    EXPECT_EQ(e->initialDelay, 0);
    EXPECT_TRUE(e->flags & effFlagsCanReplacing);
    EXPECT_TRUE(e->flags & effFlagsProgramChunks);
    EXPECT_FALSE(e->flags & effFlagsNoSoundInStop);
    EXPECT_FALSE(e->flags & effFlagsCanDoubleReplacing);
    EXPECT_FALSE(e->flags & effFlagsIsSynth);

    EXPECT_EQ(host.effectName(), "Cadenzoid");
    EXPECT_EQ(host.vendorString(), "Maple Forge");
    char text[256] = {};
    EXPECT_EQ(host.dispatch(effGetProductString, 0, 0, text), 1);
    EXPECT_STREQ(text, "Cadenzoid");
    EXPECT_EQ(host.dispatch(effGetVendorVersion), 1400);
    EXPECT_EQ(host.dispatch(effGetVstVersion), 2400);
    EXPECT_EQ(host.dispatch(effGetPlugCategory), kPlugCategEffect);
    EXPECT_EQ(host.dispatch(effGetNumMidiInputChannels), 1);
    EXPECT_EQ(host.dispatch(effGetNumMidiOutputChannels), 0);
    EXPECT_EQ(host.dispatch(effSetTotalSampleToProcess, 0, 777), 777);
}

TEST_F(PluginAbi, CanDoAnswersWholeStringsOnly) {
    const std::pair<const char*, int32_t> answers[] = {{"receiveVstEvents", 1},
                                                       {"receiveVstMidiEvent", 1},
                                                       {"receiveVstTimeInfo", 1},
                                                       {"sendVstMidiEvent", 0},
                                                       {"sendVstEvent", 0},
                                                       {"receiveVstEvent", -1},
                                                       {"receiveVstEventsX", -1},
                                                       {"", -1},
                                                       {"offline", -1}};
    for (const auto& [text, answer] : answers)
        EXPECT_EQ(host.canDo(text), answer) << text;
}

TEST_F(PluginAbi, TailSpeakersAndUnknownOpcodes) {
    host.start(48000.0f, 512);
    EXPECT_EQ(host.dispatch(effGetTailSize), 48000);
    host.dispatch(effSetSampleRate, 0, 0, nullptr, 22050.5f);
    EXPECT_EQ(host.dispatch(effGetTailSize), 22050);

    VstSpeakerArrangement* in = reinterpret_cast<VstSpeakerArrangement*>(0x1);
    VstSpeakerArrangement* out = reinterpret_cast<VstSpeakerArrangement*>(0x1);
    EXPECT_EQ(host.dispatch(effGetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&in), &out), 0);
    EXPECT_EQ(in, nullptr);
    EXPECT_EQ(out, nullptr);

    for (int32_t opcode : {9, 16, 22, 46, 50, 53, 62, 70, 80, 1000, -1})
        EXPECT_EQ(host.dispatch(opcode, 3, 4, nullptr, 0.5f), 0) << "opcode " << opcode;
}

TEST_F(PluginAbi, AsksForTimeOncePerBlockWithTheMaskAndForMidiOnResume) {
    host.start(44100.0f, 256);
    EXPECT_EQ(host.wantMidiRequests, 1);
    host.setBlockSize(100);
    std::vector<float> l(1000, 0.1f), r(1000, 0.1f), ol(1000), orr(1000);
    host.process(l.data(), r.data(), ol.data(), orr.data(), 1000);
    EXPECT_EQ(host.timeInfoRequests, 10);
    EXPECT_EQ(host.lastTimeInfoMask, 0x1E02);
}

TEST_F(PluginAbi, OutputDoesNotDependOnInPlaceProcessing) {
    const std::size_t n = 20000;
    const std::vector<float> l = testSignal(n, 1), r = testSignal(n, 2);
    auto render = [&](auto configure) {
        PluginHost h;
        EXPECT_TRUE(h.load(CADENZOID_PLUGIN_PATH));
        h.start(44100.0f, 4096);
        configure(h);
        std::vector<float> ol(n), orr(n);
        h.process(l.data(), r.data(), ol.data(), orr.data(), int64_t(n));
        std::vector<float> both(ol);
        both.insert(both.end(), orr.begin(), orr.end());
        return both;
    };
    // Blocks of one sample and of random sizes are the factory renders' test; here in place.
    const auto reference = render([](PluginHost& h) { h.setBlockSize(4096); });
    const auto inPlace = render([](PluginHost& h) {
        h.setBlockSize(333);
        h.setInPlace(true);
    });
    // Bit-identical: the chain sees different run lengths, but every sample's path is the same.
    EXPECT_EQ(inPlace, reference);
    // And the output is not silence: in place must not wipe the input before it is read.
    double energy = 0.0;
    for (float x : inPlace)
        energy += double(x) * x;
    EXPECT_GT(energy, 100.0);
}

TEST_F(PluginAbi, DefaultOutputIsTheInputThroughTheDcBlocker) {
    host.start(44100.0f, 64);
    host.setBlockSize(64);
    // With every lane empty the plug-in is its master level (twice "masterlevel", whose
    // default is 0.50475) and the DC blocker: a DC step answers gain * 0.998^n.
    const double gain = 2.0 * double(0.50475f);
    std::vector<float> one(2000, 1.0f), ol(2000), orr(2000);
    host.process(one.data(), one.data(), ol.data(), orr.data(), 2000);
    for (std::size_t k = 0; k < 2000; k += 97) {
        const double expected = gain * std::pow(0.998, double(k));
        // The block runs with truncating arithmetic, so each step may lose one ulp:
        // over k steps the error stays below k ulps of 1.
        EXPECT_NEAR(ol[k], expected, 1e-7 * double(k + 1)) << k;
        EXPECT_EQ(ol[k], orr[k]);
    }
}

TEST(PluginEntry, RefusesAHostThatGivesNoVersion) {
    void* library = dlopen(CADENZOID_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    using Entry = AEffect* (*)(HostCallback);
    auto pluginMain = reinterpret_cast<Entry>(dlsym(library, "VSTPluginMain"));
    auto legacyMain = reinterpret_cast<Entry>(dlsym(library, "main"));
    ASSERT_NE(pluginMain, nullptr);
    ASSERT_NE(legacyMain, nullptr);
    EXPECT_EQ(dlsym(library, "_ZN11MFUniClientC1EPFlPN3vst7AEffectEiilPvfE"), nullptr)
        << "internal symbols must stay hidden";

    HostCallback silent = [](AEffect*, int32_t, int32_t, intptr_t, void*, float) -> intptr_t {
        return 0;
    };
    EXPECT_EQ(pluginMain(silent), nullptr);
    EXPECT_EQ(legacyMain(silent), nullptr);
    EXPECT_EQ(pluginMain(nullptr), nullptr);

    HostCallback minimal = [](AEffect*, int32_t opcode, int32_t, intptr_t, void*,
                              float) -> intptr_t {
        return opcode == audioMasterVersion ? 2400 : 0;
    };
    AEffect* effect = legacyMain(minimal);
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(effect->magic, effectMagic);
    effect->dispatcher(effect, effClose, 0, 0, nullptr, 0.0f);
    dlclose(library);
}

TEST(PluginHostLibrary, DrivesAnyEffectOnTheInterface) {
    PluginHost host;
    ASSERT_TRUE(host.load(PASSTHROUGH_PLUGIN_PATH)) << host.lastError();
    EXPECT_EQ(host.effectName(), "PassThrough");
    host.start(48000.0f, 128);
    host.setRandomBlocks(3);
    const std::vector<float> l = testSignal(5000, 5), r = testSignal(5000, 6);
    std::vector<float> ol(5000), orr(5000);
    host.process(l.data(), r.data(), ol.data(), orr.data(), 5000);
    EXPECT_EQ(ol, l);
    EXPECT_EQ(orr, r);
    EXPECT_EQ(host.framesProcessed(), 5000);

    PluginHost missing;
    EXPECT_FALSE(missing.load("/nonexistent/library.so"));
    EXPECT_NE(missing.lastError().find("cannot load"), std::string::npos);
}

TEST(PluginHostLibrary, SendsMidiWithSampleOffsetsAndReportsItsTransport) {
    PluginHost host;
    ASSERT_TRUE(host.load(HOST_PROBE_PATH)) << host.lastError();
    host.start(44100.0f, 256);
    host.setBlockSize(256);
    host.transport().tempo = 140.0;
    host.transport().cycleActive = true;
    host.transport().cycleStart = 0.0;
    host.transport().cycleEnd = 1.0;
    host.queueMidi({1000, {0x90, 60, 100}}); // block 3 (768..1023), offset 232
    host.queueMidi({300, {0xB0, 7, 64}});    // block 1 (256..511), offset 44
    std::vector<float> l(1024), r(1024), ol(1024), orr(1024);

    host.process(l.data(), r.data(), ol.data(), orr.data(), 512);
    EXPECT_EQ(host.getParameter(0), 1.0f);
    EXPECT_EQ(host.getParameter(1), 44.0f);
    EXPECT_EQ(host.getParameter(2), float(0xB0));

    host.process(l.data(), r.data(), ol.data(), orr.data(), 512);
    EXPECT_EQ(host.getParameter(0), 2.0f);
    EXPECT_EQ(host.getParameter(1), 232.0f);
    EXPECT_EQ(host.getParameter(3), 60.0f);

    // The last block started at frame 768: 768 / (44100 * 60 / 140) quarters in.
    EXPECT_NEAR(host.getParameter(4), 768.0 * 140.0 / (60.0 * 44100.0), 1e-6);
    EXPECT_EQ(host.getParameter(5), 140.0f);
    EXPECT_EQ(host.getParameter(6), 1.0f);
    EXPECT_EQ(host.getParameter(7), 1.0f);

    // The host's loop takes the position back past its end: 2 s at 140 bpm is 4.67 quarters.
    std::vector<float> longer(88200);
    std::vector<float> out(88200);
    host.process(longer.data(), longer.data(), out.data(), out.data(), 88200);
    EXPECT_LT(host.transport().ppqPosition, 1.0);
    EXPECT_GE(host.transport().ppqPosition, 0.0);
}

} // namespace
