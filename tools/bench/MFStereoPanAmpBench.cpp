#include "EffectBenchSupport.h"
#include "effects/MFStereoPanAmp.h"

// Both channels away from unity, so both are multiplied every sample.
static void BM_MFStereoPanAmp(benchmark::State& state) {
    BenchContext c;
    MFStereoPanAmp amp(183, c.info);
    runEffectBench(state, amp, [](MFEffect& e) {
        e.setParameter(0, 0.2f);
        e.setParameter(1, 0.4f);
    });
}
BENCHMARK(BM_MFStereoPanAmp);
