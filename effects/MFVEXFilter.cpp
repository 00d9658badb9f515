#include "effects/MFVEXFilter.h"

#include "effects/MFDsp.h"

#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
constexpr float sqrtTwo = 1.41421356f;
constexpr float minimumDamping = 0.03f;
constexpr float maximumDamping = 2.0f;
constexpr float bankOneGain = 0.7f;
// Bank 1 detunes its copies downwards, so that the side-by-side stages are heard as
// formants below the cutoff and never crowd together under the ceiling.
constexpr float copyRatio[MFVEXFilter::stagesPerMode] = {1.0f, 0.5f, 2.0f / 3.0f, 1.0f / 3.0f};

float softClip(float x) {
    return x * (1.0f - std::fabs(x) * 0.25f);
}

// The output of the one-stage modes: 0 high, 2 band, 4 low, 8 band and 9 low.
MFVEXFilter::Tap singleTap(int32_t mode) {
    switch (mode) {
    case 0:
        return MFVEXFilter::Tap::high;
    case 2:
    case 8:
        return MFVEXFilter::Tap::band;
    default:
        return MFVEXFilter::Tap::low;
    }
}
} // namespace

MFVEXFilter::MFVEXFilter(int32_t effectId, MFSystemInfo& ctx, const MFDivisionSet* d)
    : MFEffect(effectId, ctx, parameterTotal, d) {
    setName("filter");
    setParameterName(parameterCutoff, "FilterCutoff");
    setParameterName(parameterResonance, "FilterReso");
    setParameterName(parameterMode, "classicfiltertyp_");
    setParameterName(parameterBank, "vms");
    setParameterDefault(parameterCutoff, 0.5f);
    setParameterDefault(parameterResonance, 0.0f);
    setParameterDefault(parameterMode, 0.1f);
    setParameterDefault(parameterBank, 0.0f);
    for (auto& copy : chainLine)
        for (auto& line : copy)
            line.setRegistry(&ctx.bufferRegistry);
    buildTables();
    updateBuffers(false);
    applyDefaults();
    cutoffCurrent = cutoffLatch = cutoffTarget;
}

// Table design. Rows are the stage's resonance position t = 10q (q in 0..1), columns
// the cutoff position 9c (c in 0..1, column 10 a guard). Each entry is a pair: the value
// at the grid point and its slope to the next column, so a lookup is linear along the
// column and linear between rows.
//  - Damping k of the analogue prototype: sqrt 2 (Butterworth) with the knob at zero,
//    falling as (1 - q)^1.3 towards a floor as q rises (the peak stands near 1 / k). The
//    floor is 0.04 for a single stage and 0.08 for each stage of a series pair, whose
//    peaks multiply.
//  - Frequency term: a tuning factor on the hertz of the cutoff rule; 1 throughout,
//    because designStage puts the prototype's cutoff on the hertz exactly at every rate.
void MFVEXFilter::buildTables() {
    for (int32_t family = 0; family < familyCount; ++family) {
        const float floor = family == familySeries ? 0.08f : 0.04f;
        for (auto& table : tables[family]) {
            for (int32_t i = 0; i < tableSize; ++i) {
                const int32_t row = std::min(i / tableColumns, 10);
                const float q = float(row) / 10.0f;
                table.dampValue[size_t(i)] = (sqrtTwo - floor) * std::pow(1.0f - q, 1.3f) + floor;
                table.freqValue[size_t(i)] = 1.0f;
            }
            // Neither depends on the column: slopes are zero except where the next
            // column differs.
            for (int32_t i = 0; i + 1 < tableSize; ++i) {
                const bool lastColumn = i % tableColumns == tableColumns - 1;
                table.dampSlope[size_t(i)] =
                    lastColumn ? 0.0f : table.dampValue[size_t(i + 1)] - table.dampValue[size_t(i)];
                table.freqSlope[size_t(i)] =
                    lastColumn ? 0.0f : table.freqValue[size_t(i + 1)] - table.freqValue[size_t(i)];
            }
        }
    }
}

float MFVEXFilter::cutoffHz(float c) {
    c = std::clamp(c, 0.0f, 1.0f);
    const float x = (0.13f + c) * 0.87f;
    return x * x * x * 16011.0f;
}

