// The factory content must leave headroom: no preset takes the built-in drum loop (whose
// own peak is -1.9 dBFS through the plug-in) above -1 dBFS anywhere in its four bars.

#include "plugin/FactoryRenders.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

double peakDbfs(const std::vector<float>& samples) {
    float peak = 0.0f;
    for (float v : samples)
        peak = std::fmax(peak, std::fabs(v));
    return 20.0 * std::log10(double(peak) + 1e-30);
}

TEST(FactoryLevels, NoPresetTakesTheLoopAboveMinusOneDbfs) {
    constexpr double ceilingDbfs = -1.0;
    factory::Render how;
    how.seconds = 8.0; // the whole loop: four bars at 120 bpm
    how.blockSize = 512;
    // A held key runs the note-mode presets; the others play pattern 0 as without it.
    how.holdNote = true;
    for (const factory::State& state : factory::allStates()) {
        std::vector<float> rates = {44100.0f};
        // The whole states at 48 kHz as well, where the Filter's top octave lies higher.
        if (state.name.rfind("Presets/", 0) == 0)
            rates.push_back(48000.0f);
        for (float rate : rates) {
            how.rate = rate;
            const double peak = peakDbfs(factory::render(state, how));
            EXPECT_LE(peak, ceilingDbfs) << state.name << " at " << rate << " Hz";
            RecordProperty(state.name + " @" + std::to_string(int(rate)), std::to_string(peak));
        }
    }
}

} // namespace
