#include "effects/MFBeatStretcher.h"
#include "tools/bench/EffectBenchSupport.h"

namespace {

// Gate open, fully wet, at 48 kHz and 120 bpm.
void BM_MFBeatStretcher(benchmark::State& state) {
    BenchContext ctx;
    MFBeatStretcher fx(177, ctx.info);
    runEffectBench(state, fx, [](MFEffect& effect) {
        effect.setMix(1.0f);
        effect.setParameter(MFBeatStretcher::parameterGate, 1.0f);
        effect.controlTick();
    });
}
BENCHMARK(BM_MFBeatStretcher);

} // namespace
