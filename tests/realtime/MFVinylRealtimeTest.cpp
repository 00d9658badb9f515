#include "effects/MFVinyl.h"
#include "realtime/TurntableRealtimeSupport.h"

#include <gtest/gtest.h>

TEST(VinylRealtime, NoAllocationOnTheAudioPath) {
    TestContext c;
    MFVinyl fx(190, c.info);
    const std::size_t n =
        allocationsWhileDriving(fx, MFVinyl::gateIndex, [](MFEffect& e, int64_t t) {
            e.setParameter(MFVinyl::speedIndex, float(t % 5) * 0.25f);
            e.setParameter(MFVinyl::sizeIndex, float(t % 4) / 3.0f);
            e.setParameter(MFVinyl::slopeIndex, float(t % 2));
        });
    EXPECT_EQ(n, 0u);
    // The line depends on the rate only: a tempo change allocates nothing.
    AllocationCounter counter;
    c.changeTempo(45.0);
    c.changeTempo(499.0);
    EXPECT_EQ(counter.count(), 0u);
}
