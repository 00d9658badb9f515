#include "effects/MFBeatStretcher.h"
#include "effects/MFReverserX.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>
#include <vector>

namespace {

template <typename Effect> struct GrainEffectId;
template <> struct GrainEffectId<MFBeatStretcher> : std::integral_constant<int32_t, 177> {};
template <> struct GrainEffectId<MFReverserX> : std::integral_constant<int32_t, 181> {};

template <typename Effect> class GrainEffectRealtime : public ::testing::Test {};
using GrainEffects = ::testing::Types<MFBeatStretcher, MFReverserX>;
TYPED_TEST_SUITE(GrainEffectRealtime, GrainEffects);

// Every call the block driver makes on the audio thread, over zones that open,
// re-trigger and close, with every knob moving: none may touch the heap.
TYPED_TEST(GrainEffectRealtime, AudioThreadCallsDoNotAllocate) {
    TestContext ctx(48000.0f, 120.0);
    TypeParam fx(GrainEffectId<TypeParam>::value, ctx.info);
    std::vector<float> left(64), right(64);
    const int32_t gate = TypeParam::parameterGate;
    std::size_t allocations = 0;
    {
        AllocationCounter counter;
        for (int block = 0; block < 4000; ++block) {
            const int zone = block / 300;
            fx.setParameter(gate, zone % 3 == 2 ? 0.0f : float(1 + zone % 2));
            fx.setMix(0.5f + 0.5f * std::sin(float(block) * 0.01f));
            for (int p = 0; p < gate; ++p)
                fx.setParameter(p, float((block * (p + 3)) % 101) / 100.0f);
            fx.controlTick();
            for (int i = 0; i < 64; ++i)
                left[i] = right[i] = std::sin(float(block * 64 + i) * 0.05f);
            // Ragged runs, as hosts deliver them.
            fx.process(left.data(), right.data(), 13);
            fx.process(left.data() + 13, right.data() + 13, 1);
            fx.process(left.data() + 14, right.data() + 14, 50);
            if (block % 500 == 0) {
                fx.gateOn();
                fx.gateOff();
            }
        }
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_TRUE(std::isfinite(left[63]));
}

} // namespace
