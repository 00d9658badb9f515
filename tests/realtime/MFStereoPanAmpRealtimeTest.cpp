#include <gtest/gtest.h>
#include <vector>

#include "effects/MFStereoPanAmp.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

TEST(StereoPanAmpRealtime, NoAllocationOnTheAudioThread) {
    TestContext c;
    MFStereoPanAmp amp(183, c.info);
    EffectDriver driver(amp, -1);
    driver.setRunPattern({1, 64, 9});
    driver.onTick([&](int64_t tick) {
        amp.setParameter(int32_t(tick % 2), float(tick % 5) / 4.0f);
        amp.gateOn();
        amp.gateOff();
    });
    std::vector<float> l(8192, 0.25f), r(8192, -0.25f);
    AllocationCounter counter;
    driver.run(l, r);
    amp.setMix(0.5f);
    EXPECT_EQ(counter.count(), 0u);
}
