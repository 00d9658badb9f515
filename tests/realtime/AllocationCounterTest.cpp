#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

// The counter itself must see allocations, or every "no allocation" test is empty.
TEST(AllocationCounter, SeesNewMallocAndVectorGrowth) {
    AllocationCounter counter;
    auto p = std::make_unique<int>(3);
    // volatile keeps the compiler from eliding the malloc/free pair.
    void* volatile m = std::malloc(10);
    std::vector<float> v;
    v.resize(100);
    std::free(m);
    EXPECT_GE(counter.count(), 3u);
}

TEST(AllocationCounter, QuietCodeCountsZero) {
    float buffer[64] = {};
    AllocationCounter counter;
    for (float& x : buffer)
        x += 1.0f;
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(buffer[3], 1.0f);
}
