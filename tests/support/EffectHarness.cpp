#include "support/EffectHarness.h"

#include "effects/MFBPMChangeInterface.h"

#include <algorithm>
#include <chrono>
#include <thread>

TestContext::TestContext(float sampleRate, double tempo) {
    info.setControlBlockSize(64);
    info.setTempo(tempo);
    info.setSampleRate(sampleRate);
}

void TestContext::changeTempo(double bpm) {
    info.setTempo(bpm);
    info.notifyTempoListeners();
}

bool TestContext::waitForGrower() {
    for (int tries = 0; tries < 5000; ++tries) {
        if (!info.bufferGrower.busy())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

EffectDriver::EffectDriver(MFEffect& e, int32_t index) : effect(e), gateIndex(index) {}

void EffectDriver::run(float* left, float* right, std::size_t frames) {
    std::size_t done = 0;
    while (done < frames) {
        if (counter == 64) {
            counter = 0;
            if (gateIndex >= 0)
                effect.setParameter(gateIndex, gate);
            effect.setMix(mix);
            if (tickHook)
                tickHook(tickCount);
            effect.controlTick();
            ++tickCount;
        }
        int run = runPattern[runIndex % runPattern.size()];
        ++runIndex;
        run = std::max(1, std::min(run, 64 - counter));
        run = int(std::min<std::size_t>(std::size_t(run), frames - done));
        effect.process(left + done, right + done, run);
        done += std::size_t(run);
        counter += run;
    }
}
