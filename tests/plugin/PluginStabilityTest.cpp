// The whole plug-in under the conditions a live set throws at it: rate changes,
// tempo sweeps across the whole range, ragged blocks and loud noise.

#include "support/SignalMeasure.h"
#include "tools/host/PluginHost.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(PluginStability, RatesTemposAndRaggedBlocksStayFiniteAndQuiet) {
    PluginHost host;
    ASSERT_TRUE(host.load(CADENZOID_PLUGIN_PATH)) << host.lastError();
    const std::vector<float> noise = signal::noise(48000, 9);
    std::vector<float> left(noise.size()), right(noise.size());
    const float rates[] = {22050.0f, 44100.0f, 96000.0f, 176000.0f, 11050.0f};
    const double tempos[] = {45.0, 499.0, 120.0, 60.0, 300.0, 600.0, 44.0};
    unsigned seed = 1;
    for (float rate : rates) {
        host.start(rate, 2048);
        host.setRandomBlocks(seed++);
        for (double tempo : tempos) {
            host.transport().tempo = tempo;
            host.process(noise.data(), noise.data(), left.data(), right.data(),
                         int64_t(noise.size() / 4));
            ASSERT_TRUE(signal::allFinite(left.data(), noise.size() / 4)) << rate << " " << tempo;
            ASSERT_TRUE(signal::allFinite(right.data(), noise.size() / 4));
            // All lanes are off: the input passes, through the DC blocker, at about unity.
            EXPECT_LT(signal::peak(left.data(), noise.size() / 4), 2.5f) << rate << " " << tempo;
        }
        host.stop();
    }
    // A loud offset, then three seconds of silence: the output filter's decay must
    // reach zero without passing through denormal numbers.
    host.start(44100.0f, 512);
    const std::vector<float> offset(4410, 0.9f);
    host.process(offset.data(), offset.data(), left.data(), right.data(), 4410);
    const std::vector<float> silence(44100, 0.0f);
    std::size_t denormals = 0;
    for (int second = 0; second < 3; ++second) {
        host.process(silence.data(), silence.data(), left.data(), right.data(), 44100);
        denormals += signal::denormalCount(left.data(), 44100);
        denormals += signal::denormalCount(right.data(), 44100);
    }
    EXPECT_EQ(denormals, 0u);
}

} // namespace
