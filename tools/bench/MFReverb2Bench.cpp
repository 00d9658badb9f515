#include "EffectBenchSupport.h"
#include "effects/MFReverb2.h"

// Active and fully wet at 48 kHz.
static void BM_MFReverb2(benchmark::State& state) {
    BenchContext bench;
    MFReverb2 effect(191, bench.info);
    runEffectBench(state, effect, [](MFEffect& e) {
        e.setParameter(5, 0.0f);
        e.setMix(1.0f);
        e.controlTick();
    });
}
BENCHMARK(BM_MFReverb2);
