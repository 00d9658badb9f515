#include "EffectBenchSupport.h"
#include "effects/MFPhaser.h"

// Active and fully wet at 48 kHz.
static void BM_MFPhaser(benchmark::State& state) {
    BenchContext bench;
    MFPhaser effect(160, bench.info);
    runEffectBench(state, effect, [](MFEffect& e) {
        e.setParameter(3, 1.0f); /* seven stages, the costliest */
        e.setMix(1.0f);
        e.controlTick();
    });
}
BENCHMARK(BM_MFPhaser);
