#include <gtest/gtest.h>
#include <vector>

#include "effects/MFLevelDelay.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

// Parameter sweeps, mix changes and tempo changes either way, all on the audio thread,
// allocate nothing and make no memory resident: longer lines grow on the grower's thread.
TEST(LevelDelayRealtime, NoAllocationOnTheAudioThreadWhateverTheTempo) {
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
    driver.run(l, r); // the paths run once before they are counted
    MFBufferGrower::AudioBlock block(c.info.bufferGrower);
    AllocationCounter counter;
    driver.run(l, r);
    driver.setMix(0.0f);
    driver.run(l, r);
    c.changeTempo(300.0); // shorter lines: room enough already
    driver.setMix(1.0f);
    driver.run(l, r);
    c.changeTempo(60.0); // longer lines: asked of the grower, played within the room meanwhile
    driver.run(l, r);
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(counter.pageFaults(), 0);
}
