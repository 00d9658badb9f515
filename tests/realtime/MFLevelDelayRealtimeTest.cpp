#include <gtest/gtest.h>
#include <vector>

#include "effects/MFLevelDelay.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

// Parameter sweeps and mix changes while running allocate nothing; a tempo change may
// grow the lines once, and a tempo that needs no more room allocates nothing.
TEST(LevelDelayRealtime, NoAllocationOnTheAudioThreadExceptLineGrowth) {
    TestContext c(44100.0f, 120.0);
    MFLevelDelay d(189, c.info);
    EffectDriver driver(d, -1);
    driver.setRunPattern({1, 64, 17});
    driver.onTick([&](int64_t tick) {
        const float v = float(tick % 15) / 15.0f;
        for (int32_t i = 0; i < 5; ++i)
            d.setParameter(i, v);
        d.gateOn();
        d.gateOff();
    });
    std::vector<float> l(8192, 0.25f), r(8192, -0.25f);
    {
        AllocationCounter counter;
        driver.run(l, r);
        driver.setMix(0.0f);
        driver.run(l, r);
        c.changeTempo(300.0); // shorter lines: room enough already
        driver.setMix(1.0f);
        driver.run(l, r);
        EXPECT_EQ(counter.count(), 0u);
    }
    {
        AllocationCounter counter;
        c.changeTempo(60.0); // longer lines: both grow, once
        EXPECT_EQ(counter.count(), 2u);
    }
    AllocationCounter counter;
    c.changeTempo(90.0);
    driver.run(l, r);
    EXPECT_EQ(counter.count(), 0u);
}
