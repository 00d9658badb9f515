#pragma once

#include "platform/MFRelaxed.h"
#include "vst/VstAbi.h"

#include <cstdint>

class MFAlignedArray;

// The sequencer's own view of the host's position: read once per block from the
// host's time information and advanced per sample by the block driver.
class MFTransport {
public:
    // What one block's time information amounts to.
    struct BlockTiming {
        double increment = 0.0; // quarter notes per sample
        bool hasLoopPoint = false;
        double loopPoint = 0.0;  // where the host's cycle ends inside this block
        double cycleStart = 0.0; // where it jumps back to
        bool restart = false;    // playback starts or the position jumps at the block's start
    };

    // Evaluates the time information for a block of n samples. Null info leaves
    // tempo and position alone and gives no movement.
    BlockTiming beginBlock(const vst::VstTimeInfo* info, int32_t n, float samplesPerBeat);

    // One sample's movement: advance, and jump back at the host's loop end; true when it
    // jumped. The sum is carried in double precision between samples; a float alone would
    // lose up to half an ulp per sample (worse under truncating rounding) and drift by
    // whole milliseconds within a large block late in a song.
    bool advance(const BlockTiming& t) {
        exactPosition += t.increment;
        const bool jumped = t.hasLoopPoint && exactPosition >= t.loopPoint;
        if (jumped)
            exactPosition = t.cycleStart;
        ppqPosition = float(exactPosition);
        return jumped;
    }
    // advance over up to count samples, stopping after the sample that jumped; returns how
    // many samples moved. The sum is the same, sample by sample, as count calls of advance.
    int32_t advanceRun(const BlockTiming& t, int32_t count, bool& jumped) {
        double position = exactPosition;
        int32_t k = 0;
        jumped = false;
        while (k < count) {
            position += t.increment;
            ++k;
            if (t.hasLoopPoint && position >= t.loopPoint) {
                position = t.cycleStart;
                jumped = true;
                break;
            }
        }
        exactPosition = position;
        ppqPosition = float(position);
        return k;
    }
    // Moves the position, as a jump or a reset does.
    void setPosition(double ppq) {
        exactPosition = ppq;
        ppqPosition = float(ppq);
    }

    // Recomputes the factor every lane's gate carries; called by every writer of
    // runningFlag, bypassOn, noteHeld or positionMode.
    void refreshTransportGate();

    // Parameter setters, called with raw values from any thread.
    // "Tempo": picks the step length from stepsPerBeatTable.
    void setStepLength(float v, float samplesPerBeat);
    // A new tempo keeps the step's musical length and recomputes its length in samples.
    void recomputeStepLength(float samplesPerBeat);
    // "Swing": the odd-step delay, half a step at 1.
    void setSwing(float v);
    // "rstMidi": 0 plays from the host's position, 1 from the time since the note began.
    void setPositionMode(float v);
    // "Bypass": the sequencer's master on.
    void setBypass(float v);
    // "retrigger": restart the gates on every arrival at the loop start.
    void setRetrigger(float v);
    // 1.0 while a MIDI note is held, else 0.0.
    void setNoteHeld(float held);

    // Where the swing ring lives; the owner sizes it and its length is read at every tick.
    void setSwingRing(MFAlignedArray* ring) { swingRing = ring; }

    // The tick's step computation: the loop range of the loop lane's first zone in, the
    // swung currentStep and the transport gate out. Audio thread only; no allocation.
    void computeStep(float loopStart, float loopEnd, float ticksPerMs);

    // Playback starts or jumps: the step history (swing, arrival at the loop start) starts
    // over, so what follows does not depend on what the transport did before.
    void restart();

    static constexpr double jumpDistance = 0.5;
    static constexpr double overshootTolerance = 0.15;
    // A millionth of a step: far below a sample at any tempo, far above the rounding
    // of the summed position.
    static constexpr double stepGuard = 1e-6;
    static constexpr double minimumHostTempo = 45.0;
    static constexpr int32_t stepLengthCount = 6;
    static constexpr float stepsPerBeatTable[stepLengthCount] = {
        1.0f, 1.3333f /* bits 0x3FAAA993 */, 2.0f, 3.0f, 4.0f, 8.0f};
    static constexpr float samplesPerTick = 64.0f;
    // The two values of wrapToggle: a change of either is a change of every lane's gate.
    static constexpr float wrapLow = 0.9988f;    // bits 0x3F7FB15B
    static constexpr float wrapHigh = 0.999999f; // bits 0x3F7FFFEF
    // The restart flag stays up for one millisecond after the last note ends.
    static constexpr float releaseHoldLength = 1.0f;

    float ppqPosition = 0.0f; // what the sequencer reads
    double exactPosition = 0.0;
    MFRelaxed<float> runningFlag = 0.0f;
    double hostTempo = 120.0;    // at least 45
    double hostTempoRaw = 120.0; // as the host sent it
    bool tempoKnown = false;

    // Step length: written by the parameter setters, read by the tick.
    MFRelaxed<float> stepsPerBeat = 4.0f;
    MFRelaxed<float> samplesPerStep = 22050.0f / 4.0f;
    MFRelaxed<float> stepsPerTick = 64.0f / (22050.0f / 4.0f);

    // Note position.
    MFRelaxed<float> noteHeld = 0.0f;
    MFRelaxed<float> noteReleased = 1.0f;
    MFRelaxed<float> noteStepIncrement = 0.0f;
    float noteReleasedLast = 1.0f;
    float noteCounter = 0.0f;
    float releaseHold = -1.0f; // no release yet: the hold has run out
    float releaseHoldStep = 0.0f;
    float restartGate = 0.0f;
    float restartGateLast = 0.0f;

    // Loop range of this tick; the editor reads them.
    MFRelaxed<float> loopStart = 0.0f;
    MFRelaxed<float> loopEnd = 31.0f;
    MFRelaxed<float> loopEndPlusOne = 32.0f;
    MFRelaxed<float> loopLength = 32.0f;

    float hostStep = 0.0f;
    float noteStep = 0.0f;
    float rawStep = 0.0f;

    // Swing.
    MFAlignedArray* swingRing = nullptr;
    int32_t swingWrite = 0;
    int32_t swingHistory = 0; // ring entries written since the last restart
    MFRelaxed<float> swingAmount = 0.0f;
    MFRelaxed<float> swingTicks = 0.0f;

    // The step every lane and table reads this tick (truncated at use).
    MFRelaxed<float> currentStep = 0.0f;
    float lastStep = 0.0f;
    float stepBefore = 0.0f;

    // Gate factors.
    MFRelaxed<float> retrigger = 1.0f;
    float wrapLatch = 0.0f;
    MFRelaxed<float> bypassOn = 1.0f;
    MFRelaxed<int32_t> positionMode = 0;
    MFRelaxed<float> wrapToggle = wrapLow;
    MFRelaxed<float> runSource = 0.0f;
    MFRelaxed<float> transportBase = 0.0f;
    MFRelaxed<float> transportGate = 0.0f;
};
