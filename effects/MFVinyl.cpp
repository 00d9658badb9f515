#include "effects/MFVinyl.h"

#include "effects/MFDsp.h"
#include "effects/MFSineTable.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int32_t constructionLineLength = 8000;
constexpr float lineAtReferenceRate = 8000.0f; // samples at 44.1 kHz
constexpr float depthPerRate = 0.175f;
constexpr float glideMs = 15.0f;

// Moves now towards target over a fixed number of ticks, the increment fixed when
// the target changes.
void glide(float target, float& latch, float& now, float& step, int32_t& ticks, float tpm) {
    if (target != latch) {
        latch = target;
        ticks = std::max(int32_t(glideMs * tpm), int32_t(1));
        step = (0.0f - (target - now)) / float(ticks);
    }
    if (now != latch) {
        now -= step;
        --ticks;
        if (ticks < 1) {
            now = latch;
            step = 0.0f;
        }
    }
}

} // namespace

MFVinyl::MFVinyl(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(id, ctx, parameterTotal, divisionSet ? divisionSet : &MFDivisionSet::noteValues()),
      lineLeft(&ctx.bufferRegistry), lineRight(&ctx.bufferRegistry) {
    setName("vinyl");
    setParameterName(speedIndex, "speed");
    setParameterName(sizeIndex, "size");
    setParameterName(slopeIndex, "slope");
    setParameterName(gateIndex, "gate");
    setParameterDefault(speedIndex, 0.8499f);
    setParameterDefault(sizeIndex, 1.0f);
    setParameterDefault(slopeIndex, 0.9799f);
    setParameterDefault(gateIndex, 1.0f);

    lineLength = constructionLineLength;
    lineLeft.setSize(uint32_t(lineLength));
    lineRight.setSize(uint32_t(lineLength));
    lineLeft.clear();
    lineRight.clear();
    maxDepth = depthPerRate * context.sampleRate;
    listenToTempo(this);
    applyDefaults();
    // Start at rest on the knob values instead of gliding up from zero.
    shapeLatch = shapeNow = shapeSample = shapeTarget;
    depthLatch = depthNow = depthSample = depthTarget;
}

MFVinyl::~MFVinyl() {
    stopListeningToTempo(this);
}

void MFVinyl::setParameter(int32_t index, float value) {
    if (!validIndex(index))
        return;
    switch (index) {
    case speedIndex: {
        const MFDivisionTable& table = divisionTable();
        // Not inverted: a higher value picks a shorter period.
        const int row = std::clamp(int(value * float(table.count - 1) + 0.5f), 0, table.count - 1);
        periodSamples =
            std::max(MFDivisionTable::samplesFor(table.entries[row].length, context.samplesPerBeat),
                     int32_t(1));
        lfoRate = context.sampleRate / float(periodSamples);
        break;
    }
    case sizeIndex:
        depthTarget = maxDepth * value;
        break;
    case slopeIndex:
        shapeTarget = value * 3.5f + 0.5f;
        break;
    case gateIndex:
        // A new zone after a pause starts the wobble from the sine's crest.
        if (gateValue < 0.0f && value > 0.0f)
            phase = 0.25f;
        gateValue = value < 0.9f ? -1.0f : value;
        break;
    default:
        break;
    }
    parameters[index] = value;
}

void MFVinyl::setMix(float value) {
    mixTarget = value;
}

void MFVinyl::restart() {
    // The wobble starts from the sine's crest, as a new zone does, and the knobs' glides
    // stand on their targets.
    phase = 0.25f;
    shapeNow = shapeLatch = shapeSample = shapeTarget;
    depthNow = depthLatch = depthSample = depthTarget;
    shapeGlideTicks = depthGlideTicks = 0;
    shapeGlide = depthGlide = shapeStep = depthStep = 0.0f;
    // The line keeps its sound but is turned to start at its first place: the rounding
    // of the read positions depends on the write index.
    std::rotate(lineLeft.data(), lineLeft.data() + writeIndex, lineLeft.data() + lineLength);
    std::rotate(lineRight.data(), lineRight.data() + writeIndex, lineRight.data() + lineLength);
    writeIndex = 0;
}

void MFVinyl::controlTick() {
    const float target = mixTarget;
    if (mixCurrent == 0.0f && target == 0.0f && mixStep == 0.0f) {
        // Deliberately, knobs apply at once while silent: opening on a glide sweeps the pitch.
        shapeLatch = shapeNow = shapeSample = shapeTarget;
        depthLatch = depthNow = depthSample = depthTarget;
        shapeGlideTicks = depthGlideTicks = 0;
        shapeGlide = shapeStep = depthGlide = depthStep = 0.0f;
        return;
    }
    mfdsp::aimRamp(mixCurrent, mixStep, target, context.controlBlockRecip, -1e-8f, 1e-8f);

    const float shape = shapeTarget;
    glide(shape, shapeLatch, shapeNow, shapeGlide, shapeGlideTicks, context.ticksPerMs);
    // One-sided: only a tiny falling step snaps, a tiny rising one is kept while it moves.
    mfdsp::aimRamp(shapeSample, shapeStep, shapeNow, context.controlBlockRecip, -1e-8f, 0.0f);

    const float depth = depthTarget;
    glide(depth, depthLatch, depthNow, depthGlide, depthGlideTicks, context.ticksPerMs);
    mfdsp::aimRamp(depthSample, depthStep, depthNow, context.controlBlockRecip, -1e-10f, 1e-10f);
}

void MFVinyl::process(float* left, float* right, int32_t count) {
    mfdsp::sanitizeInput(left, right, count);
    float* ll = lineLeft.data();
    float* lr = lineRight.data();
    if (mixCurrent == 0.0f && mixStep == 0.0f) {
        // Keep the line filled with the present so the wobble starts without a gap.
        mfdsp::writeRing(ll, lr, lineLength, writeIndex, left, right, count);
        return;
    }

    const MFSineTable& table = MFSineTable::instance();
    const float phaseStep = lfoRate * context.sampleTime;
    const float lengthF = float(lineLength);
    // The deepest delay that still leaves both interpolation points inside the line.
    const float deepest = lengthF - 2.0f;
    for (int32_t k = 0; k < count; ++k) {
        const float inL = left[k];
        const float inR = right[k];
        phase += phaseStep;
        while (phase > 1.0f)
            phase -= 1.0f;
        lfoValue = table.read(phase);
        shapeSample += shapeStep;
        const float m = std::pow((lfoValue + 1.0f) * 0.5f, shapeSample);
        depthSample += depthStep;
        float d = m * depthSample;
        if (d < 1.0f)
            d = 1.0f;
        if (d > deepest)
            d = deepest;
        lastDelay = d;

        float r = float(writeIndex) - d;
        if (r <= -1.0f)
            r += lengthF;
        // Between -1 and 0 the read truncates to 0 with a negative fraction: a slight
        // overshoot that stays inside the line.
        const int32_t i = int32_t(r);
        int32_t j = i + 1;
        if (j >= lineLength)
            j -= lineLength;
        const float f = r - float(i);

        ll[writeIndex] = inL;
        const float yL = (ll[j] - ll[i]) * f + ll[i];
        lr[writeIndex] = inR;
        const float yR = (lr[j] - lr[i]) * f + lr[i];
        if (++writeIndex >= lineLength)
            writeIndex = 0;

        mixCurrent += mixStep;
        // Linear, not equal-power: the wobble is a blend of two versions of one signal.
        left[k] = inL * (1.0f - mixCurrent) + yL * mixCurrent;
        right[k] = inR * (1.0f - mixCurrent) + yR * mixCurrent;
    }
}

void MFVinyl::updateBuffers(bool keepContents) {
    status = statusResizing;
    maxDepth = depthPerRate * context.sampleRate;
    lineLength = std::max(int32_t(context.rateRatio * lineAtReferenceRate), int32_t(4));
    lineLeft.setSize(uint32_t(lineLength));
    lineRight.setSize(uint32_t(lineLength));
    if (writeIndex >= lineLength)
        writeIndex = 0;
    if (!keepContents) {
        lineLeft.clear();
        lineRight.clear();
    }
    // The depth and the rate are in samples: re-derive them for the new rate.
    setParameter(sizeIndex, parameters[sizeIndex]);
    setParameter(speedIndex, parameters[speedIndex]);
    status = statusIdle;
}

void MFVinyl::bpmChanged() {
    updateBuffers(true);
    setParameter(speedIndex, parameters[speedIndex]);
}

void MFVinyl::getParameterDisplay(int32_t index, float value, char* text) {
    if (!validIndex(index)) {
        MFEffect::getParameterDisplay(index, value, text);
        return;
    }
    std::strcpy(text, "todo");
}
