#include "PatternTestSupport.h"

#include "pattern/MFRandom.h"
#include "pattern/MFTableXY.h"

#include <cmath>
#include <limits>

namespace {

constexpr uint32_t one = 0x3F800000u;     // 1.0f
constexpr uint32_t half = 0x3F000000u;    // 0.5f
constexpr uint32_t quarter = 0x3E800000u; // 0.25f
constexpr uint32_t twelve = 0x41400000u;  // 12.0f

TEST(TableXY, SetRowIgnoresPositionsOutsideTheRows) {
    PatternContext o;
    MFTableXY t(o.info, 32);
    t.setRowCount(12);
    ASSERT_EQ(t.getRowCount(), 12);
    t.setRow(3.25f);
    EXPECT_EQ(t.currentRowIndex(), 3);
    for (float bad : {12.0f, 12.5f, -0.5f, std::numeric_limits<float>::quiet_NaN()}) {
        t.setRow(bad);
        EXPECT_EQ(t.getRowCursor(), 3.25f) << bad;
        EXPECT_EQ(t.currentRowIndex(), 3) << bad;
    }
    t.setRow(11.75f);
    EXPECT_EQ(t.currentRowIndex(), 11);
}

TEST(TableXY, ReadsBlendTheCurrentRowWithTheNext) {
    PatternContext o;
    MFTableXY t(o.info, 32);
    t.setRowCount(12);
    t.setRawOnRow(5, 2, 0.2f);
    t.setRawOnRow(5, 3, 0.6f);
    t.setRawOnRow(5, 11, 0.9f);
    t.setRawOnRow(5, 0, 0.1f);
    // Mean of rows 2 and 3, within float rounding of one blend.
    t.setRow(2.5f);
    EXPECT_NEAR(t.valueAtPosition(5.0f), 0.4f, 1e-6f);
    EXPECT_NEAR(t.valueAt(5), 0.4f, 1e-6f);
    EXPECT_NEAR(t.normalisedAt(5.0f), 0.4f, 1e-6f);
    t.setRow(2.0f);
    EXPECT_EQ(t.valueAt(5), 0.2f);
    // The last row has no successor: it reads alone, whatever the fraction.
    t.setRow(11.5f);
    EXPECT_EQ(t.valueAt(5), 0.9f);
    // Edits go to the current row only; reads beyond the rows or steps give 0.
    t.setValue(6, 0.7f);
    EXPECT_EQ(t.rawAt(6, 11), 0.7f);
    EXPECT_EQ(t.rawAt(6, 10), 0.0f);
    EXPECT_EQ(t.rawAt(6, 12), 0.0f);
    EXPECT_EQ(t.rawAt(-1, 0), 0.0f);
}

TEST(TableXY, SetRowCountKeepsCommonRowsAndClampsTheCursor) {
    PatternContext o;
    MFTableXY t(o.info, 8);
    t.setRange(0.0f, 12.0f);
    t.setRowCount(12);
    t.setRawOnRow(1, 1, 5.0f);
    t.setRawOnRow(1, 10, 7.0f);
    t.setRow(10.5f);
    t.setRowCount(4);
    EXPECT_EQ(t.getRowCount(), 4);
    EXPECT_EQ(t.rawAt(1, 1), 5.0f);
    EXPECT_EQ(t.currentRowIndex(), 3);
    EXPECT_LT(t.getRowCursor(), 4.0f + 1e-6f);
    EXPECT_FALSE(t.isBusy());
    EXPECT_EQ(t.row(3)->getMaximum(), 12.0f);
    EXPECT_EQ(t.valueAt(1), 0.0f); // row 3 starts at its default
    t.setRowCount(0);
    t.setRowCount(-3);
    EXPECT_EQ(t.getRowCount(), 4);
}

TEST(TableXY, RandomWrapsAroundOne) {
    PatternContext o;
    o.info.randomLow = 0.8f;
    o.info.randomHigh = 0.3f; // inverted: the range runs 0.8..1.0 and on from 0.0 to 0.3
    MFTableXY t(o.info, 32);
    MFRandom::reseed();
    t.random();
    int high = 0, low = 0;
    for (int i = 0; i < 32; ++i) {
        const float v = t.rawAt(i, 0);
        // The draw is r * 0.5 + 0.8 minus 1 above 1; r lies in [0, 1].
        if (v >= 0.8f - 1e-6f)
            ++high;
        else if (v <= 0.3f + 1e-6f)
            ++low;
        else
            ADD_FAILURE() << "value " << v << " at " << i << " outside the wrapped range";
    }
    EXPECT_GT(high, 0);
    EXPECT_GT(low, 0);
    EXPECT_EQ(t.rawAt(32, 0), t.rawAt(0, 0));
}

TEST(TableXY, SerialisedFormIsExactToTheWordAndReadsBackWhateverTheRange) {
    PatternContext o;
    MFTableXY t(o.info, 2);
    t.setRowCount(2);
    t.setRawOnRow(0, 0, 0.5f);
    t.setRawOnRow(1, 0, 1.0f);
    t.setRawOnRow(1, 1, 0.25f);
    const std::vector<uint32_t> expectedDefault = {
        0x27BAD581u, 1002, 0, one,     0, 2,           2,
        half,        one,  0, quarter, 7, 0x61666544u, 0x00746C75u}; // "Default": 7 bytes, padded
    EXPECT_EQ(writeWords(t), expectedDefault);

    MFTableXY a(o.info, 32), b(o.info, 32);
    a.setRange(-12.0f, 12.0f);
    a.setRowCount(12);
    for (int r = 0; r < 12; ++r)
        for (int c = 0; c < 32; ++c)
            a.setRawOnRow(c, r, static_cast<float>(r - c) * 0.5f);
    ASSERT_EQ(readWords(b, writeWords(a)), 1);
    EXPECT_EQ(b.getMinimum(), -12.0f);
    ASSERT_EQ(b.getRowCount(), 12);
    for (int r = 0; r < 12; ++r)
        for (int c = 0; c <= 32; ++c)
            ASSERT_EQ(b.rawAt(c, r), a.rawAt(c, r)) << r << "," << c;
    EXPECT_EQ(b.getName(), "Default");
    EXPECT_FALSE(b.isBusy());
}

TEST(TableXY, ReadsEveryOlderBody) {
    PatternContext o;
    {
        // 1001: normalised values, a name follows.
        MFTableXY t(o.info, 4);
        ASSERT_EQ(
            readWords(t, {0x27BAD581u, 1001, 0, twelve, 0, 2, 1, half, quarter, 2, 0x00006261u}),
            1);
        EXPECT_EQ(t.rawAt(0, 0), 6.0f);
        EXPECT_EQ(t.rawAt(1, 0), 3.0f);
        EXPECT_EQ(t.getName(), "ab");
    }
    {
        // 1000: no name; the name falls back.
        MFTableXY t(o.info, 4);
        int32_t consumed = 0;
        ASSERT_EQ(
            readWords(t, {0x27BAD581u, 1000, 0, one, 0, 2, 1, half, quarter}, false, &consumed), 1);
        EXPECT_EQ(consumed, 9);
        EXPECT_EQ(t.rawAt(0, 0), 0.5f);
        EXPECT_EQ(t.getName(), "Default");
    }
    {
        // A stale body starting with 0.4: consumed, dropped.
        MFTableXY t(o.info, 4);
        t.setValue(1, 0.9f);
        int32_t consumed = 0;
        ASSERT_EQ(
            readWords(t, {0x3ECCCCCDu, one, 0, 0xFFCB4286u, 1, 2, half, half}, false, &consumed),
            1);
        EXPECT_EQ(consumed, 8);
        EXPECT_EQ(t.getSize(), 4);
        EXPECT_EQ(t.rawAt(1, 0), 0.9f);
    }
    {
        // A plain table body, with and without the marker, lands on the current row.
        MFTableXY t(o.info, 4);
        t.setRowCount(3);
        t.setRow(1.0f);
        ASSERT_EQ(readWords(t, {0, one, 0, 0xFFCB4286u, 1, 4, half, quarter, half, quarter}), 1);
        EXPECT_EQ(t.rawAt(1, 1), 0.25f);
        EXPECT_EQ(t.rawAt(1, 0), 0.0f);
        ASSERT_EQ(readWords(t, {0, one, 0, 4, quarter, half, quarter, half}), 1);
        EXPECT_EQ(t.rawAt(1, 1), 0.5f);
    }
}

TEST(TableXY, HostileAndTruncatedBodiesFail) {
    PatternContext o;
    MFTableXY t(o.info, 4);
    const std::vector<std::vector<uint32_t>> hostile = {
        {0x27BAD581u, 1002, 0, one, 0, 0x7FFFFFFFu, 1, 0},
        {0x27BAD581u, 1002, 0, one, 0, 2, 0x40000000u, 0},
        {0x27BAD581u, 1002, 0, one, 0, 0x8000u, 0x8000u, 0},
    };
    for (const auto& body : hostile) {
        EXPECT_EQ(readWords(t, body), 0);
    }
    EXPECT_EQ(t.getSize(), 4) << "a bad size or row count must not resize";
    EXPECT_EQ(readWords(t, {0x27BAD581u, 1002, 0, one, 0, 2, 1, half, half, 0x7FFFFFF0u}), 0);
    MFTableXY full(o.info, 3);
    full.setRowCount(2);
    const std::vector<uint32_t> valid = writeWords(full);
    for (size_t n = 0; n < valid.size(); ++n) {
        EXPECT_EQ(readWords(t, std::vector<uint32_t>(valid.begin(), valid.begin() + n)), 0)
            << "truncated to " << n << " words";
    }
}

TEST(TableXY, CopyAndPasteByTag) {
    PatternContext o;
    MFTableXY a(o.info, 8), b(o.info, 8);
    a.setRowCount(4);
    b.setRowCount(4);
    a.tag = b.tag = 4242;
    a.id = 3;
    a.setRow(2.0f);
    for (int i = 0; i < 8; ++i)
        a.setValue(i, 0.1f * static_cast<float>(i));
    a.copy(0, 0);
    a.setValue(1, 0.95f);
    a.copy(1, 2); // replaces the first entry: steps 1..2 of the later content
    o.info.stepRangeStart = 0;
    o.info.stepRangeEnd = 7;
    b.setRow(1.0f);
    b.paste();
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(b.rawAt(i, 1), i % 2 == 0 ? 0.95f : 0.2f) << i;
    EXPECT_EQ(b.rawAt(0, 0), 0.0f);

    MFTableXY other(o.info, 8);
    other.tag = 99;
    other.paste(); // no entry for its tag, empty table clipboard: nothing
    EXPECT_EQ(other.rawAt(0, 0), 0.0f);
}

} // namespace
