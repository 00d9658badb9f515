#include <gtest/gtest.h>
#include <vector>

#include "effects/MFBitCrushVeld2.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

// Everything the audio thread calls, with every parameter swept while it runs.
TEST(BitCrushRealtime, NoAllocationOnTheAudioThread) {
    TestContext c;
    MFBitCrushVeld2 crush(187, c.info);
    EffectDriver driver(crush, -1);
    driver.setRunPattern({1, 64, 23});
    driver.onTick([&](int64_t tick) {
        const float v = float(tick % 17) / 16.0f;
        for (int32_t i = 0; i < 3; ++i)
            crush.setParameter(i, v);
        crush.setParameter(9, v); // unknown index: a debug report, still no allocation
        crush.gateOn();
        crush.gateOff();
    });
    std::vector<float> l(8192, 0.25f), r(8192, -0.25f);
    AllocationCounter counter;
    driver.run(l, r);
    driver.setMix(0.3f);
    driver.run(l, r);
    crush.setMix(0.0f);
    EXPECT_EQ(counter.count(), 0u);
}
