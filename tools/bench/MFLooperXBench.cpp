#include "effects/MFLooperX.h"
#include "tools/bench/EffectBenchSupport.h"

// Gate open and fully wet at 48 kHz, 120 bpm, default knobs.
static void BM_MFLooperX(benchmark::State& state) {
    BenchContext ctx;
    MFLooperX fx(176, ctx.info);
    runEffectBench(state, fx, [](MFEffect& e) {
        e.setParameter(MFLooperX::parameterGate, 1.0f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFLooperX);
