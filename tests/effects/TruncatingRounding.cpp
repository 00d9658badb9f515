// Every effect test runs with float rounding toward zero, the mode the block driver
// sets around each host block: ramps and conversions must hold up under it.

#include "engine/MFRoundingGuard.h"

#include <gtest/gtest.h>

#include <memory>

namespace {
class TruncatingRounding : public ::testing::Environment {
public:
    void SetUp() override { guard = std::make_unique<MFRoundingGuard>(); }
    void TearDown() override { guard.reset(); }

private:
    std::unique_ptr<MFRoundingGuard> guard;
};

[[maybe_unused]] ::testing::Environment* const truncatingRounding =
    ::testing::AddGlobalTestEnvironment(new TruncatingRounding);
} // namespace

TEST(TruncatingRounding, IsInForceInEveryTest) {
    // Under round-to-nearest 1 - 1e-8 is 1; truncation gives the float just below.
    volatile float one = 1.0f;
    volatile float tiny = 1e-8f;
    EXPECT_LT(one - tiny, 1.0f);
}
