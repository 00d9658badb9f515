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
TEST(ValueFormats, TextsAtTheEdges) {
    const struct {
        MFValueFormatter format;
        float value;
        const char* text;
    } cases[] = {
        {formatPercentBipolar, 0.5f, "0.00 %"},
        {formatPercentBipolar, 0.00005f, "-100 %"},
        {formatPercentBipolar, 0.0f, "-100 %"},
        {formatPercentBipolar, 0.999995f, "100 %"},
        {formatPercentBipolar, 0.75f, "50.00 %"},
        {formatPercentBipolar, 0.0002f, "-99.96 %"}, // just inside the lower end: the print
        {formatPercent, 0.0f, "0.00 %"},             // no literal at the lower end
        {formatPercent, 0.5f, "50.00 %"},
        {formatPercent, 0.999995f, "100 %"},
        {formatPercent, 0.99999f, "100.00 %"}, // not above the threshold: prints, rounds up
        {formatNote, 0.0f, "C-2"},             // n 0: octave (0 - 24) / 12 truncated
        {formatNote, 1.0f, "F#8"},             // n 126: class 6, octave 8
        {formatNote, 11.0f / 126.0f, "H-1"},   // class 11 is H; (11 - 24) / 12 = -1
        {formatNote, 23.0f / 126.0f, "H0"},    // (23 - 24) / 12 truncates to 0
        {formatNote, 60.0f / 126.0f, "C3"},
        {formatNote, 61.0f / 126.0f, "C#3"},
        {formatNote, -0.05f, "Err"}, // n -5: a negative remainder has no name...
        {formatNote, -0.1f, "C-3"},  // ...except where it is 0: n -12, octave -36 / 12
        {formatNote, std::numeric_limits<float>::quiet_NaN(), "Err"},
        {formatHertz, 999.6f, "1000 hz"}, // the range is chosen on the unrounded value
        {formatHertz, 1000.0f, "1.00 khz"},
        {formatHertz, 9999.0f, "10.00 khz"},
        {formatHertz, 10000.0f, "10.0 khz"},
        {formatHertz, 20.0f, " 20 hz"},
        {formatDecibel, -160.0f, "-oo"},
        {formatDecibel, -200.0f, "-oo"},
        {formatDecibel, -159.9f, "-159.9 db"},
        {formatDecibel, 100.0f, "100.0 db"},
        {formatDecibel, -6.0f, "-6.00 db"},
        {formatDecibel, 0.0f, "0.00 db"},
        {formatMilliseconds, 999.5f, "1000 ms"},
        {formatMilliseconds, 5.0f, " 5 ms"},
        {formatMilliseconds, 1000.0f, "1.00 s"},
        {formatMilliseconds, 2500.0f, "2.50 s"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(run(c.format, c.value), c.text) << "value " << c.value;
}

// Any float, however odd, gives a terminated text that fits.
TEST(ValueFormats, AnyFloatGivesATerminatedText) {
    const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                         std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(), 3.0e38f, -3.0e38f};
    for (MFValueFormatter f : {formatPercentBipolar, formatPercent, formatNote, formatHertz,
                               formatDecibel, formatMilliseconds})
        for (float v : odd)
            EXPECT_LT(run(f, v).size(), std::size_t(formatCapacity));
}
