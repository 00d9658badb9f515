#pragma once

#include <cstdint>
#include <vector>

// Stereo white noise made in code, the same on every run: uniform samples, the two
// channels from independent generators, scaled so that each channel's RMS level is
// exactly the asked dBFS (full scale = 1.0).
struct NoiseLoop {
    std::vector<float> left;
    std::vector<float> right;

    static constexpr double defaultSeconds = 4.0;

    static NoiseLoop make(double sampleRate, double rmsDbfs, double seconds = defaultSeconds);
};
