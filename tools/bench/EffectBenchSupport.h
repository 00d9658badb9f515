#pragma once

#include "effects/MFBufferRegistry.h"
#include "effects/MFEffect.h"
#include "effects/MFSystemInfo.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

// A 48 kHz context at 120 bpm, the conditions every effect benchmark uses.
struct BenchContext {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
    BenchContext() {
        info.setControlBlockSize(64);
        info.setSampleRate(48000.0f);
    }
};

// Drives an effect as the block driver does: parameters, a control tick, then 64
// samples of a sine mix, repeated; reports nanoseconds per stereo frame.
template <typename Prepare>
void runEffectBench(benchmark::State& state, MFEffect& effect, Prepare prepare) {
    std::vector<float> left(64), right(64);
    float phase = 0.0f;
    prepare(effect);
    for (auto _ : state) {
        effect.controlTick();
        for (int i = 0; i < 64; ++i) {
            phase += 0.0287f;
            if (phase > 6.2831853f)
                phase -= 6.2831853f;
            left[i] = 0.5f * std::sin(phase);
            right[i] = 0.5f * std::sin(phase * 1.01f);
        }
        effect.process(left.data(), right.data(), 64);
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
    }
    state.SetItemsProcessed(state.iterations() * 64);
    // ns per frame is 1e9 / items_per_second.
}
