#include "effects/MFReverb2.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <vector>

// Everything the audio thread calls allocates nothing, including the sleep that clears
// the reverb's memory and both processing forms.
TEST(MFReverb2Realtime, AudioThreadCallsDoNotAllocate) {
    TestContext ctx;
    MFReverb2 reverb(191, ctx.info);
    std::vector<float> l(64, 0.25f), r(64, -0.25f);
    AllocationCounter counter;
    for (int block = 0; block < 200; ++block) {
        const float v = float(block % 17) / 16.0f;
        for (int p = 0; p < MFReverb2::parameterCount - 1; ++p)
            reverb.setParameter(p, v);
        if (block % 50 == 0)
            reverb.gateOn();
        if (block % 50 == 49)
            reverb.gateOff();
        reverb.setMix(block % 40 < 30 ? 1.0f : 0.0f);
        reverb.controlTick();
        reverb.process(l.data(), r.data(), 1 + block % 64);
        reverb.processSample(l[0], r[0]);
    }
    EXPECT_EQ(counter.count(), 0u);
}
