#include "effects/MFLooperX2.h"
#include "tools/bench/EffectBenchSupport.h"

// Gate open and fully wet at 48 kHz, 120 bpm, default knobs.
static void BM_MFLooperX2(benchmark::State& state) {
    BenchContext ctx;
    MFLooperX2 fx(182, ctx.info);
    runEffectBench(state, fx, [](MFEffect& e) {
        e.setParameter(MFLooperX2::parameterGate, 1.0f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFLooperX2);
