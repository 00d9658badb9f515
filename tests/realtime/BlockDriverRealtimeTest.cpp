#include "engine/MFUniClient.h"
#include "support/AllocationCounter.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <vector>

// The audio thread's whole path: time information, ticks, the chain, the mix, the
// master gain and the output filter, over ragged blocks with the transport moving,
// looping, stopping and changing tempo. Nothing may touch the heap, not even for a slower
// tempo, whose buffers grow on the grower's thread.
TEST(BlockDriverRealtime, ProcessReplacingNeverAllocates) {
    FakeHost host;
    auto* client = new MFUniClient(FakeHost::callback());
    host.attach(client);
    client->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, 48000.0f);
    client->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);

    std::vector<float> l(4096, 0.3f), r(4096, -0.2f), ol(4096), orr(4096);
    float* in[2] = {l.data(), r.data()};
    float* out[2] = {ol.data(), orr.data()};
    const int sizes[] = {1, 64, 4096, 100, 333, 7, 2048};

    std::size_t allocations = 0;
    for (int k = 0; k < 200; ++k) {
        AllocationCounter counter;
        const int n = sizes[k % 7];
        if (k == 50)
            host.time.tempo = 97.0;
        if (k == 80) {
            host.time.flags |= vst::kVstTransportCycleActive | vst::kVstCyclePosValid;
            host.time.cycleStartPos = 0.0;
            host.time.cycleEndPos = host.time.ppqPos + 0.05;
        }
        if (k == 120)
            host.time.flags &= ~vst::kVstTransportPlaying;
        if (k == 150)
            host.provideTime = false;
        client->processReplacing(in, out, n);
        host.advance(n, 48000.0);
        allocations += counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(client->getContext().tempo, 97.0) << "the tempo change did happen";
}
