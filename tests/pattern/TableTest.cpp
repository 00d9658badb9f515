#include "PatternTestSupport.h"

#include "pattern/MFTable.h"

#include <cmath>
#include <limits>

namespace {

constexpr uint32_t one = 0x3F800000u;  // 1.0f
constexpr uint32_t ten = 0x41200000u;  // 10.0f
constexpr uint32_t half = 0x3F000000u; // 0.5f

// Exact float equality is meant where a value is stored, not computed.
TEST(Table, GuardEntryFollowsEveryWriteAtIndexZero) {
    PatternContext o;
    MFTable t(o.info, 32);
    ASSERT_EQ(t.getSize(), 32);
    t.setNormalised(0, 0.25f);
    EXPECT_EQ(t.rawEntry(32), 0.25f);
    t.setValue(0, 0.75f);
    EXPECT_EQ(t.rawEntry(32), 0.75f);
    t.setFlags(MFTable::flagNoEqualNeighbours);
    t.setNormalised(0, 0.5f);
    EXPECT_EQ(t.rawEntry(32), t.rawEntry(0));
    t.setIntegerMode(true);
    EXPECT_EQ(t.rawEntry(32), t.rawEntry(0));
    // A write at the guard's own index keeps both ends equal too.
    t.setIntegerMode(false);
    t.setValue(32, 0.125f);
    EXPECT_EQ(t.rawEntry(0), 0.125f);
}

TEST(Table, InterpolatedAndTruncatedReads) {
    PatternContext o;
    MFTable t(o.info, 32);
    t.setValue(31, 0.2f);
    t.setValue(0, 0.6f);
    t.setValue(2, 0.3f);
    t.setValue(3, 0.5f);
    // Float rounding of a + (b - a) * f stays within a few ulps of 1.
    t.readCursor = 31.5f;
    EXPECT_NEAR(t.interpolateAtCursor(), 0.4f, 1e-6f);
    EXPECT_NEAR(t.valueAtPosition(2.25f), 0.35f, 1e-6f);
    EXPECT_EQ(t.readCursor, 2.25f);
    EXPECT_NEAR(t.valueAtPosition(32.0f), 0.6f, 1e-6f);
    EXPECT_EQ(t.valueAtPosition(32.5f), 0.0f);
    EXPECT_EQ(t.valueAtPosition(-0.5f), 0.0f);
    EXPECT_EQ(t.valueAtPosition(std::numeric_limits<float>::quiet_NaN()), 0.0f);

    t.clearFlags(MFTable::flagInterpolate);
    EXPECT_EQ(t.valueAtPosition(2.9f), 0.3f);
    EXPECT_EQ(t.normalisedAt(2.9f), 0.3f);
    EXPECT_EQ(t.valueAt(33), 0.0f);
    EXPECT_EQ(t.valueAtPosition(1e30f), 0.0f);

    t.setFlags(MFTable::flagBusy);
    EXPECT_EQ(t.valueAt(2), 0.0f);
    t.setValue(2, 0.9f); // dropped while busy
    t.clearFlags(MFTable::flagBusy);
    EXPECT_EQ(t.valueAt(2), 0.3f);
}

TEST(Table, WriteRulesForNeighboursRangeAndIntegers) {
    PatternContext o;
    MFTable t(o.info, 8);
    t.setFlags(MFTable::flagNoEqualNeighbours);
    t.setValue(2, 0.4f);
    t.setValue(3, 0.4f);
    EXPECT_NEAR(t.rawEntry(3), 0.4001f, 1e-7f);
    // At the top of the range the nudge goes down instead.
    t.setValue(4, 1.0f);
    t.setValue(5, 1.0f);
    EXPECT_NEAR(t.rawEntry(5), 0.9999f, 1e-7f);
    // Index 0's left neighbour is the last entry.
    t.setValue(7, 0.3f);
    t.setValue(0, 0.3f);
    EXPECT_NEAR(t.rawEntry(0), 0.3001f, 1e-7f);
    t.setNormalised(6, 0.3f);
    t.setNormalised(7, 0.3f); // equal to its left neighbour: raised by the nudge
    EXPECT_NEAR(t.rawEntry(7), 0.3001f, 1e-7f);

    MFTable r(o.info, 8);
    r.setRange(0.0f, 10.0f);
    r.setNormalised(1, 2.0f);
    EXPECT_EQ(r.rawEntry(1), 10.0f);
    r.setNormalised(2, -1.0f);
    EXPECT_EQ(r.rawEntry(2), 0.0f);
    EXPECT_EQ(r.normalisedAt(1.0f), 1.0f);

    MFTable n(o.info, 8);
    n.setRange(0.0f, 12.0f);
    n.setValue(1, 6.6f);
    n.setValue(2, 6.4f);
    n.setIntegerMode(true);
    EXPECT_TRUE(n.getFlags() & MFTable::flagInteger);
    EXPECT_EQ(n.rawEntry(1), 7.0f);
    EXPECT_EQ(n.rawEntry(2), 6.0f);
    n.setNormalised(3, 0.54f); // 6.48 rounds half up to 6
    EXPECT_EQ(n.rawEntry(3), 6.0f);
    n.setNormalised(3, 0.55f); // 6.6 -> 7
    EXPECT_EQ(n.rawEntry(3), 7.0f);
    n.setIntegerMode(false);
    EXPECT_FALSE(n.getFlags() & MFTable::flagInteger);
}

TEST(Table, RaiseAndLowerStepByRange) {
    PatternContext o;
    MFTable unit(o.info, 4);
    unit.setValue(1, 0.5f);
    unit.setValue(2, 0.98f);
    unit.raise(1, 3);
    EXPECT_NEAR(unit.rawEntry(1), 0.55f, 1e-6f);
    EXPECT_EQ(unit.rawEntry(2), 1.0f); // clamped to the maximum
    EXPECT_EQ(unit.rawEntry(3), 0.0f); // `to` itself is excluded
    unit.lower(0, 2);
    EXPECT_EQ(unit.rawEntry(0), 0.0f);
    EXPECT_NEAR(unit.rawEntry(1), 0.5f, 1e-6f);

    MFTable semis(o.info, 4);
    semis.setRange(0.0f, 12.0f);
    semis.setValue(0, 3.0f);
    semis.raise(0, 1);
    EXPECT_EQ(semis.rawEntry(0), 4.0f);
    EXPECT_EQ(semis.rawEntry(4), 4.0f);
}

TEST(Table, SetSizeKeepsValuesAndHonoursItsOddTest) {
    PatternContext o;
    MFTable t(o.info, 8);
    EXPECT_TRUE(o.registry.blocks().empty()); // a new table is not registered
    t.setFlags(MFTable::flagRegistered);
    t.setValue(3, 0.7f);
    t.setSize(7, 0); // one less than the size: deliberately ignored
    EXPECT_EQ(t.getSize(), 8);
    t.setSize(16, 0);
    EXPECT_EQ(t.getSize(), 16);
    EXPECT_EQ(t.rawEntry(3), 0.7f);
    EXPECT_EQ(t.rawEntry(12), t.getDefault());
    EXPECT_FALSE(t.isBusy());
    // The registry follows the array: one live block, the right length.
    ASSERT_EQ(o.registry.blocks().size(), 1u);
    EXPECT_EQ(o.registry.blocks()[0].bytes, 17 * sizeof(float));

    t.setSize(0, 0);
    EXPECT_EQ(t.getSize(), 0);
    EXPECT_TRUE(t.isBusy()); // the caller clears it
    EXPECT_TRUE(o.registry.blocks().empty());
    t.clearFlags(MFTable::flagBusy);
    EXPECT_EQ(t.valueAtPosition(0.0f), 0.0f);
    t.setValue(0, 1.0f); // no array: dropped, no crash
    t.fillDefault();
}

TEST(Table, SerialisedFormIsExactToTheWord) {
    PatternContext o;
    MFTable t(o.info, 4);
    t.setRange(0.0f, 10.0f);
    t.setValue(1, 5.0f);
    t.setValue(2, 10.0f);
    t.setValue(3, 2.5f);
    const std::vector<uint32_t> expected = {0, ten, 0,    0xFFCB4286u, 1,
                                            4, 0u,  half, one,         0x3E800000u};
    EXPECT_EQ(writeWords(t), expected);
}

TEST(Table, ReadsEveryBodyForm) {
    PatternContext o;
    {
        // No marker: version 0, values are normalised.
        MFTable t(o.info, 4);
        int32_t consumed = 0;
        EXPECT_EQ(readWords(t, {0, ten, 0, 2, half, 0x3E800000u}, false, &consumed), 1);
        EXPECT_EQ(t.getSize(), 2);
        EXPECT_EQ(t.rawEntry(0), 5.0f);
        EXPECT_EQ(t.rawEntry(1), 2.5f);
        EXPECT_EQ(t.rawEntry(2), 5.0f);
        EXPECT_EQ(consumed, 6);
    }
    {
        // Marker and version 1: values are taken as plain values.
        MFTable t(o.info, 4);
        EXPECT_EQ(readWords(t, {0, ten, 0, 0xFFCB4286u, 1, 2, half, one}), 1);
        EXPECT_EQ(t.getMaximum(), 10.0f);
        EXPECT_EQ(t.rawEntry(0), 0.5f);
        EXPECT_EQ(t.rawEntry(1), 1.0f);
        EXPECT_FALSE(t.isBusy());
    }
    {
        // Skip consumes the same words and changes nothing.
        MFTable t(o.info, 4);
        t.setValue(1, 0.3f);
        int32_t consumed = 0;
        EXPECT_EQ(
            readWords(t, {0, ten, 0, 0xFFCB4286u, 1, 2, half, one, 0xDEADBEEFu}, true, &consumed),
            1);
        EXPECT_EQ(consumed, 8);
        EXPECT_EQ(t.getSize(), 4);
        EXPECT_EQ(t.getMaximum(), 1.0f);
        EXPECT_EQ(t.rawEntry(1), 0.3f);
    }
    {
        std::vector<float> list{9.0f};
        MFTable t(o.info, 4);
        MFChunk c;
        attachWords(c, {0, one, 0, 0xFFCB4286u, 1, 2, half, one});
        t.collectValues(c, list);
        EXPECT_EQ(list, (std::vector<float>{9.0f, 0.5f, 1.0f}));
        t.setValues({0.25f, 0.5f});
        EXPECT_EQ(t.rawEntry(1), 0.5f);
    }
}

TEST(Table, RoundTripOnTheUnitRange) {
    PatternContext o;
    MFTable a(o.info, 32), b(o.info, 8);
    for (int i = 0; i < 32; ++i)
        a.setValue(i, static_cast<float>(i) / 32.0f);
    ASSERT_EQ(readWords(b, writeWords(a)), 1);
    ASSERT_EQ(b.getSize(), 32);
    for (int i = 0; i <= 32; ++i)
        EXPECT_EQ(b.rawEntry(i), a.rawEntry(i)) << i;
}

TEST(Table, HostileOrTruncatedBodiesFailWithoutAllocating) {
    PatternContext o;
    MFTable t(o.info, 4);
    for (uint32_t count : {0x7FFFFFFFu, 0x80000000u, 100u, 0xFFFFFFFFu}) {
        EXPECT_EQ(readWords(t, {0, one, 0, 0xFFCB4286u, 1, count, half}), 0) << count;
        EXPECT_EQ(t.getSize(), 4) << "a bad count must not resize";
    }
    const std::vector<uint32_t> body = {0, one, 0, 0xFFCB4286u, 1, 3, half, one, half};
    for (size_t n = 0; n < body.size(); ++n) {
        EXPECT_EQ(readWords(t, std::vector<uint32_t>(body.begin(), body.begin() + n)), 0)
            << "truncated to " << n << " words";
    }
}

TEST(Table, PasteNeedsAnotherTableOfTheSameSize) {
    PatternContext o;
    MFTable a(o.info, 8), b(o.info, 8), c(o.info, 4);
    a.setValue(5, 0.6f);
    a.copy();
    b.paste();
    EXPECT_EQ(b.rawEntry(5), 0.6f);
    c.paste(); // other size: nothing
    EXPECT_EQ(c.rawEntry(0), 0.0f);
    {
        MFTable gone(o.info, 8);
        gone.copy();
    }
    EXPECT_EQ(MFTable::clipboard, nullptr);
    b.paste(); // cleared clipboard: no crash
}

} // namespace
