#include "tools/render/NoiseLoop.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {
// Seeds of the two channels: fixed, so every benchmark process plays the same input.
constexpr uint64_t leftSeed = 0x9E3779B97F4A7C15ull;
constexpr uint64_t rightSeed = 0xD1B54A32D192ED03ull;

// splitmix64: a full-period 64-bit generator whose streams from different seeds are
// uncorrelated, which is all white noise needs.
struct SplitMix {
    uint64_t state;
    double next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        // The top 53 bits as a uniform value in [-1, 1).
        return double(z >> 11) * 0x1.0p-52 - 1.0;
    }
};

std::vector<float> channel(uint64_t seed, std::size_t frames, double rms) {
    SplitMix generator{seed};
    std::vector<double> raw(frames);
    double energy = 0.0;
    for (double& v : raw) {
        v = generator.next();
        energy += v * v;
    }
    // Scaled by the measured level rather than the uniform law's 1/sqrt(3), so that a
    // short loop is as loud as a long one.
    const double gain = energy > 0.0 ? rms / std::sqrt(energy / double(frames)) : 0.0;
    std::vector<float> out(frames);
    for (std::size_t i = 0; i < frames; ++i)
        out[i] = float(raw[i] * gain);
    return out;
}
} // namespace

NoiseLoop NoiseLoop::make(double sampleRate, double rmsDbfs, double seconds) {
    const std::size_t frames = std::size_t(std::max(1.0, sampleRate * seconds));
    const double rms = std::pow(10.0, rmsDbfs / 20.0);
    NoiseLoop loop;
    loop.left = channel(leftSeed, frames, rms);
    loop.right = channel(rightSeed, frames, rms);
    return loop;
}
