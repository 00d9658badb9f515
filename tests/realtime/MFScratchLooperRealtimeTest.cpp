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

TEST(ScratchLooperRealtime, OnlyATempoChangeMayGrowTheBuffers) {
    TestContext c(44100.0f, 120.0);
    MFScratchLooper fx(184, c.info);
    // A faster tempo needs less ring: nothing to allocate.
    {
        AllocationCounter counter;
        c.changeTempo(200.0);
        EXPECT_EQ(counter.count(), 0u);
    }
    // Back to a slower tempo than the first: growth is allowed, and bounded to the four buffers.
    AllocationCounter counter;
    c.changeTempo(60.0);
    EXPECT_LE(counter.count(), 4u);
}
