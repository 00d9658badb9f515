#pragma once

#include <cstddef>
#include <vector>

// Measurements that audio tests compare against tolerances.
// Wrapped so that it can live beside ::signal from <signal.h>, which GoogleTest pulls in;
// the using-directive keeps the spelling signal::peak working (a qualified name looks up
// namespaces only, so the function does not get in the way).
namespace testsupport {
namespace signal {

float peak(const float* x, std::size_t n);
double rms(const float* x, std::size_t n);
bool allFinite(const float* x, std::size_t n);
// Largest magnitude of a difference between neighbouring samples.
float largestStep(const std::vector<float>& x);
// Count of non-zero samples whose magnitude lies below FLT_MIN (denormals).
std::size_t denormalCount(const float* x, std::size_t n);
// Magnitude of one frequency component (Goertzel), normalised so that a
// full-scale sine at that frequency reads about 1.
double toneMagnitude(const float* x, std::size_t n, double frequency, double sampleRate);
// Frequency of the largest spectral peak between lo and hi, searched in steps of resolution Hz.
double dominantFrequency(const float* x, std::size_t n, double sampleRate, double lo, double hi,
                         double resolution);
// Magnitude of the discrete-time Fourier transform of x at one frequency, not normalised:
// for an impulse response of unit height, the filter's gain at that frequency.
double transformMagnitude(const float* x, std::size_t n, double frequency, double sampleRate);
// |X[k]| for k = 0 .. n / 2 of the n-point transform (n a power of two), not normalised.
std::vector<double> magnitudeSpectrum(const float* x, std::size_t n);
std::vector<float> sine(double frequency, double sampleRate, std::size_t n, float amplitude = 1.0f);
// White noise in -1..1 from a fixed seed, so tests are repeatable.
std::vector<float> noise(std::size_t n, unsigned seed = 1);

} // namespace signal
} // namespace testsupport

using namespace testsupport;
