#include "effects/MFLooperX.h"
#include "effects/MFLooperX2.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <type_traits>
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

template <typename Effect> struct LoopEffectId;
template <> struct LoopEffectId<MFLooperX> : std::integral_constant<int32_t, 176> {};
template <> struct LoopEffectId<MFLooperX2> : std::integral_constant<int32_t, 182> {};

template <typename Effect> class LoopEffectRealtime : public ::testing::Test {};
using LoopEffects = ::testing::Types<MFLooperX, MFLooperX2>;
TYPED_TEST_SUITE(LoopEffectRealtime, LoopEffects);

TYPED_TEST(LoopEffectRealtime, NoAllocationOnTheAudioPath) {
    TestContext ctx;
    TypeParam fx(LoopEffectId<TypeParam>::value, ctx.info);
    EXPECT_EQ(allocationsWhilePlaying(ctx, fx), 0u);
}

} // namespace
