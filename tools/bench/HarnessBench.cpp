#include "EffectBenchSupport.h"

// The harness alone (signal generation, the calls, a base effect that does nothing):
// subtract it from the other figures for an effect's own cost.
static void BM_HarnessOnly(benchmark::State& state) {
    BenchContext c;
    MFEffect effect(0, c.info, 1);
    runEffectBench(state, effect, [](MFEffect&) {});
}
BENCHMARK(BM_HarnessOnly);
