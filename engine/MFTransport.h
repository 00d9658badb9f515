#pragma once

#include "vst/VstAbi.h"

#include <cstdint>

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
    };

    // Evaluates the time information for a block of n samples. Null info leaves
    // tempo and position alone and gives no movement.
    BlockTiming beginBlock(const vst::VstTimeInfo* info, int32_t n, float samplesPerBeat);

    // One sample's movement: advance, and jump back at the host's loop end. The sum is
    // carried in double precision between samples; a float alone would lose up to half
    // an ulp per sample (worse under truncating rounding) and drift by whole
    // milliseconds within a large block late in a song.
    void advance(const BlockTiming& t) {
        exactPosition += t.increment;
        if (t.hasLoopPoint && exactPosition >= t.loopPoint)
            exactPosition = t.cycleStart;
        ppqPosition = float(exactPosition);
    }
    // Moves the position, as a jump or a reset does.
    void setPosition(double ppq) {
        exactPosition = ppq;
        ppqPosition = float(ppq);
    }

    // Recomputes the factor every lane's gate carries; called by every writer of
    // runningFlag, bypassOn, noteHeld or positionMode.
    void refreshTransportGate();

    static constexpr double jumpDistance = 0.5;
    static constexpr double overshootTolerance = 0.15;
    static constexpr double minimumHostTempo = 45.0;

    float ppqPosition = 0.0f; // what the sequencer reads
    double exactPosition = 0.0;
    float runningFlag = 0.0f;
    double hostTempo = 120.0;    // at least 45
    double hostTempoRaw = 120.0; // as the host sent it
    bool tempoKnown = false;

    float noteHeld = 0.0f;
    float bypassOn = 1.0f;
    int32_t positionMode = 0;
    float wrapToggle = 0.9988f;
    float runSource = 0.0f;
    float transportBase = 0.0f;
    float transportGate = 0.0f;
};
