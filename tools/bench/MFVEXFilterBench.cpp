#include "EffectBenchSupport.h"
#include "effects/MFVEXFilter.h"

// Fully wet, resonant series band pair of bank 1 (the most stages per sample).
static void BM_MFVEXFilter(benchmark::State& state) {
    BenchContext c;
    MFVEXFilter filter(179, c.info);
    runEffectBench(state, filter, [](MFEffect& e) {
        e.setParameter(0, 0.6f);
        e.setParameter(1, 0.8f);
        e.setParameter(2, 0.3f);
        e.setParameter(3, 1.0f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFVEXFilter);
