#include "effects/MFScratchLooper.h"
#include "realtime/TurntableRealtimeSupport.h"

#include <gtest/gtest.h>

TEST(ScratchLooperRealtime, NoAllocationOnTheAudioPath) {
    TestContext c;
    MFScratchLooper fx(184, c.info);
    const std::size_t n =
        allocationsWhileDriving(fx, MFScratchLooper::gateIndex, [](MFEffect& e, int64_t t) {
            e.setParameter(MFScratchLooper::sizeIndex, float(t % 5) * 0.25f);
            e.setParameter(MFScratchLooper::fwdSpinIndex, float(t % 7) / 6.0f);
            e.setParameter(MFScratchLooper::bwdSlopeIndex, float(t % 3) * 0.5f);
        });
    EXPECT_EQ(n, 0u);
}