// The stage's response is 1 / |D(z)| up to the tap's zeros, with D(z) = 1 + a1 / z + a2 / z^2,
// a1 = f^2 + f d - 2 and a2 = 1 - f d. Any stable pole pair is reachable, so the poles are
// chosen to make |D|^2 proportional to the prototype's denominator 1 + (k^2 - 2) W + W^2,
// W = (sin(w / 2) / sin(wc / 2))^2. Writing a2 = t^2, this solves in closed form to
//   y^2 = 2 s k^2 (1 + 2 s / (R + A)),  t = 2 / (y + sqrt(y^2 + 4)),
//   f = 2 sin(wc / 2) sqrt(t),  d = t y / f,
// with s = 2 sin^2(wc / 2), A = 2 cos^2(wc / 2), R = sqrt(A^2 + 2 s k^2) (no cancellation
// anywhere). The low output then has unity gain at DC; the high and band outputs carry
// constant factors 1 / t and 1 / sqrt(t), which the input gain g takes out. The stage
// is stable for every wc below pi and every k above 0, so no clamp is needed.
void MFVEXFilter::designStage(float wc, float k, Tap tap, Stage& s) {
    const float half = 0.5f * wc;
    const float sh = std::sin(half);
    const float ch = std::cos(half);
    const float s2 = 2.0f * sh * sh;
    const float a = 2.0f * ch * ch;
    const float k2 = k * k;
    const float r = std::sqrt(a * a + 2.0f * s2 * k2);
    const float y2 = 2.0f * s2 * k2 * (1.0f + 2.0f * s2 / (r + a));
    const float y = std::sqrt(y2);
    const float t = 2.0f / (y + std::sqrt(y2 + 4.0f));
    const float f = 2.0f * sh * std::sqrt(t);
    s.f = f;
    s.d = t * y / f;
    s.g = tap == Tap::high ? t : tap == Tap::band ? std::sqrt(t) : 1.0f;
}

void MFVEXFilter::stageCoefficients(int32_t family, int32_t stageIndex, float q, float c, float hz,
                                    Tap tap, Stage& s) const {
    const StageTable& table = tables[family][stageIndex];
    const float t = q * 10.0f;
    const int32_t row = std::max(0, int32_t(t - 0.5f));
    const float rowFraction = t - float(row);
    const float columnPosition = 9.0f * c;
    const int32_t column = std::clamp(int32_t(columnPosition), 0, tableColumns - 2);
    const float columnFraction = columnPosition - float(column);
    const int32_t i = std::clamp(row * tableColumns + column, 0, tableSize - 2);
    const int32_t below = std::min(i + tableColumns, tableSize - 1);
    auto read = [&](const std::array<float, tableSize>& v, const std::array<float, tableSize>& sl,
                    int32_t at) { return v[size_t(at)] + sl[size_t(at)] * columnFraction; };
    const float d0 = read(table.dampValue, table.dampSlope, i);
    const float d1 = read(table.dampValue, table.dampSlope, below);
    const float f0 = read(table.freqValue, table.freqSlope, i);
    const float f1 = read(table.freqValue, table.freqSlope, below);
    const float k = std::clamp(d0 + (d1 - d0) * rowFraction, minimumDamping, maximumDamping);
    const float tune = f0 + (f1 - f0) * rowFraction;
    const float ceiling = ceilingFraction * context.sampleRate;
    const float wc = 6.2831855f * std::clamp(hz * tune, 1.0f, ceiling) * context.sampleTime;
    designStage(wc, k, tap, s);
}

void MFVEXFilter::setParameter(int32_t index, float value) {
    if (!validIndex(index)) {
        mfDebugOutput("unknown parameter called in MFVEXFilter");
        return;
    }
    parameters[index] = value;
    switch (index) {
    case parameterCutoff:
        cutoffTarget = value;
        break;
    case parameterResonance:
        resonance = std::pow(std::clamp(value, 0.0f, 1.0f), 0.84f);
        break;
    case parameterMode:
        mode = std::clamp(int32_t(std::min(value * 10.0f + 0.001f, 9.0f)), 0, 9);
        break;
    case parameterBank:
        bank = std::clamp(int32_t(std::min(value * 2.0f + 0.001f, 1.0f)), 0, 1);
        break;
    default:
        break;
    }
}

void MFVEXFilter::setMix(float value) {
    mix = value;
    mixTarget = value;
}

void MFVEXFilter::getParameterDisplay(int32_t, float, char* text) {
    std::strcpy(text, "todo");
}

