#include "support/AllocationCounter.h"
#include "support/EffectChainRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

class EffectRealtime : public ::testing::TestWithParam<int> {};

// Everything the block driver calls on an effect on the audio thread, as it calls it:
// zones that open, re-trigger and close, every knob and option moving, the mix opening
// and closing, ragged runs, the one-sample form, and the tempo jumping to 499 and down to
// 45 bpm. None of it may touch the heap or make memory resident: buffers that the slower
// tempo needs are asked of the grower's thread, and the effect plays within its room.
TEST_P(EffectRealtime, AudioThreadCallsNeitherAllocateNorFault) {
    const int k = GetParam();
    EffectChainRig rig(48000.0f, 120.0);
    MFEffect& fx = rig.effect(k);
    EffectDriver& drive = rig.driver(k);
    const int32_t gate = EffectChainRig::gateIndex[k];
    drive.setRunPattern({64, 1, 13, 50});
    drive.onTick([&](int64_t t) {
        if (t % 23 == 0)
            drive.setGate(float(t / 23 % 3));
        drive.setMix(t % 40 < 30 ? 1.0f : 0.0f);
        for (int32_t p = 0; p < fx.getParameterCount(); ++p)
            if (p != gate)
                fx.setParameter(p, float((t * (p + 3)) % 11) / 10.0f);
        fx.setParameter(9, 0.5f); // an unknown index: reported, nothing more
        fx.setOption(0, int32_t(t % 2));
        fx.setOption(-1, int32_t(t / 2 % 2));
        if (t % 50 == 0) {
            fx.gateOn();
            fx.gateOff();
        }
    });
    std::vector<float> l(8192), r(8192);
    for (std::size_t i = 0; i < l.size(); ++i)
        l[i] = r[i] = 0.5f * std::sin(0.03f * float(i));
    drive.run(l, r); // every path runs once before counting

    MFBufferGrower::AudioBlock block(rig.context.info.bufferGrower);
    AllocationCounter counter;
    for (const double bpm : {120.0, 499.0, 45.0, 120.0}) {
        rig.context.changeTempo(bpm);
        drive.run(l, r);
        fx.processSample(l[0], r[0]);
    }
    fx.updateBuffers(true);
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(counter.pageFaults(), 0);
    EXPECT_TRUE(std::isfinite(l.back()));
}

INSTANTIATE_TEST_SUITE_P(EveryEffect, EffectRealtime, ::testing::Range(0, EffectChainRig::size),
                         [](const auto& info) { return EffectChainRig::testName(info.param); });

} // namespace
