#include "effects/MFReverb2.h"

#include "platform/MFDebugOutput.h"

#include <cstdio>
#include <cstring>

namespace {
constexpr float guard = 1e-10f;

// Zero for a value whose exponent bits are all zero (a denormal or zero).
inline float flushDenormal(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return (bits & 0x7f800000u) == 0 ? 0.0f : v;
}
} // namespace

MFReverb2::MFReverb2(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(id, ctx, parameterCount, divisionSet),
      combs{{Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry),
             Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry),
             Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry)},
            {Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry),
             Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry),
             Comb(&ctx.bufferRegistry), Comb(&ctx.bufferRegistry)}},
      allPasses{{AllPass(&ctx.bufferRegistry), AllPass(&ctx.bufferRegistry),
                 AllPass(&ctx.bufferRegistry), AllPass(&ctx.bufferRegistry)},
                {AllPass(&ctx.bufferRegistry), AllPass(&ctx.bufferRegistry),
                 AllPass(&ctx.bufferRegistry), AllPass(&ctx.bufferRegistry)}} {
    setName("Reverb");
    setParameterName(0, "Size");
    setParameterName(1, "Strength");
    setParameterName(2, "Damp");
    setParameterName(3, "Width");
    setParameterName(4, "Cutoff");
    setParameterName(5, "Dry");
    // Defaults that reproduce the initial room: strength 1/3, damping 0.2, full width,
    // dry passing at unity.
    setParameterDefault(0, 0.5f);
    setParameterDefault(1, 0.111111f);
    setParameterDefault(2, 0.5f);
    setParameterDefault(3, 1.0f);
    setParameterDefault(4, 0.5f);
    setParameterDefault(5, 1.0f);
    for (int ch = 0; ch < 2; ++ch) {
        const int32_t extra = ch == 0 ? 0 : stereoSpread;
        for (int k = 0; k < combCount; ++k) {
            combs[ch][k].length = combLengths[k] + extra;
            combs[ch][k].buffer.setSize(uint32_t(combs[ch][k].length));
        }
        for (int k = 0; k < allPassCount; ++k) {
            allPasses[ch][k].length = allPassLengths[k] + extra;
            allPasses[ch][k].buffer.setSize(uint32_t(allPasses[ch][k].length));
        }
    }
    dry.current = 1.0f;
    clearMemory();
    applyDefaults();
    controlTick();
}

void MFReverb2::setParameter(int32_t index, float value) {
    if (!validIndex(index)) {
        mfDebugOutput("unknown parameter called in MFBreverb");
        return;
    }
    parameters[index] = value;
    switch (index) {
    case 0:
        roomFeedback = value * 0.28f + 0.7f;
        break;
    case 1:
        wetScale = value * 3.0f;
        break;
    case 2:
        damping = value * 0.4f;
        dampingRest = 1.0f - damping;
        break;
    case 3:
        width = value;
        break;
    case 4:
        frequency = value * value * value * value;
        break;
    case 5:
        dryTarget = value;
        break;
    default:
        break;
    }
}

void MFReverb2::setMix(float value) {
    mix = value;
    wetTarget = value;
}

void MFReverb2::getParameterDisplay(int32_t index, float value, char* text) {
    if (index >= 0 && index <= 4)
        std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
    else
        text[0] = '\0';
}

void MFReverb2::clearMemory() {
    for (int ch = 0; ch < 2; ++ch) {
        for (Comb& c : combs[ch]) {
            c.buffer.clear();
            c.index = 0;
            c.store = 0.0f;
        }
        for (AllPass& a : allPasses[ch]) {
            a.buffer.clear();
            a.index = 0;
        }
    }
}

void MFReverb2::reset() {
    highLeft.clear();
    highRight.clear();
    clearMemory();
}

void MFReverb2::deriveGains(float widthNow) {
    const float scale = wetScale;
    wet1 = (widthNow * 0.5f + 0.5f) * scale;
    wet2 = (1.0f - widthNow) * 0.5f * scale;
}

