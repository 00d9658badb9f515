#include "EffectBenchSupport.h"
#include "effects/MFScratchLooper.h"

// Gate open with a full record, fully wet.
static void BM_MFScratchLooper(benchmark::State& state) {
    BenchContext c;
    MFScratchLooper fx(184, c.info);
    runEffectBench(state, fx, [](MFEffect& e) {
        e.setParameter(MFScratchLooper::gateIndex, 1.0f);
        e.setMix(1.0f);
    });
}
BENCHMARK(BM_MFScratchLooper);
