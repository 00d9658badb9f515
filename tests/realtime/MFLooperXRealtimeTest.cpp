#include "effects/MFLooperX.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Everything the audio thread calls on a loop effect, as the block driver calls it:
// gate changes (open, retrigger, close), mix, tick, process in ragged runs, and knob moves.
template <typename Effect> std::size_t allocationsWhilePlaying(TestContext& ctx, Effect& fx) {
    EffectDriver drive(fx, Effect::parameterGate);
    drive.setRunPattern({64, 1, 13, 50});
    drive.onTick([&](int64_t tick) {
        if (tick % 23 == 0)
            drive.setGate(float(tick / 23 % 3));
        if (tick % 7 == 0)
            fx.setParameter(int32_t(tick / 7 % 4), float(tick % 10) * 0.1f);
        // A faster tempo needs no larger buffers, so even this must not allocate.
        if (tick == 300)
            ctx.changeTempo(140.0);
    });
    std::vector<float> left(44100 * 3, 0.25f), right(44100 * 3, -0.25f);
    AllocationCounter counter;
    drive.run(left.data(), right.data(), left.size());
    fx.gateOn();
    fx.gateOff();
    fx.setMix(0.3f);
    fx.controlTick();
    fx.process(left.data(), right.data(), 64);
    return counter.count();
}

} // namespace

TEST(MFLooperXRealtime, NoAllocationOnTheAudioPath) {
    TestContext ctx;
    MFLooperX fx(176, ctx.info);
    EXPECT_EQ(allocationsWhilePlaying(ctx, fx), 0u);
}