float MFVEXFilter::getParameterSteps(int32_t index) {
    if (index == parameterMode)
        return 10.0f;
    if (index == parameterBank)
        return 2.0f;
    return 0.0f;
}

void MFVEXFilter::controlTick() {
    const float target = mixTarget;
    if (mixCurrent == 0.0f && cutoffTarget == 0.0f && mixStep == 0.0f && target == 0.0f)
        return;
    mfdsp::aimRamp(mixCurrent, mixStep, target, context.controlBlockRecip, -1e-8f, 1e-8f);

    const float wanted = cutoffTarget;
    if (wanted != cutoffLatch || settleNextTick) {
        cutoffLatch = wanted;
        cutoffTicks = settleNextTick ? 0.0f : glideMs * context.ticksPerMs;
        if (cutoffTicks < 1.0f) {
            cutoffTicks = 0.0f;
            cutoffCurrent = wanted;
        } else {
            cutoffGlide = (wanted - cutoffCurrent) / cutoffTicks;
        }
    }
    if (cutoffTicks > 0.0f) {
        cutoffCurrent += cutoffGlide;
        cutoffTicks -= 1.0f;
        if (cutoffTicks <= 0.0f) {
            cutoffTicks = 0.0f;
            cutoffCurrent = cutoffLatch;
        }
    }

    const float c = std::clamp(cutoffCurrent, 0.0f, 1.0f);
    const float hz = std::min(cutoffHz(c), ceilingFraction * context.sampleRate);
    const float q = resonance * 0.94f;
    const float q2 = q * 0.48f;
    const int32_t b = bank;
    const int32_t m = mode;
    gainTarget = 1.0f / (1.0f + q);
    if (settleNextTick) {
        settleNextTick = false;
        gain = gainTarget;
    }
    Stage* st = stages[b][m];

    if (m == 6) {
        chainFeedback = q;
        const float room = float(chainLength) - 2.0f;
        for (int32_t copy = 0; copy < 2; ++copy) {
            const float copyHz = hz * (b == 1 ? copyRatio[copy] : 1.0f);
            // Each pole of the loop delays a tone of angle w by atan(tan(w / 2) / t) / w
            // samples: take both off the line so that the loop rings at the cutoff.
            const float w = 6.2831855f * copyHz * context.sampleTime;
            const float poleDelay = std::atan(std::tan(0.5f * w) / chainT) / w;
            chainDelay[copy] =
                std::clamp(context.sampleRate / copyHz - 2.0f * poleDelay, 1.0f, room);
        }
        return;
    }
    if (m == 8 || m == 9)
        holdRate = std::min(hz * 8.0f * context.sampleTime, 1.0f);

    if (b == 0) {
        switch (m) {
        case 1:
            stageCoefficients(familySeries, 0, q, c, hz, Tap::high, st[0]);
            stageCoefficients(familySeries, 1, q2, c, hz, Tap::high, st[1]);
            break;
        case 3:
            stageCoefficients(familySeries, 0, q, c, hz, Tap::high, st[0]);
            stageCoefficients(familySeries, 1, q2, c, hz, Tap::band, st[1]);
            break;
        case 5:
            stageCoefficients(familySeries, 0, q, c, hz, Tap::low, st[0]);
            stageCoefficients(familySeries, 1, q2, c, hz, Tap::low, st[1]);
            break;
        case 7:
            // The same poles for both, each stage levelled for the output it gives.
            stageCoefficients(familySingle, 0, q, c, hz, Tap::high, st[0]);
            stageCoefficients(familySingle, 0, q, c, hz, Tap::low, st[1]);
            break;
        default:
            stageCoefficients(familySingle, 0, q, c, hz, singleTap(m), st[0]);
            break;
        }
        return;
    }
    // Bank 1: copies at their ratios below the cutoff, taken on the stages' own frequency
    // scale, sin(w / 2), so that they stand towards each other alike at every rate.
    auto warpedCopy = [&](float topHz, int32_t k) {
        const float half = 3.14159265f * topHz * context.sampleTime;
        return std::asin(std::sin(half) * copyRatio[k]) * context.sampleRate * 0.31830989f;
    };
    switch (m) {
    case 1:
    case 3:
    case 5:
        for (int32_t pair = 0; pair < 2; ++pair) {
            const float copyHz = warpedCopy(hz, pair);
            stageCoefficients(familySeries, 0, q, c, copyHz, m == 5 ? Tap::low : Tap::high,
                              st[pair * 2]);
            stageCoefficients(familySeries, 1, q2, c, copyHz,
                              m == 1   ? Tap::high
                              : m == 3 ? Tap::band
                                       : Tap::low,
                              st[pair * 2 + 1]);
        }
        break;
    case 7:
        for (int32_t k = 0; k < 4; ++k)
            stageCoefficients(familySingle, 0, q, c, warpedCopy(hz, k),
                              k % 2 == 0 ? Tap::high : Tap::band, st[k]);
        break;
    default:
        for (int32_t k = 0; k < 2; ++k)
            stageCoefficients(familySingle, 0, q, c, warpedCopy(hz, k), singleTap(m), st[k]);
        break;
    }
}

