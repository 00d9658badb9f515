#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "effects/MFStereoPanAmp.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

namespace {

constexpr int32_t id = 183;

// A change of gain ramps over one 64-sample tick, the first sample already one step
// on; the untouched channel keeps its samples exactly.
TEST(StereoPanAmp, RampReachesTargetInOneTickStartingOneStepIn) {
    TestContext c;
    MFStereoPanAmp amp(id, c.info);
    EffectDriver driver(amp, -1);
    amp.setParameter(0, 0.5f); // gain 2
    std::vector<float> l(128, 0.5f), r(128, 0.5f);
    driver.run(l, r);
    const float step = (2.0f - 1.0f) / 64.0f;
    EXPECT_FLOAT_EQ(l[0], 0.5f * (1.0f + step));
    EXPECT_FLOAT_EQ(l[31], 0.5f * (1.0f + 32.0f * step));
    EXPECT_NEAR(l[63], 1.0f, 1e-5f);
    EXPECT_NEAR(l[127], 1.0f, 1e-5f);
    for (float x : r)
        ASSERT_EQ(x, 0.5f);
}

TEST(StereoPanAmp, AnyIndexOtherThanZeroSetsTheRightGain) {
    TestContext c;
    MFStereoPanAmp amp(id, c.info);
    amp.setParameter(7, 0.0f);
    amp.controlTick();
    float l = 1.0f, r = 1.0f;
    for (int i = 0; i < 64; ++i) {
        l = r = 1.0f;
        amp.process(&l, &r, 1);
    }
    EXPECT_EQ(l, 1.0f);
    EXPECT_NEAR(r, 0.0f, 1e-6f);
    amp.setLeftGain(0.5f);
    amp.controlTick();
    for (int i = 0; i < 64; ++i) {
        l = 1.0f;
        amp.process(&l, &r, 1);
    }
    EXPECT_NEAR(l, 0.5f, 1e-6f);
}

} // namespace
