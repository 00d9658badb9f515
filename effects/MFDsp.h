#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

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

// Copies count stereo samples into a pair of rings of the given length at write,
// wrapping, and moves write on. A ring that always runs costs no more than the copy.
inline void writeRing(float* ringLeft, float* ringRight, int32_t length, int32_t& write,
                      const float* left, const float* right, int32_t count) {
    if (length <= 0)
        return;
    if (write < 0 || write >= length)
        write = 0;
    while (count > 0) {
        const int32_t room = length - write;
        const int32_t n = count < room ? count : room;
        std::memcpy(ringLeft + write, left, sizeof(float) * std::size_t(n));
        std::memcpy(ringRight + write, right, sizeof(float) * std::size_t(n));
        left += n;
        right += n;
        count -= n;
        write += n;
        if (write >= length)
            write = 0;
    }
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

// Aims a control-rate ramp at its target: the per-sample step that gets there in one
// 64-sample tick. A step strictly between the snap bounds lands the value on the target,
// and so does a step too small to move it: under the block's truncating rounding a rising
// value below one float step never moves, and would hang a hair under its target for ever.
inline void aimRamp(float& current, float& step, float target, float blockRecip, float below,
                    float above) {
    step = (target - current) * blockRecip;
    if ((step > below && step < above) || current + step == current) {
        step = 0.0f;
        current = target;
    }
}

// Control-rate wet ramp of the loop effects. The snap bounds are deliberately asymmetric.
struct MFMixRamp {
    static constexpr float snapBelow = -1.0000000116860974e-07f;
    static constexpr float snapAbove = 9.99999993922529e-09f;

    float current = 0.0f;
    float step = 0.0f;

    void tick(float target, float blockRecip) {
        aimRamp(current, step, target, blockRecip, snapBelow, snapAbove);
    }
};

// Equal-power walk over one run of n samples: gains start at sqrt(m) and sqrt(1 - m)
// and move towards those of m + n * step; each sample advances before use.
struct MFEqualPowerWalk {
    float wet = 0.0f;
    float dry = 1.0f;
    float wetStep = 0.0f;
    float dryStep = 0.0f;

    // Advances the ramp's stored value by n steps and prepares the per-sample gains.
    void begin(MFMixRamp& ramp, int n) {
        const float m = ramp.current;
        wet = std::sqrt(m);
        dry = std::sqrt(1.0f - m);
        float e = m + float(n) * ramp.step;
        // Compares the old gain with the new plain value, not the new gain.
        if (wet != e) {
            e = e < 0.0f ? 0.0f : (e > 1.0f ? 1.0f : e);
            wetStep = (std::sqrt(e) - wet) / float(n + 1);
            dryStep = (std::sqrt(1.0f - e) - dry) / float(n + 1);
        } else {
            wetStep = dryStep = 0.0f;
        }
        ramp.current = e;
    }
    void advance() {
        wet += wetStep;
        dry += dryStep;
    }
};

// Per-sample smoothing of a control value inside a 64-sample block, with a snap
// when the increment is smaller than the bound in either direction.
struct MFBlockSmoother {
    float value = 0.0f;
    float step = 0.0f;

    void tick(float target, float blockRecip, float bound = 1e-8f) {
        aimRamp(value, step, target, blockRecip, -bound, bound);
    }
    float next() { return value += step; }
};

} // namespace mfdsp
