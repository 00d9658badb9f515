#pragma once

#include <cmath>
#include <cstdint>

// Small signal idioms that several effects share.
namespace mfdsp {

// Added at the input of every recursive filter and feedback path, so that decaying
// state never reaches the denormal range.
constexpr float denormalGuard = 1e-18f;

// Two-point linear interpolation; the buffer holds one sample past the last position read.
inline float fractionalRead(const float* buffer, float position) {
    const int32_t i = int32_t(position);
    const float f = position - float(i);
    return (buffer[i + 1] - buffer[i]) * f + buffer[i];
}

// Sine approximated by two parabolas, for x in -pi..pi.
inline float parabolaSine(float x) {
    const float y = (std::fabs(x) * -0.4052847f + 1.2732395f) * x;
    return (std::fabs(y) * y - y) * 0.225f + y;
}

// State-variable low-pass used for tone: f is the frequency coefficient, q the damping.
struct MFStateVariableLowPass {
    float high = 0.0f;
    float band = 0.0f;
    float low = 0.0f;

    float run(float in, float f, float q) {
        high = in + denormalGuard - q * band - low;
        band = band + f * high;
        low = low + f * band;
        return low;
    }
    void clear() { high = band = low = 0.0f; }
};

// Control-rate wet ramp of the loop effects. The snap bounds are deliberately asymmetric.
struct MFMixRamp {
    static constexpr float snapBelow = -1.0000000116860974e-07f;
    static constexpr float snapAbove = 9.99999993922529e-09f;

    float current = 0.0f;
    float step = 0.0f;
    float start = 0.0f;  // current at the last tick
    float span = 64.0f;  // samples from one tick to the next
    int32_t elapsed = 0; // samples walked since the last tick

    void tick(float target, float blockRecip) {
        step = (target - current) * blockRecip;
        if (step > snapBelow && step < snapAbove) {
            step = 0.0f;
            current = target;
        }
        start = current;
        span = 1.0f / blockRecip;
        elapsed = 0;
    }
};

// Equal-power walk: the gains go from sqrt(m) and sqrt(1 - m) towards those of
// e = m + n * step in n + 1 equal steps, each sample advancing before use; m and n
// are the tick's and a sample's gains come from its place in the tick.
// Walked per tick, not per run: how host blocks cut the tick must not show.
struct MFEqualPowerWalk {
    float wet = 0.0f;
    float dry = 1.0f;

    // Moves the ramp's stored value n samples on and sets the gains of the sample before.
    void begin(MFMixRamp& ramp, int n) {
        const float m = ramp.start;
        wetStart = std::sqrt(m);
        dryStart = std::sqrt(1.0f - m);
        const float e = clampUnit(m + ramp.span * ramp.step);
        // Compares the old gain with the new plain value, not the new gain.
        if (wetStart != e) {
            wetStep = (std::sqrt(e) - wetStart) / (ramp.span + 1.0f);
            dryStep = (std::sqrt(1.0f - e) - dryStart) / (ramp.span + 1.0f);
        } else {
            wetStep = dryStep = 0.0f;
        }
        place = ramp.elapsed;
        setGains();
        ramp.elapsed += n;
        ramp.current = clampUnit(m + float(ramp.elapsed) * ramp.step);
    }
    void advance() {
        ++place;
        setGains();
    }

private:
    static float clampUnit(float v) { return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v); }
    void setGains() {
        wet = clampUnit(wetStart + float(place) * wetStep);
        dry = clampUnit(dryStart + float(place) * dryStep);
    }

    float wetStart = 0.0f;
    float dryStart = 1.0f;
    float wetStep = 0.0f;
    float dryStep = 0.0f;
    int32_t place = 0;
};

// Per-sample smoothing of a control value inside a 64-sample block, with a snap
// when the increment is smaller than the bound in either direction.
struct MFBlockSmoother {
    float value = 0.0f;
    float step = 0.0f;

    void tick(float target, float blockRecip, float bound = 1e-8f) {
        step = (target - value) * blockRecip;
        if (step > -bound && step < bound) {
            step = 0.0f;
            value = target;
        }
    }
    float next() { return value += step; }
};

} // namespace mfdsp
