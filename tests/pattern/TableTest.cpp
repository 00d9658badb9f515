#include "PatternTestSupport.h"

#include "pattern/MFTable.h"

#include <cmath>
#include <limits>

namespace {

constexpr uint32_t one = 0x3F800000u;    // 1.0f
constexpr uint32_t ten = 0x41200000u;    // 10.0f
constexpr uint32_t half = 0x3F000000u;   // 0.5f
constexpr uint32_t marker = 0xFFCB4286u; // the versioned body's marker

// Exact float equality is meant where a value is stored, not computed.
TEST(Table, GuardEntryFollowsEveryWriteAtIndexZero) {
    PatternContext o;
    MFTable t(o.info, 32);
    t.setNormalised(0, 0.25f);
    EXPECT_EQ(t.rawEntry(32), 0.25f);
    t.setValue(0, 0.75f);
    EXPECT_EQ(t.rawEntry(32), 0.75f);
    t.setFlags(MFTable::flagNoEqualNeighbours);
    t.setIntegerMode(true);
    EXPECT_EQ(t.rawEntry(32), t.rawEntry(0));
    // A write at the guard's own index keeps both ends equal too.
    t.setIntegerMode(false);
    t.setValue(32, 0.125f);
    EXPECT_EQ(t.rawEntry(0), 0.125f);
}

// Positions outside the table, NaN among them, read 0 and never outside the array.
TEST(Table, InterpolatedAndTruncatedReadsStayInside) {
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
    EXPECT_NEAR(t.valueAtPosition(32.0f), 0.6f, 1e-6f);
    for (float outside : {32.5f, -0.5f, 1e30f, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(t.valueAtPosition(outside), 0.0f) << outside;

    t.clearFlags(MFTable::flagInterpolate);
    EXPECT_EQ(t.valueAtPosition(2.9f), 0.3f);
    EXPECT_EQ(t.valueAt(33), 0.0f);

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

    MFTable n(o.info, 8);
    n.setRange(0.0f, 12.0f);
    n.setNormalised(1, 2.0f);
    EXPECT_EQ(n.rawEntry(1), 12.0f) << "clamped to the range";
    n.setValue(1, 6.6f);
    n.setValue(2, 6.4f);
    n.setIntegerMode(true);
    EXPECT_EQ(n.rawEntry(1), 7.0f);
    EXPECT_EQ(n.rawEntry(2), 6.0f);
    n.setNormalised(3, 0.54f); // 6.48 rounds to 6
    EXPECT_EQ(n.rawEntry(3), 6.0f);
}

TEST(Table, SetSizeKeepsValuesAndItsRegistryBlock) {
    PatternContext o;
    MFTable t(o.info, 8);
    t.setFlags(MFTable::flagRegistered);
    t.setValue(3, 0.7f);
    t.setSize(7, 0); // one less than the size: deliberately ignored
    EXPECT_EQ(t.getSize(), 8);
    t.setSize(16, 0);
    EXPECT_EQ(t.rawEntry(3), 0.7f);
    EXPECT_EQ(t.rawEntry(12), t.getDefault());
    ASSERT_EQ(o.registry.blocks().size(), 1u);
    EXPECT_EQ(o.registry.blocks()[0].bytes, 17 * sizeof(float));
    t.setSize(0, 0);
    EXPECT_TRUE(o.registry.blocks().empty());
    t.clearFlags(MFTable::flagBusy);
    EXPECT_EQ(t.valueAtPosition(0.0f), 0.0f);
    t.setValue(0, 1.0f); // no array: dropped, no crash
}

TEST(Table, SerialisedFormAndEveryBodyFormReadBack) {
    PatternContext o;
    MFTable t(o.info, 4);
    t.setRange(0.0f, 10.0f);
    t.setValue(1, 5.0f);
    t.setValue(2, 10.0f);
    t.setValue(3, 2.5f);
    EXPECT_EQ(writeWords(t),
              (std::vector<uint32_t>{0, ten, 0, marker, 1, 4, 0u, half, one, 0x3E800000u}));

    // No marker: version 0, values are normalised.
    MFTable v0(o.info, 4);
    int32_t consumed = 0;
    EXPECT_EQ(readWords(v0, {0, ten, 0, 2, half, 0x3E800000u}, false, &consumed), 1);
    EXPECT_EQ(consumed, 6);
    EXPECT_EQ(v0.getSize(), 2);
    EXPECT_EQ(v0.rawEntry(0), 5.0f);
    EXPECT_EQ(v0.rawEntry(1), 2.5f);

    // Marker and version 1: plain values. Skipping consumes the same words, changing nothing.
    const std::vector<uint32_t> v1 = {0, ten, 0, marker, 1, 2, half, one, 0xDEADBEEFu};
    MFTable skipped(o.info, 4);
    EXPECT_EQ(readWords(skipped, v1, true, &consumed), 1);
    EXPECT_EQ(consumed, 8);
    EXPECT_EQ(skipped.getSize(), 4);
    EXPECT_EQ(skipped.getMaximum(), 1.0f);
    EXPECT_EQ(readWords(skipped, v1), 1);
    EXPECT_EQ(skipped.getMaximum(), 10.0f);
    EXPECT_EQ(skipped.rawEntry(1), 1.0f);

    MFTable a(o.info, 32), b(o.info, 8);
    for (int i = 0; i < 32; ++i)
        a.setValue(i, static_cast<float>(i) / 32.0f);
    ASSERT_EQ(readWords(b, writeWords(a)), 1);
    for (int i = 0; i <= 32; ++i)
        EXPECT_EQ(b.rawEntry(i), a.rawEntry(i)) << i;
}

TEST(Table, HostileOrTruncatedBodiesFailWithoutAllocating) {
    PatternContext o;
    MFTable t(o.info, 4);
    for (uint32_t count : {0x7FFFFFFFu, 0x80000000u, 100u, 0xFFFFFFFFu}) {
        EXPECT_EQ(readWords(t, {0, one, 0, marker, 1, count, half}), 0) << count;
        EXPECT_EQ(t.getSize(), 4) << "a bad count must not resize";
    }
    const std::vector<uint32_t> body = {0, one, 0, marker, 1, 3, half, one, half};
    for (size_t n = 0; n < body.size(); ++n)
        EXPECT_EQ(readWords(t, std::vector<uint32_t>(body.begin(), body.begin() + n)), 0)
            << "truncated to " << n << " words";
}

TEST(Table, PasteNeedsAnotherLiveTableOfTheSameSize) {
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
