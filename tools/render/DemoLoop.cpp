#include "tools/render/DemoLoop.h"

#include <cmath>
#include <cstdint>

namespace {
constexpr double twoPi = 6.283185307179586;

struct Noise {
    uint32_t state = 22222;
    float next() {
        state = state * 1664525u + 1013904223u;
        return float(state >> 8) / float(1u << 23) - 1.0f;
    }
};

void addKick(std::vector<float>& out, std::size_t at, double rate) {
    const std::size_t length = std::size_t(0.35 * rate);
    double phase = 0.0;
    for (std::size_t i = 0; i < length && at + i < out.size(); ++i) {
        const double t = double(i) / rate;
        const double frequency = 45.0 + 110.0 * std::exp(-t * 30.0);
        phase += twoPi * frequency / rate;
        out[at + i] += float(0.9 * std::sin(phase) * std::exp(-t * 7.0));
    }
}

void addSnare(std::vector<float>& out, std::size_t at, double rate, Noise& noise) {
    const std::size_t length = std::size_t(0.22 * rate);
    float low = 0.0f;
    for (std::size_t i = 0; i < length && at + i < out.size(); ++i) {
        const double t = double(i) / rate;
        const float n = noise.next();
        low += 0.35f * (n - low);
        const double body = 0.35 * std::sin(twoPi * 190.0 * t) * std::exp(-t * 25.0);
        out[at + i] += float(body + 0.45 * (n - low) * std::exp(-t * 16.0));
    }
}

void addHat(std::vector<float>& out, std::size_t at, double rate, Noise& noise, float level) {
    const std::size_t length = std::size_t(0.05 * rate);
    float previous = 0.0f;
    for (std::size_t i = 0; i < length && at + i < out.size(); ++i) {
        const double t = double(i) / rate;
        const float n = noise.next();
        out[at + i] += level * (n - previous) * float(std::exp(-t * 80.0));
        previous = n;
    }
}

void addBass(std::vector<float>& out, std::size_t at, std::size_t length, double frequency,
             double rate) {
    for (std::size_t i = 0; i < length && at + i < out.size(); ++i) {
        const double t = double(i) / rate;
        const double saw = 2.0 * std::fmod(frequency * t, 1.0) - 1.0;
        const double envelope = std::min(1.0, t * 200.0) * std::exp(-t * 3.0);
        out[at + i] += float(0.22 * saw * envelope);
    }
}
} // namespace

DemoLoop DemoLoop::make(double rate, double tempo, int bars) {
    const double samplesPerBeat = rate * 60.0 / tempo;
    const double samplesPerSixteenth = samplesPerBeat / 4.0;
    const std::size_t total = std::size_t(samplesPerBeat * 4.0 * bars);
    std::vector<float> drums(total, 0.0f), bass(total, 0.0f);
    Noise noise;
    static const double bassNotes[] = {55.0, 55.0, 65.41, 49.0};

    for (int step = 0; step < bars * 16; ++step) {
        const std::size_t at = std::size_t(step * samplesPerSixteenth);
        const int inBar = step % 16;
        if (inBar == 0 || inBar == 6 || inBar == 10)
            addKick(drums, at, rate);
        if (inBar == 4 || inBar == 12)
            addSnare(drums, at, rate, noise);
        addHat(drums, at, rate, noise, inBar % 2 == 0 ? 0.3f : 0.15f);
        if (inBar % 4 == 0 || inBar == 14)
            addBass(bass, at, std::size_t(samplesPerSixteenth * 1.8),
                    bassNotes[(step / 16) % 4] * (inBar == 14 ? 2.0 : 1.0), rate);
    }

    DemoLoop loop;
    loop.left.resize(total);
    loop.right.resize(total);
    for (std::size_t i = 0; i < total; ++i) {
        // Hats slightly right, bass slightly left, so the stereo image is not flat.
        loop.left[i] = 0.6f * (drums[i] + bass[i] * 1.1f);
        loop.right[i] = 0.6f * (drums[i] + bass[i] * 0.9f);
    }
    return loop;
}
