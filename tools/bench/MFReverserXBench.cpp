#include "effects/MFReverserX.h"
#include "tools/bench/EffectBenchSupport.h"

namespace {

// Gate open, fully wet, at 48 kHz and 120 bpm.
void BM_MFReverserX(benchmark::State& state) {
    BenchContext ctx;
    MFReverserX fx(181, ctx.info);
    runEffectBench(state, fx, [](MFEffect& effect) {
        effect.setMix(1.0f);
        effect.setParameter(MFReverserX::parameterGate, 1.0f);
        effect.controlTick();
    });
}
BENCHMARK(BM_MFReverserX);

} // namespace
