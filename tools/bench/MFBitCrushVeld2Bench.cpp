#include "EffectBenchSupport.h"
#include "effects/MFBitCrushVeld2.h"

// Fully wet with the distortion branch half in: the whole per-sample path runs.
static void BM_MFBitCrushVeld2(benchmark::State& state) {
    BenchContext c;
    MFBitCrushVeld2 crush(187, c.info);
    runEffectBench(state, crush, [](MFEffect& e) {
        e.setParameter(0, 0.4f);
        e.setParameter(1, 0.22f);
        e.setParameter(2, 0.5f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFBitCrushVeld2);
