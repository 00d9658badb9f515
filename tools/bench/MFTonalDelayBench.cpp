#include "EffectBenchSupport.h"
#include "effects/MFTonalDelay.h"

// Open zone, fully wet, middle note with strong feedback and some cross-feed.
static void BM_MFTonalDelay(benchmark::State& state) {
    BenchContext c;
    MFTonalDelay delay(188, c.info);
    runEffectBench(state, delay, [](MFEffect& e) {
        e.setParameter(0, 0.45f);
        e.setParameter(1, 0.8f);
        e.setParameter(2, 0.3f);
        e.setParameter(3, 0.2f);
        e.setParameter(4, 0.5f);
        e.gateOn();
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFTonalDelay);
