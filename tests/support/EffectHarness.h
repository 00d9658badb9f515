#pragma once

#include "effects/MFBufferRegistry.h"
#include "effects/MFEffect.h"
#include "effects/MFSystemInfo.h"

#include <cstdint>
#include <functional>
#include <vector>

// A shared audio context as the plug-in sets it up: 64-sample ticks, a chosen rate and tempo.
struct TestContext {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};

    explicit TestContext(float sampleRate = 44100.0f, double tempo = 120.0);
    // A tempo change as the block driver makes it: context first, then every listener.
    void changeTempo(double bpm);
    // Waits until the grower's thread has served every request; false after five seconds.
    bool waitForGrower();
};

// Drives one effect the way the block driver does: on every 64-sample tick the gate
// value (through setParameter at gateIndex, when there is one), setMix and
// controlTick; between ticks process() in runs of at most 64 samples, cut where the
// run-length pattern says (so tests can mimic 1-sample or ragged host blocks).
class EffectDriver {
public:
    EffectDriver(MFEffect& effect, int32_t gateIndex);

    // Values sent at the next and all later ticks.
    void setGate(float value) { gate = value; }
    void setMix(float value) { mix = value; }
    // Run lengths cycle through this list; {64} by default.
    void setRunPattern(std::vector<int> runs) { runPattern = std::move(runs); }
    // Called at every tick after the gate and mix, before controlTick.
    void onTick(std::function<void(int64_t tick)> f) { tickHook = std::move(f); }

    // Processes a stereo signal in place.
    void run(float* left, float* right, std::size_t frames);
    void run(std::vector<float>& left, std::vector<float>& right) {
        run(left.data(), right.data(), left.size());
    }

    int64_t ticks() const { return tickCount; }

private:
    MFEffect& effect;
    int32_t gateIndex;
    float gate = 0.0f;
    float mix = 1.0f;
    int counter = 64; // the first tick comes before the first sample of a fresh driver
    int64_t tickCount = 0;
    std::size_t runIndex = 0;
    std::vector<int> runPattern{64};
    std::function<void(int64_t)> tickHook;
};
