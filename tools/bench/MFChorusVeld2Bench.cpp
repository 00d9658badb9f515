#include "EffectBenchSupport.h"
#include "effects/MFChorusVeld2.h"

// Active and fully wet at 48 kHz.
static void BM_MFChorusVeld2(benchmark::State& state) {
    BenchContext bench;
    MFChorusVeld2 effect(185, bench.info);
    runEffectBench(state, effect, [](MFEffect& e) {
        e.setParameter(1, 0.5f);
        e.setMix(1.0f);
        e.controlTick();
    });
}
BENCHMARK(BM_MFChorusVeld2);
