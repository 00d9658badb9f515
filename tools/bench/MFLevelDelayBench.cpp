#include "EffectBenchSupport.h"
#include "effects/MFLevelDelay.h"

// Fully wet, a dotted eighth with feedback and cross-feed, dry level half.
static void BM_MFLevelDelay(benchmark::State& state) {
    BenchContext c;
    MFLevelDelay delay(189, c.info);
    runEffectBench(state, delay, [](MFEffect& e) {
        e.setParameter(0, 0.5f);
        e.setParameter(1, 0.5f);
        e.setParameter(2, 0.6f);
        e.setParameter(3, 0.7f);
        e.setParameter(4, 0.5f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFLevelDelay);
