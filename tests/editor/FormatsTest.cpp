#include "editor/controls/MFValueFormats.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {
std::string run(MFValueFormatter f, float v) {
    char text[formatCapacity];
    f(v, text);
    return text;
}
} // namespace

// The literal texts at the special cases and the rounding of the print at the edges.
TEST(ValueFormats, PercentBipolarEnds) {
    EXPECT_EQ(run(formatPercentBipolar, 0.5f), "0.00 %");
    EXPECT_EQ(run(formatPercentBipolar, 0.00005f), "-100 %");
    EXPECT_EQ(run(formatPercentBipolar, 0.0f), "-100 %");
    EXPECT_EQ(run(formatPercentBipolar, 0.999995f), "100 %");
    EXPECT_EQ(run(formatPercentBipolar, 0.75f), "50.00 %");
    // Just inside the lower end: the print, not the literal.
    EXPECT_EQ(run(formatPercentBipolar, 0.0002f), "-99.96 %");
}

TEST(ValueFormats, PercentHasNoLowerLiteral) {
    EXPECT_EQ(run(formatPercent, 0.0f), "0.00 %");
    EXPECT_EQ(run(formatPercent, 0.5f), "50.00 %");
    EXPECT_EQ(run(formatPercent, 0.999995f), "100 %");
    // 0.99999 itself is not above the threshold: it prints, and rounds to 100.00.
    EXPECT_EQ(run(formatPercent, 0.99999f), "100.00 %");
}

TEST(ValueFormats, NoteNamesAndOctaves) {
    EXPECT_EQ(run(formatNote, 0.0f), "C-2");           // n 0: octave (0 - 24) / 12 truncated
    EXPECT_EQ(run(formatNote, 1.0f), "F#8");           // n 126: class 6, octave 8
    EXPECT_EQ(run(formatNote, 11.0f / 126.0f), "H-1"); // class 11 is H; (11 - 24) / 12 = -1
    EXPECT_EQ(run(formatNote, 23.0f / 126.0f), "H0");  // (23 - 24) / 12 truncates to 0
    EXPECT_EQ(run(formatNote, 60.0f / 126.0f), "C3");
    EXPECT_EQ(run(formatNote, 61.0f / 126.0f), "C#3");
    // Below zero the remainder goes negative and has no name, except where it is 0.
    EXPECT_EQ(run(formatNote, -0.05f), "Err"); // n -5
    EXPECT_EQ(run(formatNote, -0.1f), "C-3");  // n -12: class 0, octave -36 / 12
}

TEST(ValueFormats, HertzTestsTheUnroundedValue) {
    EXPECT_EQ(run(formatHertz, 999.6f), "1000 hz");
    EXPECT_EQ(run(formatHertz, 1000.0f), "1.00 khz");
    EXPECT_EQ(run(formatHertz, 9999.0f), "10.00 khz");
    EXPECT_EQ(run(formatHertz, 10000.0f), "10.0 khz");
    EXPECT_EQ(run(formatHertz, 20.0f), " 20 hz");
}

TEST(ValueFormats, DecibelInfinityAndWidths) {
    EXPECT_EQ(run(formatDecibel, -160.0f), "-oo");
    EXPECT_EQ(run(formatDecibel, -200.0f), "-oo");
    EXPECT_EQ(run(formatDecibel, -159.9f), "-159.9 db");
    EXPECT_EQ(run(formatDecibel, 100.0f), "100.0 db");
    EXPECT_EQ(run(formatDecibel, -6.0f), "-6.00 db");
    EXPECT_EQ(run(formatDecibel, 0.0f), "0.00 db");
}

TEST(ValueFormats, MillisecondsAndSeconds) {
    EXPECT_EQ(run(formatMilliseconds, 999.5f), "1000 ms");
    EXPECT_EQ(run(formatMilliseconds, 5.0f), " 5 ms");
    EXPECT_EQ(run(formatMilliseconds, 1000.0f), "1.00 s");
    EXPECT_EQ(run(formatMilliseconds, 2500.0f), "2.50 s");
}

TEST(ValueFormats, AnyFloatGivesATerminatedText) {
    const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                         std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(), 3.0e38f, -3.0e38f};
    const MFValueFormatter all[] = {formatPercentBipolar, formatPercent, formatNote,
                                    formatHertz,          formatDecibel, formatMilliseconds};
    for (MFValueFormatter f : all)
        for (float v : odd) {
            const std::string text = run(f, v);
            EXPECT_LT(text.size(), std::size_t(formatCapacity));
        }
    EXPECT_EQ(run(formatNote, std::numeric_limits<float>::quiet_NaN()), "Err");
}
