#include <gtest/gtest.h>
#include <vector>

#include "effects/MFTonalDelay.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

// Note changes with and without glide, re-triggers and mix changes while running.
TEST(TonalDelayRealtime, NoAllocationOnTheAudioThread) {
    TestContext c;
    MFTonalDelay d(188, c.info);
    EffectDriver driver(d, -1);
    driver.setRunPattern({1, 64, 31});
    driver.onTick([&](int64_t tick) {
        const float v = float(tick % 13) / 12.0f;
        for (int32_t i = 0; i < 5; ++i)
            d.setParameter(i, v);
        d.setOption(-1, int32_t(tick % 2));
        if (tick % 7 == 0) {
            d.gateOn();
            d.gateOff();
        }
    });
    std::vector<float> l(8192, 0.25f), r(8192, -0.25f);
    AllocationCounter counter;
    driver.run(l, r);
    driver.setMix(0.0f);
    driver.run(l, r);
    d.updateBuffers(true);
    EXPECT_EQ(counter.count(), 0u);
}