void MFReverb2::restart() {
    // The width stands on its knob.
    widthRamp.current = width;
    widthRamp.step = 0.0f;
}

void MFReverb2::controlTick() {
    deriveGains(width);
    dampingRest = 1.0f - damping;
    const float recip = context.controlBlockRecip;
    wet.tick(wetTarget, recip);
    widthRamp.tick(width, recip);
    dry.tick(dryTarget, recip);
}

void MFReverb2::advanceRamps() {
    wet.current += wet.step;
    widthRamp.current += widthRamp.step;
    dry.current += dry.step;
    deriveGains(widthRamp.current);
}

void MFReverb2::process(float* left, float* right, int32_t count) {
    if (wet.current == 0.0f && wet.step == 0.0f && dry.current == 1.0f && dry.step == 0.0f) {
        // A reverb that fell silent erases its memory once, so a later zone starts clean.
        if (!sleeping) {
            // The output high-passes still ring with the old tail; they go too.
            reset();
            sleeping = true;
        }
        return;
    }
    sleeping = false;
    mfdsp::sanitizeInput(left, right, count);
    const float feedback = roomFeedback;
    const float damp = damping;
    const float rest = dampingRest;
    const double f = frequency;
    highLeft.frequency = f;
    highRight.frequency = f;
    for (int32_t s = 0; s < count; ++s) {
        advanceRamps();
        const float input = wet.current * (left[s] + right[s]) * inputGain + guard;
        float out[2];
        for (int ch = 0; ch < 2; ++ch) {
            float sum = 0.0f;
            for (Comb& c : combs[ch]) {
                if (++c.index >= c.length)
                    c.index = 0;
                float* buffer = c.buffer.data();
                const float y = buffer[c.index];
                c.store = y * rest + c.store * damp;
                buffer[c.index] = input + c.store * feedback;
                sum += y;
            }
            for (AllPass& a : allPasses[ch]) {
                if (++a.index >= a.length)
                    a.index = 0;
                float* buffer = a.buffer.data();
                const float y = buffer[a.index];
                const float o = y - sum;
                buffer[a.index] = 0.5f * y + sum;
                sum = o;
            }
            out[ch] = sum;
        }
        const float a = float(highLeft.run(double(wet1 * out[0] + wet2 * out[1])));
        const float b = float(highRight.run(double(wet1 * out[1] + wet2 * out[0])));
        left[s] = a * wet.current + left[s] * dry.current;
        right[s] = b * wet.current + right[s] * dry.current;
    }
}

void MFReverb2::processSample(float& left, float& right) {
    left = mfdsp::finiteInput(left);
    right = mfdsp::finiteInput(right);
    advanceRamps();
    const float feedback = roomFeedback;
    const float damp = damping;
    const float rest = dampingRest;
    highLeft.frequency = frequency;
    highRight.frequency = frequency;
    const float input = wet.current * (left + right) * inputGain + guard;
    float out[2];
    for (int ch = 0; ch < 2; ++ch) {
        float sum = 0.0f;
        for (Comb& c : combs[ch]) {
            float* buffer = c.buffer.data();
            const float y = flushDenormal(buffer[c.index]);
            c.store = flushDenormal(y * rest + c.store * damp);
            buffer[c.index] = flushDenormal(input + c.store * feedback);
            sum += y;
            if (++c.index >= c.length)
                c.index = 0;
        }
        for (AllPass& a : allPasses[ch]) {
            float* buffer = a.buffer.data();
            const float y = flushDenormal(buffer[a.index]);
            const float o = y - sum;
            buffer[a.index] = flushDenormal(0.5f * y + sum);
            sum = o;
            if (++a.index >= a.length)
                a.index = 0;
        }
        out[ch] = sum;
    }
    const float a = float(highLeft.run(double(wet1 * out[0] + wet2 * out[1])));
    const float b = float(highRight.run(double(wet1 * out[1] + wet2 * out[0])));
    left = a * wet.current + left * dry.current;
    right = b * wet.current + right * dry.current;
}
