#include "effects/MFVEXFilter.h"

#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
// Largest f for damping d with f^2 + 2fd below 4 by a margin: inside this bound both
// poles of the stage lie strictly inside the unit circle.
constexpr float stabilityBound = 3.8f;
constexpr float minimumDamping = 0.03f;
constexpr float maximumDamping = 2.0f;
constexpr float bankOneGain = 0.7f;
// Bank 1 detunes its copies so that the side-by-side stages are heard as formants.
constexpr float copyRatio[MFVEXFilter::stagesPerMode] = {1.0f, 2.0f, 1.5f, 3.0f};

float softClip(float x) {
    return x * (1.0f - std::fabs(x) * 0.25f);
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
//  - Damping d = 1.414 (1 - q)^1.3 + floor: 1.414 (Butterworth) with the knob at zero,
//    falling towards the floor as q rises (peak gain of the band output ~ 1/d). The floor
//    is 0.04 for a single stage and 0.08 for each stage of a series pair, whose peaks
//    multiply. Above c = 0.7 the damping rises by up to a half, where the cutoff nears
//    the top of the audio band and the stage's peak grows sharper.
//  - Frequency term: a tuning factor on the hertz of the cutoff rule; 1 throughout,
//    because f = 2 sin(pi hz / rate) already puts the stage's peak on the cutoff.
//  - The per-column correction read at 9c is the same high-cutoff damping rise.
// Whatever the tables hold, stageCoefficients clamps d and f to f^2 + 2fd <= 3.8 with
// d >= 0.03, where the stage is stable at every rate.
void MFVEXFilter::buildTables() {
    for (int32_t k = 0; k < tableColumns; ++k) {
        const float c = float(k) / 9.0f;
        const float over = std::max(0.0f, c - 0.7f) / 0.3f;
        topDamping[size_t(k)] = 1.0f + 0.5f * over * over;
    }
    for (int32_t family = 0; family < familyCount; ++family) {
        const float floor = family == familySeries ? 0.08f : 0.04f;
        for (auto& table : tables[family]) {
            for (int32_t i = 0; i < tableSize; ++i) {
                const int32_t row = std::min(i / tableColumns, 10);
                const float q = float(row) / 10.0f;
                const float d = 1.414f * std::pow(1.0f - q, 1.3f) + floor;
                table.dampValue[size_t(i)] = d;
                table.freqValue[size_t(i)] = 1.0f;
            }
            // Damping does not depend on the column, the tuning neither: slopes are zero
            // except where the next column differs.
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

void MFVEXFilter::lookup(const StageTable& table, float q, float columnPosition, float hz,
                         Stage& s) const {
    const float t = q * 10.0f;
    const int32_t row = std::max(0, int32_t(t - 0.5f));
    const float rowFraction = t - float(row);
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
    const float k = std::clamp(columnPosition, 0.0f, 9.0f);
    const int32_t ki = std::min(int32_t(k), 8);
    const float correction =
        topDamping[size_t(ki)] +
        (topDamping[size_t(ki + 1)] - topDamping[size_t(ki)]) * (k - float(ki));
    float d = (d0 + (d1 - d0) * rowFraction) * correction;
    const float tune = f0 + (f1 - f0) * rowFraction;
    d = std::clamp(d, minimumDamping, maximumDamping);
    const float angle = std::min(3.14159265f * hz * tune * context.sampleTime, 1.5707963f);
    float f = 2.0f * std::sin(angle);
    const float bound = -d + std::sqrt(d * d + stabilityBound);
    s.f = std::clamp(f, 1e-6f, bound);
    s.d = d;
}

void MFVEXFilter::stageCoefficients(int32_t family, int32_t stageIndex, float q, float c, float hz,
                                    Stage& s) const {
    lookup(tables[family][stageIndex], q, 9.0f * c, hz, s);
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
    mixStep = (target - mixCurrent) / 64.0f;
    if (mixStep > -1e-8f && mixStep < 1e-8f) {
        mixStep = 0.0f;
        mixCurrent = target;
    }

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
    const float hz = cutoffHz(c);
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
    const float nyquistHz = 0.5f * context.sampleRate;

    if (m == 6) {
        chainFeedback = q;
        const float room = float(chainLength) - 2.0f;
        for (int32_t copy = 0; copy < 2; ++copy) {
            const float ratio = b == 1 ? copyRatio[copy] : 1.0f;
            // Each pole delays low frequencies by 1 / (2t) samples: take both off the line so
            // that the loop rings at the cutoff.
            chainDelay[copy] =
                std::clamp(context.sampleRate / (hz * ratio) - 1.0f / chainT, 1.0f, room);
        }
        return;
    }
    if (m == 8 || m == 9)
        holdRate = std::min(hz * 8.0f * context.sampleTime, 1.0f);

    const int32_t family = (m == 1 || m == 3 || m == 5) ? familySeries : familySingle;
    if (b == 0) {
        stageCoefficients(family, 0, q, c, hz, st[0]);
        if (family == familySeries)
            stageCoefficients(family, 1, q2, c, hz, st[1]);
        else if (m == 7)
            st[1] = Stage{st[1].bandL, st[1].lowL,  st[1].highL, st[1].bandR,
                          st[1].lowR,  st[1].highR, st[0].f,     st[0].d};
        return;
    }
    // Bank 1: copies at their ratios, each clamped below the top of the band.
    auto copyHz = [&](int32_t k) { return std::min(hz * copyRatio[k], nyquistHz * 0.95f); };
    if (family == familySeries) {
        for (int32_t pair = 0; pair < 2; ++pair) {
            stageCoefficients(family, 0, q, c, copyHz(pair), st[pair * 2]);
            stageCoefficients(family, 1, q2, c, copyHz(pair), st[pair * 2 + 1]);
        }
    } else {
        const int32_t copies = m == 7 ? 4 : 2;
        for (int32_t k = 0; k < copies; ++k)
            stageCoefficients(family, 0, q, c, copyHz(k), st[k]);
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
        float yl = std::clamp(dryL + (wl - dryL) * mixCurrent, -2.0f, 2.0f);
        float yr = std::clamp(dryR + (wr - dryR) * mixCurrent, -2.0f, 2.0f);
        left[n] = softClip(yl);
        right[n] = softClip(yr);
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
