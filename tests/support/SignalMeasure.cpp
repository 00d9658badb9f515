#include "support/SignalMeasure.h"

#include <cfloat>
#include <cmath>
#include <cstdint>

namespace testsupport {
namespace signal {

float peak(const float* x, std::size_t n) {
    float p = 0.0f;
    for (std::size_t i = 0; i < n; ++i)
        p = std::fmax(p, std::fabs(x[i]));
    return p;
}

double rms(const float* x, std::size_t n) {
    if (n == 0)
        return 0.0;
    double sum = 0.0;
    for (std::size_t i = 0; i < n; ++i)
        sum += double(x[i]) * x[i];
    return std::sqrt(sum / double(n));
}

bool allFinite(const float* x, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        if (!std::isfinite(x[i]))
            return false;
    return true;
}

std::size_t denormalCount(const float* x, std::size_t n) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (x[i] != 0.0f && std::fabs(x[i]) < FLT_MIN)
            ++count;
    return count;
}

double toneMagnitude(const float* x, std::size_t n, double frequency, double sampleRate) {
    const double w = 2.0 * M_PI * frequency / sampleRate;
    const double coeff = 2.0 * std::cos(w);
    double s1 = 0.0, s2 = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double s0 = x[i] + coeff * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    const double power = s1 * s1 + s2 * s2 - coeff * s1 * s2;
    return 2.0 * std::sqrt(std::fmax(power, 0.0)) / double(n);
}

double dominantFrequency(const float* x, std::size_t n, double sampleRate, double lo, double hi,
                         double resolution) {
    double best = lo, bestMag = -1.0;
    for (double f = lo; f <= hi; f += resolution) {
        const double m = toneMagnitude(x, n, f, sampleRate);
        if (m > bestMag) {
            bestMag = m;
            best = f;
        }
    }
    return best;
}

std::vector<float> sine(double frequency, double sampleRate, std::size_t n, float amplitude) {
    std::vector<float> out(n);
    for (std::size_t i = 0; i < n; ++i)
        out[i] = amplitude * float(std::sin(2.0 * M_PI * frequency * double(i) / sampleRate));
    return out;
}

std::vector<float> noise(std::size_t n, unsigned seed) {
    std::vector<float> out(n);
    uint32_t state = seed * 2654435761u + 1u;
    for (std::size_t i = 0; i < n; ++i) {
        state = state * 1664525u + 1013904223u;
        out[i] = float(state >> 8) / float(1u << 23) - 1.0f;
    }
    return out;
}

} // namespace signal
} // namespace testsupport
