#include "EffectBenchSupport.h"
#include "effects/MFTapeFingerX.h"

// Gate open, fully wet, measured on the running tape: a stopped tape costs next to
// nothing, so a new zone starts every 1000 blocks, before the one-bar stop (1500 ticks).
static void BM_MFTapeFingerX(benchmark::State& state) {
    BenchContext c;
    MFTapeFingerX fx(180, c.info);
    fx.setParameter(MFTapeFingerX::timeIndex, 0.0f);
    fx.setMix(1.0f);
    std::vector<float> left(64), right(64);
    float phase = 0.0f;
    float gate = 1.0f;
    int blocks = 0;
    fx.setParameter(MFTapeFingerX::gateIndex, gate);
    for (auto _ : state) {
        if (++blocks == 1000) {
            blocks = 0;
            gate = 3.0f - gate; // alternate 1 and 2, as touching zones do
            fx.setParameter(MFTapeFingerX::gateIndex, gate);
        }
        fx.controlTick();
        for (int i = 0; i < 64; ++i) {
            phase += 0.0287f;
            if (phase > 6.2831853f)
                phase -= 6.2831853f;
            left[i] = 0.5f * std::sin(phase);
            right[i] = 0.5f * std::sin(phase * 1.01f);
        }
        fx.process(left.data(), right.data(), 64);
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
    }
    state.SetItemsProcessed(state.iterations() * 64);
}
BENCHMARK(BM_MFTapeFingerX);
