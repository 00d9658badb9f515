#include "EffectBenchSupport.h"
#include "effects/MFVinyl.h"

// Full depth, fully wet.
static void BM_MFVinyl(benchmark::State& state) {
    BenchContext c;
    MFVinyl fx(190, c.info);
    runEffectBench(state, fx, [](MFEffect& e) {
        e.setParameter(MFVinyl::gateIndex, 1.0f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFVinyl);
