#include "engine/MFEffectChain.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

namespace {

TEST(EffectChain, HoldsTheFifteenEffectsInChainOrderWithTheirIds) {
    TestContext c;
    MFEffectChain chain(c.info);
    const int32_t ids[] = {182, 176, 184, 181, 177, 190, 180, 188,
                           183, 187, 179, 160, 185, 189, 191};
    for (int k = 0; k < MFEffectChain::size; ++k)
        EXPECT_EQ(chain.all()[k]->getEffectId(), ids[k]) << "slot " << k;
}

TEST(EffectChain, StageSixRunsOneAlternativeOrNone) {
    TestContext c;
    MFEffectChain chain(c.info);
    EXPECT_EQ(chain.stageSix(0.0f), &chain.vinyl);
    EXPECT_EQ(chain.stageSix(1.0f), &chain.tapeStop);
    EXPECT_EQ(chain.stageSix(0.5f), nullptr);
    EXPECT_EQ(chain.stageSix(2.0f), nullptr);
}

} // namespace
