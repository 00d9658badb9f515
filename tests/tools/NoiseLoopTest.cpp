// The benchmark's input: white noise whose level and independence a benchmark relies on
// without hearing it.

#include "tools/render/NoiseLoop.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

double dbfs(double rms) {
    return 20.0 * std::log10(rms);
}

// Energy of the bins of a magnitude spectrum from `from` to `to` (fractions of Nyquist).
double bandEnergy(const std::vector<double>& spectrum, double from, double to) {
    const std::size_t last = spectrum.size() - 1;
    double energy = 0.0;
    for (std::size_t k = std::size_t(from * double(last)); k < std::size_t(to * double(last)); ++k)
        energy += spectrum[k] * spectrum[k];
    return energy;
}

TEST(NoiseLoop, IsTheSameOnEveryCallAndAsLongAsAsked) {
    const NoiseLoop a = NoiseLoop::make(48000.0, -12.0);
    const NoiseLoop b = NoiseLoop::make(48000.0, -12.0);
    EXPECT_EQ(a.left.size(), std::size_t(48000.0 * NoiseLoop::defaultSeconds));
    EXPECT_EQ(a.right.size(), a.left.size());
    EXPECT_EQ(a.left, b.left);
    EXPECT_EQ(a.right, b.right);
    EXPECT_EQ(NoiseLoop::make(44100.0, -12.0, 0.5).left.size(), 22050u);
}

TEST(NoiseLoop, EachChannelIsWhite) {
    // 2^16 points: each quarter of the band holds some 8000 bins, so white noise puts the
    // same energy in each to well within 0.5 dB; a filtered or tonal generator would not.
    const NoiseLoop loop = NoiseLoop::make(48000.0, -12.0);
    for (const std::vector<float>* channel : {&loop.left, &loop.right}) {
        const std::vector<double> spectrum = signal::magnitudeSpectrum(channel->data(), 1u << 16);
        const double quarters[4] = {
            bandEnergy(spectrum, 0.0, 0.25), bandEnergy(spectrum, 0.25, 0.5),
            bandEnergy(spectrum, 0.5, 0.75), bandEnergy(spectrum, 0.75, 1.0)};
        for (double q : quarters)
            EXPECT_NEAR(10.0 * std::log10(q / quarters[0]), 0.0, 0.5);
    }
}

TEST(NoiseLoop, LevelIsTheAskedRmsAtAnyLevel) {
    for (double level : {-60.0, -12.0, 0.0}) {
        const NoiseLoop loop = NoiseLoop::make(48000.0, level, 1.0);
        // Scaled by the measured level: exact to float rounding, far inside 0.01 dB.
        EXPECT_NEAR(dbfs(signal::rms(loop.left.data(), loop.left.size())), level, 0.01);
        EXPECT_NEAR(dbfs(signal::rms(loop.right.data(), loop.right.size())), level, 0.01);
        // Uniform noise peaks at sqrt(3) times its RMS: no clipping at 0 dBFS RMS is asked of
        // it, but nothing beyond that bound either.
        EXPECT_LE(signal::peak(loop.left.data(), loop.left.size()),
                  float(std::sqrt(3.0) * std::pow(10.0, level / 20.0) * 1.01));
    }
}

} // namespace
