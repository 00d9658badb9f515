#include <gtest/gtest.h>
#include <vector>

#include "effects/MFVEXFilter.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

// Every mode of both banks, every parameter swept at every tick, mix changes and tempo
// changes: nothing allocates (the comb's line depends on the rate alone).
TEST(VEXFilterRealtime, NoAllocationOnTheAudioThread) {
    TestContext c(44100.0f, 120.0);
    MFVEXFilter f(179, c.info);
    EffectDriver driver(f, -1);
    driver.setRunPattern({1, 64, 17});
    driver.onTick([&](int64_t tick) {
        f.setParameter(0, float(tick % 17) / 16.0f);
        f.setParameter(1, float(tick % 5) / 4.0f);
        f.setParameter(2, float(tick % 10) * 0.1f);
        f.setParameter(3, float((tick / 10) % 2) * 0.5f);
        f.gateOn();
        f.gateOff();
    });
    std::vector<float> l(16384, 0.25f), r(16384, -0.25f);
    AllocationCounter counter;
    driver.run(l, r);
    driver.setMix(0.0f);
    driver.run(l, r);
    c.changeTempo(300.0);
    c.changeTempo(45.0);
    driver.setMix(1.0f);
    driver.run(l, r);
    EXPECT_EQ(counter.count(), 0u);
}
