#include "effects/MFLevelDelay.h"

#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
constexpr float blockSize = 64.0f;
constexpr float snapBound = 1e-8f;
constexpr float fadeStep = 1.0f / blockSize;

// Soft saturation of the feedback path. Beyond |x| = 4 the curve would fold back
// and grow without limit, so the input is held there: a hot input cannot run away.
inline float saturate(float x) {
    x = std::clamp(x, -4.0f, 4.0f);
    return x * (1.0f - std::fabs(x) * 0.25f);
}
} // namespace

MFLevelDelay::MFLevelDelay(int32_t effectId, MFSystemInfo& ctx, const MFDivisionSet* d)
    : MFEffect(effectId, ctx, parameterTotal, d), lineLeft(&ctx.bufferRegistry),
      lineRight(&ctx.bufferRegistry) {
    setName("Delay");
    setParameterName(parameterTime, "Time_Le");
    setParameterName(parameterDiffusion, "diff");
    setParameterName(parameterFeedback, "Feedbac");
    setParameterName(parameterWidth, "width");
    setParameterName(parameterDry, "dry level");
    setParameterDefault(parameterTime, 0.0f);
    setParameterDefault(parameterDiffusion, 0.2699f);
    setParameterDefault(parameterFeedback, 0.1499f);
    setParameterDefault(parameterWidth, 0.7198f);
    setParameterDefault(parameterDry, 1.0f);
    wet.value = 0.0f;
    dry.value = 1.0f;
    // Room for a line of the longest bar there can be, grown in place as the tempo asks.
    const uint32_t ceiling = uint32_t(4.0f * MFSystemInfo::longestBeat + 65.0f) + 1;
    lineLeft.reserve(ceiling, ctx.bufferGrower);
    lineRight.reserve(ceiling, ctx.bufferGrower);
    updateBuffers(false);
    lineLeft.clear();
    lineRight.clear();
    listenToTempo(this);
    applyDefaults();
    // Start at the default times rather than gliding up from zero on the first zone.
    for (TimeGlide* g : {&leftTime, &rightTime}) {
        g->current = g->latch = g->target;
        g->sample.value = g->target;
    }
}

MFLevelDelay::~MFLevelDelay() {
    stopListeningToTempo(this);
}

void MFLevelDelay::updateTargets() {
    const float v = parameters[parameterTime];
    const float t = 1.0f - v;
    const int32_t timeIndex = std::clamp(int32_t(t * 15.0f + 0.5f), 0, timeCount - 1);
    spreadRest = 1.0f - v * 0.9f;
    const float target = context.samplesPerBeat / divisionsPerBeat[timeIndex];
    leftTime.target = target;
    // A fixed number of samples, not scaled by the rate; long delays get more.
    rightTime.target = target + widthValue * blockSize * spreadRest;
}

void MFLevelDelay::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterTime:
        parameters[index] = value;
        updateTargets();
        break;
    case parameterDiffusion:
        parameters[index] = value;
        crossFeed = value * 0.19f;
        break;
    case parameterFeedback:
        parameters[index] = value;
        selfFeed = value * 0.79f;
        break;
    case parameterWidth:
        parameters[index] = value;
        widthValue = value;
        updateTargets();
        break;
    case parameterDry:
        parameters[index] = value;
        dryTarget = value;
        break;
    default:
        mfDebugOutput("unknown parameter called in MFLevelDelay");
        break;
    }
}

void MFLevelDelay::setMix(float value) {
    mix = value;
    wetTarget = value;
}

void MFLevelDelay::updateBuffers(bool) {
    status = statusResizing;
    int32_t length = int32_t(4.0f * context.samplesPerBeat + 65.0f);
    if (length <= 0) {
        lineLength = length;
        status = statusUnusable;
        return;
    }
    // A longer line may take in old samples; they are cleared again while silent.
    silentRun = 0;
    const bool leftFits = lineLeft.requestSize(uint32_t(length) + 1);
    const bool rightFits = lineRight.requestSize(uint32_t(length) + 1);
    // Until the grower has made room for longer lines, the lines are what the room holds.
    if (!leftFits || !rightFits) {
        const uint32_t room = std::min(lineLeft.getCapacity(), lineRight.getCapacity());
        length = std::min(length, int32_t(room) - 1);
    }
    lineLength = length;
    if (writeIndex >= lineLength)
        writeIndex = 0;
    status = statusIdle;
}

