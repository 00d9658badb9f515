#include "effects/MFChorusVeld2.h"

#include "effects/MFSineTable.h"

#include <cstdio>

namespace {
// Modulation periods in beats, longest first.
constexpr float rateBeats[MFChorusVeld2::rateCount] = {
    16.0f,     12.0f,  8.0f,     6.0f,      4.0f,    3.0f,      2.666664f,  2.0f,     1.5f,
    1.333333f, 1.0f,   0.75f,    0.666667f, 0.5f,    0.375f,    0.333333f,  0.25f,    0.1875f,
    0.166667f, 0.125f, 0.09375f, 0.083333f, 0.0625f, 0.046875f, 0.0416667f, 0.03125f, 0.0208333f};
constexpr float filterCoefficient = 0.03f;
constexpr float slowSnap = 1e-10f;
constexpr float fastSnap = 1e-8f;
constexpr float lineSeconds44k = 2200.0f;
} // namespace

MFChorusVeld2::MFChorusVeld2(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(id, ctx, parameterCount, divisionSet), channels{Channel(&ctx.bufferRegistry),
                                                               Channel(&ctx.bufferRegistry)} {
    setName("Chorus");
    setParameterName(0, "rate");
    setParameterName(1, "depth");
    setParameterName(2, "feed");
    setParameterName(3, "width");
    setParameterDefault(0, 0.2899f);
    setParameterDefault(1, 0.0499f);
    setParameterDefault(2, 0.0f);
    setParameterDefault(3, 0.07f);
    updateBuffers(false);
    for (Channel& c : channels) {
        c.lineA.clear();
        c.lineB.clear();
    }
    listenToTempo(this);
    applyDefaults();
}

MFChorusVeld2::~MFChorusVeld2() {
    stopListeningToTempo(this);
}

void MFChorusVeld2::setParameter(int32_t index, float value) {
    if (!validIndex(index))
        return;
    parameters[index] = value;
    switch (index) {
    case 0: {
        int row = int(value * 26.0f + 0.5f);
        row = row < 0 ? 0 : (row >= rateCount ? rateCount - 1 : row);
        lfoRate = context.sampleRate / (rateBeats[row] * context.samplesPerBeat);
        break;
    }
    case 1:
        depthTarget = value * value * 512.0f * rateScale + 32.0f;
        break;
    case 2:
        feedbackTarget = value * 0.8f;
        break;
    case 3:
        widthTarget = value;
        break;
    default:
        break;
    }
}

void MFChorusVeld2::setMix(float value) {
    mix = value;
    // Never entirely wet: some dry always passes.
    mixTarget = value * mixCap;
}

void MFChorusVeld2::getParameterDisplay(int32_t index, float, char* text) {
    (void)index;
    std::snprintf(text, 64, "todo");
}

void MFChorusVeld2::updateBuffers(bool) {
    status = statusResizing;
    rateScale = context.sampleRate * 2.2675737e-05f;
    lineLength = int32_t(context.rateRatio * lineSeconds44k);
    for (Channel& c : channels) {
        // One guard sample past the end for the interpolating read.
        c.lineA.setSize(uint32_t(lineLength + 1));
        c.lineB.setSize(uint32_t(lineLength + 1));
    }
    if (writeIndex >= lineLength)
        writeIndex = 0;
    status = statusIdle;
}

void MFChorusVeld2::bpmChanged() {
    updateBuffers(true);
    setParameter(0, parameters[0]);
}

void MFChorusVeld2::restart() {
    // The sweep starts at its origin on a clock that ticks at the next sample, and the
    // knobs' glides stand on their targets.
    phase = 0.0f;
    tickCounter = 64;
    depthNow = depthLatch = depthTarget;
    widthNow = widthLatch = widthTarget;
    depthTicks = widthTicks = 0;
    depthGlide = widthGlide = 0.0f;
    widthOffset = widthNow * 16.0f;
    // Asleep, the lines are cleared at waking: their place can start over too.
    if (mixCurrent == 0.0f)
        writeIndex = 0;
}

bool MFChorusVeld2::glide(float target, float& now, float& latch, float& step, int32_t& ticks) {
    if (target != latch) {
        latch = target;
        ticks = int32_t(context.ticksPerMs * glideMs);
        if (ticks < 1)
            ticks = 1;
        step = (0.0f - (latch - now)) / float(ticks);
    }
    if (now == latch)
        return false;
    now -= step;
    if (--ticks <= 0)
        now = latch;
    return true;
}

void MFChorusVeld2::tick() {
    tickCounter = 0;
    const float target = mixTarget;
    mfdsp::aimRamp(mixCurrent, mixStep, target, context.controlBlockRecip, -slowSnap, slowSnap);

    glide(depthTarget, depthNow, depthLatch, depthGlide, depthTicks);

    phase += context.tickTime * lfoRate;
    while (phase > 1.0f)
        phase -= 1.0f;
    lfoValue = MFSineTable::instance().read(phase);

    const float recip = context.controlBlockRecip;
    const float a = (2.0f + lfoValue) * depthNow;
    channels[0].timeA.tick(a, recip, fastSnap);
    channels[0].timeB.tick(a + depthNow, recip, fastSnap);
    feedbackRamp.tick(feedbackTarget, recip, fastSnap);

    if (glide(widthTarget, widthNow, widthLatch, widthGlide, widthTicks))
        widthOffset = widthNow * 16.0f;

    const float rightLfo = lfoValue + (-lfoValue - lfoValue) * widthNow;
    const float b = (rightLfo + 2.0f) * depthNow;
    // Only the first line takes the width offset.
    channels[1].timeA.tick(widthOffset + b, recip, slowSnap);
    channels[1].timeB.tick(depthNow + b, recip, slowSnap);
}

void MFChorusVeld2::Channel::clearState() {
    high = band = low = 0.0f;
    timeA.value = timeA.step = 0.0f;
    timeB.value = timeB.step = 0.0f;
    lastA = lastB = 0.0f;
}

namespace {
// Linear read `time` samples behind the write position, wrapping round the line.
inline float readBehind(const float* line, int32_t writeIndex, float time, int32_t length) {
    float p = float(writeIndex) - time;
    if (p <= -1.0f)
        p += float(length);
    // A delay longer than the line (extreme depth at a low rate) reads the oldest sample.
    if (p <= -1.0f)
        p = float(writeIndex + 1 >= length ? 0 : writeIndex + 1);
    const int32_t i = int32_t(p);
    const float f = p - float(i);
    const int32_t next = i + 1 >= length ? 0 : i + 1;
    return (line[next] - line[i]) * f + line[i];
}
} // namespace

float MFChorusVeld2::Channel::run(float in, float scale, float feedback, int32_t w,
                                  int32_t length) {
    const float x = in * scale;
    high = x + mfdsp::denormalGuard - low - band;
    band += filterCoefficient * high;
    low += filterCoefficient * band;

    float* a = lineA.data();
    float* b = lineB.data();
    a[w] = high + mfdsp::denormalGuard + feedback * lastA;
    lastA = readBehind(a, w, timeA.value, length);
    b[w] = lastA + mfdsp::denormalGuard + feedback * lastB;
    lastB = readBehind(b, w, timeB.value, length);
    return lastA + lastB;
}

void MFChorusVeld2::process(float* left, float* right, int32_t count) {
    if (mixCurrent == 0.0f) {
        if (mixTarget == 0.0f)
            return;
        // Waking from silence: start clean and tick on the first sample.
        for (Channel& c : channels) {
            c.clearState();
            c.lineA.clear();
            c.lineB.clear();
        }
        tickCounter = 64;
    }
    mfdsp::sanitizeInput(left, right, count);
    const int32_t length = lineLength;
    for (int32_t s = 0; s < count; ++s) {
        if (++tickCounter >= 64)
            tick();
        mixCurrent += mixStep;
        const float dryL = left[s];
        const float dryR = right[s];
        for (Channel& c : channels) {
            c.timeA.next();
            c.timeB.next();
        }
        const float fb = feedbackRamp.next();
        const float m = mixCurrent;
        const float wetL = channels[0].run(dryL, m, fb, writeIndex, length);
        const float wetR = channels[1].run(dryR, m, fb, writeIndex, length);
        left[s] = dryL + (wetL - dryL) * m;
        right[s] = dryR + (wetR - dryR) * m;
        if (++writeIndex >= length)
            writeIndex = 0;
    }
}
