#include "editor/controls/MFValueFormats.h"

#include <cmath>
#include <cstdio>

namespace {
void copyText(char* text, const char* literal) {
    std::snprintf(text, formatCapacity, "%s", literal);
}

constexpr const char* noteFormats[12] = {"C%d",  "C#%d", "D%d",  "D#%d", "E%d",  "F%d",
                                         "F#%d", "G%d",  "G#%d", "A%d",  "A#%d", "H%d"};
constexpr float noteRange = 126.0f;
constexpr float minusInfinityDb = -160.0f;
} // namespace

void formatPercentBipolar(float v, char* text) {
    if (v < 0.0001f)
        copyText(text, "-100 %");
    else if (v > 0.99999f)
        copyText(text, "100 %");
    else
        std::snprintf(text, formatCapacity, "%3.2f %%", double(v * 200.0f - 100.0f));
}

void formatPercent(float v, char* text) {
    if (v > 0.99999f)
        copyText(text, "100 %");
    else
        std::snprintf(text, formatCapacity, "%3.2f %%", double(v * 100.0f));
}

void formatNote(float v, char* text) {
    // Far outside 0..1 the note number would not fit an integer; such values are errors.
    const float scaled = v * noteRange + 0.5f;
    if (!(std::fabs(scaled) < 1.0e9f)) {
        copyText(text, "Err");
        return;
    }
    const int n = int(scaled);
    const int noteClass = n % 12;
    const int octave = (n - 24) / 12;
    if (noteClass < 0 || noteClass > 11)
        copyText(text, "Err");
    else
        std::snprintf(text, formatCapacity, noteFormats[noteClass], octave);
}

void formatHertz(float v, char* text) {
    if (v < 1000.0f)
        std::snprintf(text, formatCapacity, "%3.0f hz", double(v));
    else if (v < 10000.0f)
        std::snprintf(text, formatCapacity, "%2.2f khz", double(v / 1000.0f));
    else
        std::snprintf(text, formatCapacity, "%2.1f khz", double(v / 1000.0f));
}

void formatDecibel(float v, char* text) {
    if (v <= minusInfinityDb)
        copyText(text, "-oo");
    else if (std::fabs(v) >= 100.0f)
        std::snprintf(text, formatCapacity, "%3.1f db", double(v));
    else
        std::snprintf(text, formatCapacity, "%2.2f db", double(v));
}

void formatMilliseconds(float v, char* text) {
    if (v < 1000.0f)
        std::snprintf(text, formatCapacity, "%2.0f ms", double(v));
    else
        std::snprintf(text, formatCapacity, "%2.2f s", double(v / 1000.0f));
}
