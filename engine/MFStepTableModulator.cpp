#include "engine/MFStepTableModulator.h"

#include "engine/MFParameterSink.h"
#include "engine/MFParameterValue.h"
#include "pattern/MFTableXY.h"

#include <algorithm>
#include <cmath>

MFStepTableModulator::MFStepTableModulator(MFTableXY& a, MFTableXY& b,
                                           const MFStepTableTargets& targets_,
                                           MFParameterValue* values_, MFParameterSink& sink_)
    : tableXY{&a, &b}, targets(targets_), values(values_), sink(sink_) {
    for (int32_t k = 0; k < slotCount; ++k) {
        slotValueA[k] = neverSeen;
        slotValueB[k] = neverSeen;
    }
}

int32_t MFStepTableModulator::tagOf(int32_t destination) const {
    if (destination < 1 || destination > targets.targetCount ||
        destination > MFStepTableTargets::maximumTargets)
        return -1;
    const int32_t tag = targets.targetTags[static_cast<size_t>(destination - 1)];
    return tag >= 0 && tag < mfTagCount ? tag : -1;
}

void MFStepTableModulator::setList(int32_t which, float v) {
    Table& t = tables[which == tableB ? 1 : 0];
    const float c = static_cast<float>(targets.factor);
    float x = std::min(v * c, c - 1.0f);
    if (!(x > 0.0f))
        x = 0.0f;
    // slotCount - 1 is the last slot there is, whatever a factor claims.
    const int32_t d = std::min(static_cast<int32_t>(x), slotCount - 1);
    t.destination = d;
    t.slots[d] = static_cast<float>(t.smoothed);
    merge();
    refreshRecordState();
}

void MFStepTableModulator::setSmooth(int32_t which, float v) {
    tables[which == tableB ? 1 : 0].smoothMs = 1000.0f * v;
}

void MFStepTableModulator::setTableSwitch(float v) {
    // A three-state block: raw 0 shows A. Its integer form picks the table.
    const float mapped = std::min(1.0f, 2.0f * v + 0.001f);
    const float chosen = mapped >= 1.0f ? 1.0f : 0.0f;
    tableSwitch = chosen;
    isTableA = chosen == 0.0f ? 1.0f : 0.0f;
    refreshRecordState();
}

void MFStepTableModulator::setRecord(float v) {
    float on = std::min(1.0f, 2.0f * v);
    if (!(on > 0.0f))
        on = 0.0f;
    recordOn = on;
    refreshRecordState();
}

void MFStepTableModulator::refreshTable(int32_t which, float select) {
    Table& t = tables[which];
    const int32_t tag = tagOf(t.destination);
    const float touch = tag >= 0 ? static_cast<float>(values[tag].touch) : 0.0f;
    t.readSelect = select;
    t.recordLevel = select + touch;
}

void MFStepTableModulator::refreshRecordState() {
    const float on = recordOn;
    refreshTable(0, isTableA + on);
    refreshTable(1, tableSwitch + on);
}

void MFStepTableModulator::setRow(float pattern) {
    tableXY[0]->setRow(pattern);
    tableXY[1]->setRow(pattern);
}

void MFStepTableModulator::tick(float currentStep, float ticksPerMs) {
    // Steps are truncated at use; a position outside any table reads as step 0.
    const int32_t step =
        currentStep >= 0.0f && currentStep < 65536.0f ? static_cast<int32_t>(currentStep) : 0;
    tickTable(0, step, ticksPerMs);
    tickTable(1, step, ticksPerMs);
}

void MFStepTableModulator::tickTable(int32_t which, int32_t step, float ticksPerMs) {
    Table& t = tables[which];
    MFTableXY& xy = *tableXY[which];
    const int32_t destination = t.destination;

    // Recording: the held knob goes into the displayed pattern's row, once per new step.
    const bool recording = t.recordLevel >= recordingLevel;
    // The truncated step: a fractional step on a swing crossing is no new step.
    const float recordStep = recording ? static_cast<float>(step) : 0.0f;
    float value = xy.stepValue(step);
    // A damaged table must not send NaN or infinity into a knob.
    if (!std::isfinite(value))
        value = 0.0f;
    t.tableValue = value;
    if (recording) {
        if (recordStep != t.lastRecordStep) {
            t.lastRecordStep = recordStep;
            const int32_t tag = tagOf(destination);
            if (tag >= 0)
                xy.setRawOnRow(step, xy.currentRowIndex(), values[tag].raw);
        }
    } else {
        // Re-arming writes at once, even on the step recording last stopped at.
        t.lastRecordStep = neverSeen;
    }

    // The driving value; a table being recorded holds still and drives nothing.
    const float source = t.readSelect >= recordingSelect ? 0.0f : value;
    float target = t.latched;
    if (source != t.sourceLast) {
        t.sourceLast = source;
        t.latched = value;
        target = value;
    }

    if (t.atOnce) {
        // A ramp under way lands at once as well.
        t.atOnce = false;
        t.remaining = 0.0f;
        ticksPerMs = 0.0f;
    }
    if (target != t.smoothTarget) {
        t.smoothTarget = target;
        const float remaining = t.smoothMs * ticksPerMs;
        if (!(remaining > 0.0f)) {
            t.smoothed = target;
            t.slots[destination] = target;
            if (destination != 0)
                merge();
        } else {
            t.remaining = remaining;
            t.slope = (t.smoothed - target) / remaining;
        }
    }

    // The ramp: a fixed slope, landing exactly on its target at its last tick.
    float smoothed = t.smoothed;
    if (smoothed != t.smoothTarget) {
        smoothed -= t.slope;
        t.remaining -= 1.0f;
        if (t.remaining <= 0.0f) {
            smoothed = t.smoothTarget;
            t.slope = 0.0f;
        }
        t.smoothed = smoothed;
        t.slots[destination] = smoothed;
        // Slot 0 drives no knob: a table set to "none" only keeps its ramp going.
        if (destination != 0)
            merge();
    }
}

void MFStepTableModulator::merge() {
    const int32_t count = std::min(targets.targetCount, MFStepTableTargets::maximumTargets);
    for (int32_t i = 0; i < count; ++i) {
        const int32_t k = targets.mergeOrder[static_cast<size_t>(i)];
        if (k < 1 || k >= slotCount)
            continue;
        const float a = tables[0].slots[k];
        if (a != slotValueA[k]) {
            slotValueA[k] = a;
            latchedValue[k] = a;
        }
        const float b = tables[1].slots[k];
        if (b != slotValueB[k]) {
            slotValueB[k] = b;
            latchedValue[k] = b;
        }
        const float latched = latchedValue[k];
        if (latched != sentValue[k]) {
            sentValue[k] = latched;
            const int32_t tag = tagOf(k);
            if (tag >= 0)
                sink.setParameter(tag, latched);
        }
    }
}
