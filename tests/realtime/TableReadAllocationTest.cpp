#include "support/AllocationCounter.h"

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "pattern/MFTableXY.h"

#include <gtest/gtest.h>

#include <vector>

// What the audio thread and the pattern change do to a table must not touch the heap.
TEST(TableRealtime, ReadsRowChangesAndSingleWritesDoNotAllocate) {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info(registry, listeners);
    MFTableXY t(info, 32);
    t.setRowCount(12);
    float sum = 0.0f;
    std::size_t allocations = 0;
    {
        AllocationCounter counter;
        for (int i = 0; i < 2000; ++i) {
            t.setRow(static_cast<float>(i % 12) + 0.5f);
            sum += t.valueAtPosition(static_cast<float>(i % 32) + 0.25f);
            sum += t.interpolateAtCursor();
            sum += t.normalisedAt(3.5f);
            sum += t.valueAt(i % 33);
            t.setNormalised(i % 32, 0.5f);
            t.setValue(i % 32, 0.25f);
        }
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_TRUE(sum == sum);
}
