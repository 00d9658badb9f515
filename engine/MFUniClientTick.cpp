// The sequencer's work at each 64-sample tick, and the per-lane state the fan-out feeds:
// position and step, lane gates and envelopes, the Stutter and the Filter's extra
// sources, and the step tables. Runs on the audio thread; nothing here allocates.

#include "engine/MFUniClient.h"

#include <algorithm>

namespace {
// The gate parameter of the stages that have one; -1 where the lane only sets the mix.
constexpr int32_t gateIndex[mflane::count] = {4, 4, 5, 3, 3, 3, -1, -1, -1, -1, -1, -1, -1, -1};
constexpr int32_t tapeStopGateIndex = 2;
constexpr int32_t tonalLevelIndex = 4;
constexpr int32_t delayDryIndex = 4;
constexpr int32_t reverbDryIndex = 5;
constexpr int32_t delayDryTag = 65;
constexpr int32_t reverbDryTag = 71;
constexpr int32_t filterCutoffTag = 44;
} // namespace

// --- per-lane state, fed by setParameter -----------------------------------------------

void MFUniClient::setLaneBypass(int32_t lane, float on) {
    gates[lane].bypassOn = on;
}

void MFUniClient::setLaneMix(int32_t lane, float mix) {
    gates[lane].userMix = mix;
}

void MFUniClient::setLaneEnvelopeTime(int32_t lane, bool attack, float ms) {
    if (attack)
        gates[lane].attackMs = ms;
    else
        gates[lane].releaseMs = ms;
}

void MFUniClient::setLaneSmoothing(int32_t tag, float v) {
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        if (mflane::tags[lane].smoothA == tag)
            modulator(lane).setSmooth(0, v);
        else if (mflane::tags[lane].smoothB == tag)
            modulator(lane).setSmooth(1, v);
    }
}

void MFUniClient::setTableSwitch(int32_t lane, float v) {
    modulator(lane).setTableSwitch(v);
}

void MFUniClient::setTableRecord(int32_t lane, float v) {
    modulator(lane).setRecord(v);
}

void MFUniClient::setTableList(int32_t lane, int32_t table, float v) {
    modulator(lane).setList(table, v);
}

void MFUniClient::refreshRecordState(int32_t lane) {
    modulator(lane).refreshRecordState();
}

void MFUniClient::setStutterTempo(float v) {
    stutter.setTempo(v);
}

void MFUniClient::setStutterAttack(float v) {
    stutter.setAttack(v);
}

void MFUniClient::setStutterDecay(float v) {
    stutter.setDecay(v);
}

void MFUniClient::setFilterAttack(float v) {
    filterEnvelope.attackMs = 500.0f * v * v;
    follower.setRise(v, context.sampleRate);
}

void MFUniClient::setFilterDecay(float v) {
    filterEnvelope.decayMs = 1000.0f * v * v;
    follower.setFall(v, context.samplesPerBeat, context.samplesPerMs);
}

void MFUniClient::setSwing(float v) {
    transport.setSwing(v);
}

void MFUniClient::setStepLength(float v) {
    transport.setStepLength(v, context.samplesPerBeat);
    transport.setSwing(registry.unitValue(116));
}

void MFUniClient::setPositionMode(float v) {
    transport.setPositionMode(v);
}

void MFUniClient::setSequencerOn(float v) {
    transport.setBypass(v);
}

void MFUniClient::setRetrigger(float v) {
    transport.setRetrigger(v);
}

// --- the tick ----------------------------------------------------------------------------

void MFUniClient::runTick(int32_t i) {
    if (pendingCount > 0)
        flush(pendingCount, i);
    context.controlBlockCounter = 0;
    const bool restarting = restartPending;
    if (restarting)
        restartRunningState();
    // Counted in ticks, not host blocks, so that the host's slicing cannot move it.
    noiseIndex = (noiseIndex + 1) % noiseTableSize;

    midi.tick();

    if (transport.tempoKnown && transport.hostTempo != context.tempo)
        applyTempoChange();
    // Room that a tempo change asked for and the grower has since made: take it up.
    context.takeGrownBuffers();

    MFFloatZoneHandler* range = masterLane.currentHandler();
    transport.computeStep(range->startTable[0], range->endTable[0], context.ticksPerMs);

    // The tables of a restart tick come first, so that the lanes already play the values
    // of the position they start at.
    if (restarting)
        tickTables();

    masterTarget = masterLevel;
    if (masterTarget != masterGain) {
        masterStep = (masterTarget - masterGain) * context.controlBlockRecip;
        masterRampLeft = tickPeriod;
    }

    runLanes();

    wetGain = wetTarget;
    dryGain = dryTarget;

    tickTables();
}

void MFUniClient::tickTables() {
    const float step = transport.currentStep;
    for (int32_t lane : mflane::tableOrder)
        modulator(lane).tick(step, context.ticksPerMs);
}