float MFVEXFilter::runChain(int32_t copy, int32_t channel, float x) {
    float* line = chainLine[copy][channel].data();
    float position = float(chainWrite) - chainDelay[copy];
    if (position < 0.0f)
        position += float(chainLength);
    int32_t i = int32_t(position);
    if (i >= chainLength)
        i -= chainLength;
    const float fraction = position - float(int32_t(position));
    const int32_t next = i + 1 < chainLength ? i + 1 : 0;
    const float delayed = line[i] + (line[next] - line[i]) * fraction;
    float u = x + chainFeedback * softClip(std::clamp(delayed, -2.0f, 2.0f)) + 1e-18f;
    float* y1 = poleState[copy][channel];
    for (int32_t p = 0; p < 2; ++p) {
        const float y = (u - chainB * y1[p]) * chainA;
        u = (y + y1[p]) * chainT;
        y1[p] = y;
    }
    line[chainWrite] = u;
    return delayed;
}

void MFVEXFilter::processBank0(float& wl, float& wr, float xl, float xr) {
    const int32_t m = mode;
    Stage* st = stages[0][m];
    switch (m) {
    case 0:
    case 2:
    case 4:
        st[0].run(xl, xr);
        wl = m == 0 ? st[0].highL : m == 2 ? st[0].bandL : st[0].lowL;
        wr = m == 0 ? st[0].highR : m == 2 ? st[0].bandR : st[0].lowR;
        break;
    case 1:
        st[0].run(xl, xr);
        st[1].run(st[0].highL, st[0].highR);
        wl = st[1].highL;
        wr = st[1].highR;
        break;
    case 3:
        st[0].run(xl, xr);
        st[1].run(st[0].highL, st[0].highR);
        wl = st[1].bandL;
        wr = st[1].bandR;
        break;
    case 5:
        st[0].run(xl, xr);
        st[1].run(st[0].lowL, st[0].lowR);
        wl = st[1].lowL;
        wr = st[1].lowR;
        break;
    case 6:
        wl = runChain(0, 0, xl);
        wr = runChain(0, 1, xr);
        break;
    case 7:
        st[0].run(xl, xr);
        st[1].run(xl, xr);
        wl = st[0].highL + st[1].lowL;
        wr = st[0].highR + st[1].lowR;
        break;
    default: // 8 and 9
        st[0].run(heldL, heldR);
        wl = m == 8 ? st[0].bandL : st[0].lowL;
        wr = m == 8 ? st[0].bandR : st[0].lowR;
        break;
    }
}

void MFVEXFilter::processBank1(float& wl, float& wr, float xl, float xr) {
    const int32_t m = mode;
    Stage* st = stages[1][m];
    float sl = 0.0f, sr = 0.0f;
    switch (m) {
    case 0:
    case 2:
    case 4:
        for (int32_t k = 0; k < 2; ++k) {
            st[k].run(xl, xr);
            sl += m == 0 ? st[k].highL : m == 2 ? st[k].bandL : st[k].lowL;
            sr += m == 0 ? st[k].highR : m == 2 ? st[k].bandR : st[k].lowR;
        }
        break;
    case 1:
    case 3:
    case 5:
        for (int32_t pair = 0; pair < 2; ++pair) {
            Stage& a = st[pair * 2];
            Stage& b = st[pair * 2 + 1];
            a.run(xl, xr);
            if (m == 5)
                b.run(a.lowL, a.lowR);
            else
                b.run(a.highL, a.highR);
            sl += m == 1 ? b.highL : m == 3 ? b.bandL : b.lowL;
            sr += m == 1 ? b.highR : m == 3 ? b.bandR : b.lowR;
        }
        break;
    case 6:
        for (int32_t copy = 0; copy < 2; ++copy) {
            sl += runChain(copy, 0, xl);
            sr += runChain(copy, 1, xr);
        }
        break;
    case 7:
        for (int32_t k = 0; k < 4; ++k)
            st[k].run(xl, xr);
        sl = st[0].highL + st[1].bandL + st[2].highL + st[3].bandL;
        sr = st[0].highR + st[1].bandR + st[2].highR + st[3].bandR;
        break;
    default: // 8 and 9: both copies filter the held sample
        for (int32_t k = 0; k < 2; ++k) {
            st[k].run(heldL, heldR);
            sl += m == 8 ? st[k].bandL : st[k].lowL;
            sr += m == 8 ? st[k].bandR : st[k].lowR;
        }
        break;
    }
    wl = sl * bankOneGain;
    wr = sr * bankOneGain;
}

