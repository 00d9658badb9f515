#include "support/SignalMeasure.h"

#include <cfloat>
#include <cmath>
#include <complex>
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

float largestStep(const std::vector<float>& x) {
    float step = 0.0f;
    for (std::size_t i = 1; i < x.size(); ++i)
        step = std::fmax(step, std::fabs(x[i] - x[i - 1]));
    return step;
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

double transformMagnitude(const float* x, std::size_t n, double frequency, double sampleRate) {
    const std::complex<double> turn = std::polar(1.0, -2.0 * M_PI * frequency / sampleRate);
    std::complex<double> z = 1.0, sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        sum += double(x[i]) * z;
        z *= turn;
        if ((i & 1023) == 1023)
            z /= std::abs(z); // keeps the rotation on the unit circle over long sums
    }
    return std::abs(sum);
}

std::vector<double> magnitudeSpectrum(const float* x, std::size_t n) {
    std::vector<std::complex<double>> a(n);
    for (std::size_t i = 0, j = 0; i < n; ++i) {
        a[j] = x[i]; // bit-reversed order
        std::size_t bit = n >> 1;
        for (; bit != 0 && (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j |= bit;
    }
    for (std::size_t len = 2; len <= n; len <<= 1) {
        const std::complex<double> step = std::polar(1.0, -2.0 * M_PI / double(len));
        for (std::size_t start = 0; start < n; start += len) {
            std::complex<double> w = 1.0;
            for (std::size_t k = 0; k < len / 2; ++k) {
                const std::complex<double> u = a[start + k];
                const std::complex<double> v = a[start + k + len / 2] * w;
                a[start + k] = u + v;
                a[start + k + len / 2] = u - v;
                w *= step;
            }
        }
    }
    std::vector<double> out(n / 2 + 1);
    for (std::size_t k = 0; k < out.size(); ++k)
        out[k] = std::abs(a[k]);
    return out;
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
