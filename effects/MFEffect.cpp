#include "effects/MFEffect.h"

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFOptionMenuInterface.h"
#include "platform/MFText.h"

#include <cmath>
#include <cstdio>
#include <cstring>

MFEffect::MFEffect(int32_t id, MFSystemInfo& ctx, int count, const MFDivisionSet* divisionSet)
    : parameters(new MFRelaxed<float>[count > 0 ? count : 1]),
      parameterNames(new char[count > 0 ? count : 1][parameterNameLength]),
      parameterDefaults(new float[count > 0 ? count : 1]), effectId(id), parameterCount(count),
      context(ctx), registry(&ctx.bufferRegistry),
      divisions(divisionSet ? divisionSet : &MFDivisionSet::noteValues()) {
    setName("MFEffect unspecified");
    for (int i = 0; i < (count > 0 ? count : 1); ++i) {
        parameters[i] = 0.0f;
        parameterDefaults[i] = 0.5f;
        std::strcpy(parameterNames[i], "no name set");
    }
}

MFEffect::~MFEffect() = default;

void MFEffect::processSample(float&, float&) {}
void MFEffect::process(float*, float*, int32_t) {}

void MFEffect::setParameter(int32_t index, float value) {
    if (validIndex(index))
        parameters[index] = value;
}

void MFEffect::setOption(int32_t, int32_t) {}
int32_t MFEffect::getOption(int32_t) {
    return 0;
}

void MFEffect::getParameterName(int32_t index, char* text) {
    if (!validIndex(index)) {
        std::strcpy(text, "unused");
        return;
    }
    std::strcpy(text, parameterNames[index]);
}

void MFEffect::reset() {}
void MFEffect::controlTick() {}
void MFEffect::updateBuffers(bool) {}
int32_t MFEffect::gateOn() {
    return 1;
}
void MFEffect::gateOff() {}
void MFEffect::restart() {}
int32_t MFEffect::isEnabled() {
    return 0;
}

void MFEffect::setMix(float value) {
    mix = value;
    wetGain = std::sqrt(value);
    dryGain = std::sqrt(1.0f - value);
}

float MFEffect::getParameterDefault(int32_t index) {
    return validIndex(index) ? parameterDefaults[index] : 0.0f;
}

int32_t MFEffect::canChange() {
    return 1;
}
void MFEffect::setRegistry(MFBufferRegistry* r) {
    registry = r;
}

void MFEffect::getParameterDisplay(int32_t, float value, char* text) {
    std::snprintf(text, 64, "%f", double(value));
}

bool MFEffect::isBipolar(int32_t) {
    return false;
}

void MFEffect::setDivisionSet(int32_t index) {
    divisionSetIndex = index;
    for (int32_t i = 0; i < parameterCount; ++i)
        setParameter(i, parameters[i]);
}

void MFEffect::fillOptions(int32_t, MFOptionMenuInterface&) {}
float MFEffect::getParameterSteps(int32_t) {
    return 0.0f;
}

float MFEffect::getParameterValue(int32_t index) const {
    return validIndex(index) ? float(parameters[index]) : 0.0f;
}

void MFEffect::setName(const char* text) {
    mfCopyText(name, nameLength, text);
}

void MFEffect::setParameterName(int32_t index, const char* text) {
    if (!validIndex(index))
        return;
    mfCopyText(parameterNames[index], parameterNameLength, text);
}

void MFEffect::setParameterDefault(int32_t index, float value) {
    if (validIndex(index))
        parameterDefaults[index] = value;
}

void MFEffect::switchGate(int32_t index, float value) {
    if (!validIndex(index))
        return;
    if (value != parameters[index]) {
        if (value == 0.0f)
            gateOff();
        else
            gateOn();
    }
    parameters[index] = value;
}

void MFEffect::applyDefaults() {
    for (int32_t i = 0; i < parameterCount; ++i)
        setParameter(i, parameterDefaults[i]);
}

void MFEffect::listenToTempo(MFBPMChangeInterface* listener) {
    context.addTempoListener(listener);
}

void MFEffect::stopListeningToTempo(MFBPMChangeInterface* listener) {
    context.removeTempoListener(listener);
}
