#include "effects/MFPhaser.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <vector>

// Everything the audio thread calls, with every parameter moving, allocates nothing.
TEST(MFPhaserRealtime, AudioThreadCallsDoNotAllocate) {
    TestContext ctx;
    MFPhaser phaser(160, ctx.info);
    std::vector<float> l(64, 0.25f), r(64, -0.25f);
    AllocationCounter counter;
    for (int block = 0; block < 200; ++block) {
        const float v = float(block % 17) / 16.0f;
        for (int p = 0; p < MFPhaser::parameterCount; ++p)
            phaser.setParameter(p, v);
        phaser.setOption(0, block % 2);
        if (block % 50 == 0)
            phaser.gateOn();
        if (block % 50 == 49)
            phaser.gateOff();
        phaser.setMix(block % 40 < 30 ? 1.0f : 0.0f);
        phaser.controlTick();
        phaser.process(l.data(), r.data(), 1 + block % 64);
    }
    EXPECT_EQ(counter.count(), 0u);
}