void MFVEXFilter::process(float* left, float* right, int32_t count) {
    if (mixCurrent == 0.0f && mixStep == 0.0f)
        return;
    mfdsp::sanitizeInput(left, right, count);
    const int32_t b = bank;
    const int32_t m = mode;
    const bool holding = m == 8 || m == 9;
    for (int32_t n = 0; n < count; ++n) {
        mixCurrent = std::clamp(mixCurrent + mixStep, 0.0f, 1.0f);
        const float dryL = left[n];
        const float dryR = right[n];
        float xl = dryL, xr = dryR;
        if (b == 0) {
            gain += (gainTarget - gain) * 0.002f;
            xl *= gain;
            xr *= gain;
        }
        if (holding) {
            const float before = std::floor(holdCounter);
            holdCounter += holdRate;
            if (holdCounter >= 16.0f)
                holdCounter -= 16.0f;
            if (std::floor(holdCounter) != before) {
                heldL = xl;
                heldR = xr;
            }
        }
        float wl = 0.0f, wr = 0.0f;
        if (b == 0)
            processBank0(wl, wr, xl, xr);
        else
            processBank1(wl, wr, xl, xr);
        // Only the wet is clipped, so the clip acts in proportion to the mix: no zone-edge step.
        const float wetL = softClip(std::clamp(wl, -2.0f, 2.0f));
        const float wetR = softClip(std::clamp(wr, -2.0f, 2.0f));
        left[n] = dryL + (wetL - dryL) * mixCurrent;
        right[n] = dryR + (wetR - dryR) * mixCurrent;
        if (m == 6 && ++chainWrite >= chainLength)
            chainWrite = 0;
    }
}

void MFVEXFilter::updateBuffers(bool keepContents) {
    const float rate = context.sampleRate;
    const float c = std::min(rate, 6000.0f);
    const float w = c * 3.14159f / rate;
    const float w3 = w * w * w;
    const float t = w + w3 * 0.333333f + w3 * w * w * 1.333333f;
    chainA = 1.0f / (t + 1.0f);
    chainB = t - 1.0f;
    chainT = t;
    const int32_t length = std::max(int32_t(context.rateRatio * 500.0f), 4);
    for (auto& copy : chainLine)
        for (auto& line : copy)
            line.setSize(uint32_t(length) + 1);
    if (length != chainLength) {
        chainLength = length;
        chainWrite = 0;
        for (auto& copy : chainLine)
            for (auto& line : copy)
                line.clear();
    }
    if (!keepContents)
        reset();
}

void MFVEXFilter::restart() {
    // The next tick takes the lane's cutoff and the input gain without a glide, and the
    // hold starts a period. Asleep, the stages hold a tail stopped in its tracks, not
    // one to hear again: they start from rest.
    settleNextTick = true;
    holdCounter = 0.0f;
    if (mixCurrent == 0.0f && mixStep == 0.0f)
        reset();
}

void MFVEXFilter::reset() {
    for (auto& b : stages)
        for (auto& m : b)
            for (auto& s : m) {
                const float f = s.f, d = s.d;
                s = Stage{};
                s.f = f;
                s.d = d;
            }
    for (auto& copy : chainLine)
        for (auto& line : copy)
            line.clear();
    std::memset(poleState, 0, sizeof(poleState));
    heldL = heldR = 0.0f;
    holdCounter = 0.0f;
    chainWrite = 0;
}
