#include "effects/MFChorusVeld2.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <vector>

// Everything the audio thread calls allocates nothing; a tempo change only reallocates
// when the lines must grow, and they are sized by the rate, so here not at all.
TEST(MFChorusVeld2Realtime, AudioThreadCallsDoNotAllocate) {
    TestContext ctx;
    MFChorusVeld2 chorus(185, ctx.info);
    std::vector<float> l(64, 0.25f), r(64, -0.25f);
    AllocationCounter counter;
    for (int block = 0; block < 200; ++block) {
        const float v = float(block % 17) / 16.0f;
        for (int p = 0; p < MFChorusVeld2::parameterCount; ++p)
            chorus.setParameter(p, v);
        if (block % 50 == 0)
            chorus.gateOn();
        if (block % 50 == 49)
            chorus.gateOff();
        if (block % 60 == 0)
            ctx.changeTempo(block % 120 == 0 ? 499.0 : 45.0);
        chorus.setMix(block % 40 < 30 ? 1.0f : 0.0f);
        chorus.controlTick();
        chorus.process(l.data(), r.data(), 1 + block % 64);
    }
    EXPECT_EQ(counter.count(), 0u);
}
