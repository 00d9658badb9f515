#pragma once

#include "engine/MFStepTableTargets.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

class MFTableXY;
class MFParameterSink;
struct MFParameterValue;

// The two step tables of one effect, A and B, turned into knob moves: each tick each
// table reads its value at the current step, ramps towards it and hands it to the knob
// its "List" chooses, through the same setParameter door a user's move takes. Both
// tables may point at one knob; the last change wins. With "rec" armed and the knob
// held, the displayed table records the knob instead, once per step.
//
// The setters run on any thread that calls setParameter; tick runs on the audio thread.
// Values the two share are relaxed atomics: a race costs one tick's stale value at worst.
class MFStepTableModulator {
public:
    static constexpr int32_t tableA = 0;
    static constexpr int32_t tableB = 1;
    static constexpr int32_t slotCount = MFStepTableTargets::maximumTargets + 1;
    // A value no step and no slot ever has, so that a first value is always taken.
    static constexpr float neverSeen = -1234.1234f;  // bits 0xC49A43F3
    static constexpr float firstSourceLast = 0.333f; // bits 0x3EAA7EFA
    // readSelect at and above this means the table is being recorded and drives nothing.
    static constexpr float recordingSelect = 2.0f;
    // recordLevel at and above this writes the knob into the table.
    static constexpr float recordingLevel = 3.0f;

    struct Table {
        MFRelaxed<int32_t> destination = 0;
        MFRelaxed<float> smoothMs = 0.0f;
        MFRelaxed<float> readSelect = 0.0f;
        MFRelaxed<float> recordLevel = 0.0f;
        float lastRecordStep = neverSeen;
        float tableValue = 0.0f;
        float sourceLast = firstSourceLast;
        float latched = 0.0f;
        MFRelaxed<float> smoothed = 0.0f;
        float slope = 0.0f;
        float remaining = 0.0f;
        float smoothTarget = 0.0f;
        bool atOnce = false;
        // Slot 0 is the sink for "none"; slot k belongs to row k.
        MFRelaxed<float> slots[slotCount] = {};
    };

    // values is indexed by tag (mfTagCount blocks); the targets' raw and touch are read.
    MFStepTableModulator(MFTableXY& tableA, MFTableXY& tableB, const MFStepTableTargets& targets,
                         MFParameterValue* values, MFParameterSink& sink);
    MFStepTableModulator(const MFStepTableModulator&) = delete;
    MFStepTableModulator& operator=(const MFStepTableModulator&) = delete;

    // "List" / "List_c": the knob table A (0) or B (1) drives; the present smoothed value
    // goes to the new knob at once.
    void setList(int32_t table, float v);
    // "...SmoothA" / "...SmoothB": ramp time, 1000 * v milliseconds.
    void setSmooth(int32_t table, float v);
    // "Switch_c": which table is on display, and so which one "rec" records into.
    void setTableSwitch(float v);
    // "rec": recording into the displayed table armed.
    void setRecord(float v);
    // Re-reads the touch flags of both destinations; called after any target changes.
    void refreshRecordState();
    // Pattern change: both tables read and record the row of that pattern.
    void setRow(float pattern);

    // Once per tick on the audio thread, table A then B. No allocation, no lock.
    void tick(float currentStep, float ticksPerMs);
    // Playback starts or jumps: the next tick takes each table's value at once, unsmoothed.
    void restart() {
        tables[0].atOnce = true;
        tables[1].atOnce = true;
    }

    const Table& table(int32_t which) const { return tables[which == tableB ? 1 : 0]; }
    float getTableSwitch() const { return tableSwitch; }
    float getRecordOn() const { return recordOn; }
    float getIsTableA() const { return isTableA; }
    const MFStepTableTargets& getTargets() const { return targets; }

private:
    void tickTable(int32_t which, int32_t step, float ticksPerMs);
    void merge();
    // The target tag of a destination row, or -1 for none.
    int32_t tagOf(int32_t destination) const;
    void refreshTable(int32_t which, float select);

    MFTableXY* tableXY[2];
    const MFStepTableTargets targets; // a copy: the caller's may be short-lived
    MFParameterValue* values;
    MFParameterSink& sink;
    Table tables[2];

    MFRelaxed<float> tableSwitch = 0.0f;
    MFRelaxed<float> recordOn = 0.0f;
    MFRelaxed<float> isTableA = 1.0f;

    // The merge, per row (index 0 unused).
    MFRelaxed<float> slotValueA[slotCount];
    MFRelaxed<float> slotValueB[slotCount];
    MFRelaxed<float> latchedValue[slotCount] = {};
    MFRelaxed<float> sentValue[slotCount] = {};
};
