#include "engine/MFTransport.h"

#include <algorithm>
#include <cmath>

using namespace vst;

MFTransport::BlockTiming MFTransport::beginBlock(const VstTimeInfo* info, int32_t n,
                                                 float samplesPerBeat) {
    BlockTiming t;
    if (!info)
        return t;

    hostTempoRaw = info->tempo;
    hostTempo = std::max(info->tempo, minimumHostTempo);
    tempoKnown = true;

    const double p = info->ppqPos;
    const bool playing = (info->flags & kVstTransportPlaying) != 0 && p >= 0.0;
    if (!playing) {
        setPosition(0.0);
        if (runningFlag != 0.0f) {
            runningFlag = 0.0f;
            refreshTransportGate();
        }
        return t;
    }

    const int32_t cycleBits = kVstTransportCycleActive | kVstCyclePosValid;
    const bool cycle = (info->flags & cycleBits) == cycleBits;
    // A host that has just jumped late past its loop end; its position is not corrected.
    const bool overshoot =
        cycle && p > info->cycleEndPos && p - info->cycleEndPos < overshootTolerance;

    if (std::fabs(exactPosition - p) > jumpDistance && !overshoot)
        setPosition(p);

    if (n > 0) {
        t.increment = (double(n) / double(samplesPerBeat)) / double(n);
        const double end = p + double(n) * t.increment;
        if (cycle && end >= info->cycleEndPos && !overshoot) {
            if (p < info->cycleEndPos) {
                t.hasLoopPoint = true;
                t.loopPoint = info->cycleEndPos;
                t.cycleStart = info->cycleStartPos;
            }
            t.increment = (end - exactPosition) / double(n);
        } else if (!overshoot) {
            // A small error is chased down and gone at the block's end.
            t.increment = (end - exactPosition) / double(n);
        }
    }

    if (runningFlag == 0.0f) {
        runningFlag = 1.0f;
        refreshTransportGate();
    }
    return t;
}

void MFTransport::refreshTransportGate() {
    runSource = positionMode == 0 ? runningFlag : noteHeld;
    transportBase = runSource * bypassOn;
    transportGate = transportBase * wrapToggle;
}
