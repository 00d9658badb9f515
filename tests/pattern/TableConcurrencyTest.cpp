#include "PatternTestSupport.h"

#include "pattern/MFRandom.h"
#include "pattern/MFTableXY.h"

#include <atomic>
#include <cmath>
#include <thread>

namespace {

// The editor redraws and randomises the current row while the audio thread
// reads: no lock on either side. Under ThreadSanitizer this must report no race;
// in every build every read must stay a finite value inside the blended range.
TEST(TableConcurrency, EditorWritesWhileAudioReads) {
    PatternContext o;
    MFTableXY t(o.info, 32);
    t.setRowCount(12);
    t.setRow(4.5f);
    std::atomic<bool> stop{false};
    std::atomic<int> badReads{0};

    std::thread audio([&] {
        float position = 0.0f;
        while (!stop.load(std::memory_order_relaxed)) {
            for (int tick = 0; tick < 64; ++tick) {
                position += 0.37f;
                if (position >= 32.0f)
                    position -= 32.0f;
                const float a = t.valueAtPosition(position);
                const float b = t.interpolateAtCursor();
                const float c = t.normalisedAt(position);
                // Values are normalised writes on a 0..1 table: blends stay inside.
                for (float v : {a, b, c})
                    if (!std::isfinite(v) || v < -1e-6f || v > 1.0f + 1e-6f)
                        badReads.fetch_add(1, std::memory_order_relaxed);
            }
        }
    });

    MFRandom::reseed();
    for (int pass = 0; pass < 200; ++pass) {
        t.random();
        for (int i = 0; i < 32; ++i)
            t.setNormalised(i, static_cast<float>((i + pass) % 32) / 31.0f);
        t.setRow(static_cast<float>(pass % 5) + 4.25f);
        t.jitter();
        t.raise(0, 32);
        t.lower(0, 32);
    }
    stop.store(true);
    audio.join();
    EXPECT_EQ(badReads.load(), 0);
}

} // namespace
