#include "effects/MFTapeFingerX.h"
#include "realtime/TurntableRealtimeSupport.h"

#include <gtest/gtest.h>

TEST(TapeFingerRealtime, NoAllocationOnTheAudioPath) {
    TestContext c;
    MFTapeFingerX fx(180, c.info);
    const std::size_t n =
        allocationsWhileDriving(fx, MFTapeFingerX::gateIndex, [](MFEffect& e, int64_t t) {
            e.setParameter(MFTapeFingerX::timeIndex, float(t % 16) / 15.0f);
            e.setParameter(MFTapeFingerX::slopeIndex, float(t % 3) * 0.5f);
            e.setOption(0, int32_t(t % 2));
        });
    EXPECT_EQ(n, 0u);
    // The tape depends on the rate only: a tempo change allocates nothing.
    AllocationCounter counter;
    c.changeTempo(45.0);
    c.changeTempo(499.0);
    EXPECT_EQ(counter.count(), 0u);
}
