#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Small signal idioms that several effects share.
namespace mfdsp {

// Added at the input of every recursive filter and feedback path, so that decaying
// state never reaches the denormal range.
constexpr float denormalGuard = 1e-18f;

// Largest input magnitude an effect takes in: 100 dB over full scale, far beyond any real
// signal, yet small enough that no filter or feedback path can overflow from it.
constexpr float inputLimit = 100000.0f;

// An input sample as an effect takes it: NaN and infinities count as silence, and a
// magnitude above inputLimit is held at the limit. Anything else passes bit for bit.
inline float finiteInput(float x) {
    const float v = std::fabs(x) <= FLT_MAX ? x : 0.0f;
    return v > inputLimit ? inputLimit : (v < -inputLimit ? -inputLimit : v);
}

// True when every sample of a stereo run is a number within inputLimit; NaN, which
// compares false, fails the test like an infinity.
inline bool ordinaryInput(const float* left, const float* right, int32_t count) {
    int32_t i = 0;
#if defined(__SSE2__)
    const __m128 magnitudeMask = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
    const __m128 limit = _mm_set1_ps(inputLimit);
    __m128 outside = _mm_setzero_ps();
    for (; i + 4 <= count; i += 4) {
        const __m128 l = _mm_and_ps(_mm_loadu_ps(left + i), magnitudeMask);
        const __m128 r = _mm_and_ps(_mm_loadu_ps(right + i), magnitudeMask);
        outside = _mm_or_ps(outside, _mm_or_ps(_mm_cmpnle_ps(l, limit), _mm_cmpnle_ps(r, limit)));
    }
    if (_mm_movemask_ps(outside) != 0)
        return false;
#endif
    for (; i < count; ++i)
        if (!(std::fabs(left[i]) <= inputLimit && std::fabs(right[i]) <= inputLimit))
            return false;
    return true;
}

// finiteInput over a stereo run, in place: an effect calls it before it reads or records
// its input, so that one bad sample can never settle in its state. An ordinary run, the
// only kind real audio brings, is only looked at.
inline void sanitizeInput(float* left, float* right, int32_t count) {
    if (ordinaryInput(left, right, count))
        return;
    for (int32_t i = 0; i < count; ++i) {
        left[i] = finiteInput(left[i]);
        right[i] = finiteInput(right[i]);
    }
}

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
    float start = 0.0f;  // current at the last tick
    float span = 64.0f;  // samples from one tick to the next
    int32_t elapsed = 0; // samples walked since the last tick

    void tick(float target, float blockRecip) {
        aimRamp(current, step, target, blockRecip, snapBelow, snapAbove);
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
        aimRamp(value, step, target, blockRecip, -bound, bound);
    }
    float next() { return value += step; }
};

} // namespace mfdsp