void MFUniClient::applyTempoChange() {
    context.setTempo(transport.hostTempoRaw);
    // These three hold values in samples.
    setParameter(499, registry.rawValue(499));
    setParameter(36, registry.rawValue(36));
    setParameter(48, registry.rawValue(48));
    context.notifyTempoListeners();
}

void MFUniClient::closeShutGates() {
    // Every effect was just opened; one whose lane is shut must hear it close, since the
    // lane's next 0 is no change to the gate it stored and would never reach it.
    MFEffect* const* effects = chain.all();
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        if (gateIndex[lane] < 0 || gates[lane].getGateOut() != 0.0f)
            continue;
        if (lane == mflane::vinyl) {
            chain.vinyl.gateOff();
            chain.tapeStop.gateOff();
        } else {
            effects[lane]->gateOff();
        }
    }
}

namespace {
// The zone a lane's step value names (zone index + 1, 0 for none), or no zone when
// the gate is shut.
int32_t soundingZone(float stepValue, float gate) {
    using Lane = MFZoneHandlerContainer<MFFloatZoneHandler>;
    return gate > 0.0f && stepValue > 0.0f ? int32_t(stepValue) - 1 : Lane::noMark;
}
} // namespace

void MFUniClient::runLanes() {
    const int32_t step = int32_t(transport.currentStep);
    const float gateFactor = transport.transportGate;
    const float ticksPerMs = context.ticksPerMs;
    MFEffect* const* effects = chain.all();

    // The strip's zone under the position is lit while the sequence runs.
    masterLane.markZone(soundingZone(masterLane.currentHandler()->stepValue(step), gateFactor));

    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        MFLaneGate& g = gates[lane];
        const float stepValue = lanes[lane].zones.currentHandler()->stepValue(step);
        g.tick(stepValue, gateFactor, ticksPerMs);
        // Lit while its gate is open: a bypassed lane or a stopped sequence lights nothing.
        lanes[lane].zones.markZone(soundingZone(stepValue, g.getGateValue()));

        switch (lane) {
        case mflane::vinyl: {
            const float which = vinylSwitch;
            if (which == 0.0f) {
                chain.vinyl.setParameter(gateIndex[lane], g.getGateOut());
                chain.vinyl.setMix(g.getWetOut());
                chain.vinyl.controlTick();
            } else if (which == 1.0f) {
                chain.tapeStop.setParameter(tapeStopGateIndex, g.getGateOut());
                chain.tapeStop.setMix(g.getWetOut());
                chain.tapeStop.controlTick();
            }
            break;
        }
        case mflane::tonalDelay:
            chain.tonalDelay.setMix(g.getWetOut());
            chain.tonalDelay.setParameter(tonalLevelIndex,
                                          MFLaneGate::levelLine(g.getEnvLevel(), tonalLevel));
            chain.tonalDelay.controlTick();
            break;
        case mflane::stutter:
            stutter.tick(g.getGateValue(), g.getWetOut(), g.getEnvLevel(), eventTables[0],
                         eventTables[1], transport.runSource == 0.0f, chain.stutter);
            break;
        case mflane::crush:
            chain.crush.setMix(g.getWetOut());
            chain.crush.controlTick();
            break;
        case mflane::filter: {
            filterEnvelope.tick(g.getGateOut(), ticksPerMs, transport.runSource == 0.0f);
            const float source = filterEnvMode ? follower.valueAtTick() : filterEnvelope.level();
            const float v =
                std::clamp(source * filterPeak + registry.unitValue(filterCutoffTag), 0.0f, 1.0f);
            chain.filter.setParameter(0, v);
            chain.filter.setMix(g.getWetOut());
            chain.filter.controlTick();
            break;
        }
        case mflane::phaser:
            chain.phaser.setMix(g.getWetOut());
            chain.phaser.controlTick();
            break;
        case mflane::chorus:
            // The chorus glides on its own clock and takes no tick from the lane.
            chain.chorus.setMix(g.getWetOut());
            break;
        case mflane::delay:
            chain.delay.setParameter(
                delayDryIndex,
                MFLaneGate::levelLine(g.getEnvLevel(), registry.unitValue(delayDryTag)));
            chain.delay.setMix(g.getWetOut());
            chain.delay.controlTick();
            break;
        case mflane::reverb:
            chain.reverb.setParameter(
                reverbDryIndex,
                MFLaneGate::levelLine(g.getEnvLevel(), registry.unitValue(reverbDryTag)));
            chain.reverb.setMix(g.getWetOut());
            chain.reverb.controlTick();
            break;
        default: {
            MFEffect* effect = effects[lane]; // stages 1 to 5 lead the chain
            effect->setParameter(gateIndex[lane], g.getGateOut());
            effect->setMix(g.getWetOut());
            effect->controlTick();
            break;
        }
        }
    }
}