void MFLevelDelay::bpmChanged() {
    updateBuffers(true);
    setParameter(parameterTime, parameters[parameterTime]);
    setParameter(parameterWidth, parameters[parameterWidth]);
}

void MFLevelDelay::TimeGlide::tick(float ticksPerMs, float blockRecip) {
    const float t = target;
    if (t != latch) {
        latch = t;
        ticks = glideMs * ticksPerMs;
        glide = (0.0f - (t - current)) / ticks;
    }
    if (current != latch) {
        current -= glide;
        ticks -= 1.0f;
        if (ticks <= 0.0f) {
            current = latch;
            glide = 0.0f;
        }
    }
    sample.tick(current, blockRecip, snapBound);
}

void MFLevelDelay::restart() {
    // The times stand on their targets: a glide from a time set before is not the song's.
    for (TimeGlide* g : {&leftTime, &rightTime}) {
        g->current = g->latch = g->target;
        g->ticks = g->glide = 0.0f;
        g->sample.value = g->target;
        g->sample.step = 0.0f;
    }
    // Silent lines hold nothing to keep: they start over at their first place, so that
    // the read positions' rounding does not depend on how long they ran before.
    if (wet.value <= 0.0f && wet.step <= 0.0f && dry.value == 1.0f && dry.step == 0.0f) {
        writeIndex = 0;
        outLeft = outRight = 0.0f;
    }
}

void MFLevelDelay::controlTick() {
    const float recip = context.controlBlockRecip;
    leftTime.tick(context.ticksPerMs, recip);
    rightTime.tick(context.ticksPerMs, recip);
    wet.tick(wetTarget, recip, snapBound);
    dry.tick(dryTarget, recip, snapBound);
}

float MFLevelDelay::readLine(const float* line, float position) const {
    const int32_t i = int32_t(position);
    const float f = position - float(i);
    int32_t j = i + 1;
    if (j >= lineLength)
        j -= lineLength;
    return (line[j] - line[i]) * f + line[i];
}

void MFLevelDelay::process(float* left, float* right, int32_t count) {
    if (status != statusIdle || count <= 0)
        return;
    float* const bufL = lineLeft.data();
    float* const bufR = lineRight.data();
    if (wet.value <= 0.0f && wet.step <= 0.0f && dry.value == 1.0f && dry.step == 0.0f) {
        // Silent lines, so a zone that opens later starts without old echoes. Once a whole
        // line is zero, only the write position moves on.
        inputFade = 0.0f;
        if (silentRun < lineLength) {
            for (int32_t k = 0; k < count; ++k) {
                bufL[writeIndex] = 0.0f;
                bufR[writeIndex] = 0.0f;
                if (++writeIndex >= lineLength)
                    writeIndex = 0;
            }
            silentRun += count;
        } else {
            writeIndex = (writeIndex + count) % lineLength;
        }
        return;
    }
    silentRun = 0;
    mfdsp::sanitizeInput(left, right, count);
    const float self = selfFeed;
    const float cross = crossFeed;
    const float length = float(lineLength);
    for (int32_t k = 0; k < count; ++k) {
        const float timeL = leftTime.sample.next();
        const float w = wet.next();
        const float d = dry.next();
        const float timeR = rightTime.sample.next();
        const float l = left[k];
        const float r = right[k];
        // Deliberately faded in over a tick after silence, so a first echo has no edge.
        const float fade = inputFade;
        inputFade = std::min(1.0f, fade + fadeStep);

        bufR[writeIndex] =
            saturate(r * fade + self * outRight + cross * outLeft) + mfdsp::denormalGuard;
        // A glide after a tempo rise can still ask for more than the shorter line.
        float position = float(writeIndex) - timeR;
        while (position <= -1.0f)
            position += length;
        outRight = readLine(bufR, position < 0.0f ? 0.0f : position);

        bufL[writeIndex] =
            saturate(l * fade + self * outLeft + cross * outRight) + mfdsp::denormalGuard;
        position = float(writeIndex) - timeL;
        while (position <= -1.0f)
            position += length;
        outLeft = readLine(bufL, position < 0.0f ? 0.0f : position);

        if (++writeIndex >= lineLength)
            writeIndex = 0;
        left[k] = outLeft * w + d * l;
        right[k] = outRight * w + d * r;
    }
}

void MFLevelDelay::getParameterDisplay(int32_t, float, char* text) {
    std::strcpy(text, "todo");
}
