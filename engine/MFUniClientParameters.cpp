// The host's view of the parameters and the fan-out of setParameter: one switch over
// the tag that stores the raw value, computes the mapped forms and tells the effect.
// Nothing here allocates or waits: it runs on the host's, the editor's and the audio
// thread alike.

#include "engine/MFUniClient.h"
#include "pattern/MFRandom.h"

#include "platform/MFDebugOutput.h"
#include "platform/MFText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace vst;

namespace {
// Hosts pass larger buffers than the ABI's 8 characters, but not all; the longest
// parameter name is 17 characters.
constexpr std::size_t parameterTextCapacity = 24;

float switchForm(float v) {
    return std::min(1.0f, 2.0f * v);
}

const float filterModes[4] = {1.0f, 3.0f, 5.0f, 6.0f};
} // namespace

// --- host interface ------------------------------------------------------------------

float MFUniClient::getParameter(int32_t index) {
    if (index < 0 || index >= hostParameterCount)
        return 0.0f;
    const MFParameterRecord* r = registry.recordByTag[index];
    if (!r)
        return 0.0f;
    if (!r->chunkable)
        return *r->value;
    switch (r->chunkable->type) {
    case MFChunkableClass::mouseAreaType:
        return static_cast<MFMouseAreaChunk*>(r->chunkable)->value();
    case MFChunkableClass::tableType:
        return static_cast<MFTable*>(r->chunkable)->normalisedAt(float(index - r->index));
    default:
        return 0.0f;
    }
}

void MFUniClient::getParameterName(int32_t index, char* text) {
    const MFParameterRecord* r =
        index >= 0 && index < hostParameterCount ? registry.recordByTag[index] : nullptr;
    mfCopyText(text, parameterTextCapacity, r ? r->name : "empty");
}

void MFUniClient::getParameterLabel(int32_t index, char* text) {
    // The host shows the name again where a unit would stand.
    getParameterName(index, text);
}

void MFUniClient::getParameterDisplay(int32_t index, char* text) {
    const MFParameterRecord* r =
        index >= 0 && index < hostParameterCount ? registry.recordByTag[index] : nullptr;
    if (!r) {
        mfCopyText(text, parameterTextCapacity, "empty");
        return;
    }
    std::snprintf(text, parameterTextCapacity, "%f %s", double(getParameter(index)), r->unit);
}

bool MFUniClient::getParameterProperties(int32_t index, VstParameterProperties* p) {
    if (!p)
        return false;
    const MFParameterRecord* r =
        index >= 0 && index < hostParameterCount ? registry.recordByTag[index] : nullptr;
    if (!r) {
        mfCopyText(p->label, sizeof p->label, "empty");
        p->flags = 0;
        return false;
    }
    p->flags = 0;
    mfCopyText(p->label, sizeof p->label, r->name);
    if (r->isSwitch())
        p->flags |= kVstParameterIsSwitch;
    return true;
}

void MFUniClient::mutateParameters() {
    constexpr float randomRange = 32767.0f;
    for (int32_t index = 0; index < hostParameterCount; ++index) {
        const MFParameterRecord* r = registry.recordByTag[index];
        if (!r)
            continue;
        // Every record draws, mutated or not, so one record's amount never shifts the
        // numbers the others get.
        const float draw = std::min(randomRange, std::max(0.0f, MFRandom::next() * randomRange));
        const float random = float(int32_t(draw));
        if (r->mutationAmount == 0.0f)
            continue;
        const float bipolar = random / randomRange - 1.0f + random / randomRange;
        const float v = getParameter(index) + bipolar * r->mutationAmount;
        setParameter(index, std::min(1.0f, std::max(0.0f, v)));
    }
}

void MFUniClient::setTouched(int32_t tag, bool held) {
    if (tag < 0 || tag >= mfTagCount)
        return;
    registry.values[tag].touch = held ? 1.0f : 0.0f;
    const int32_t lane = targetLane[tag];
    if (lane >= 0)
        refreshRecordState(lane);
}

// --- fan-out -------------------------------------------------------------------------

namespace {
// The decay the editor shows for the Loop and the Reverse: milliseconds, 0 for endless.
float decayDisplayMs(float v) {
    return v > 0.99f ? 0.0f : (v + 0.03f) * 1500.0f;
}
} // namespace

void MFUniClient::setParameter(int32_t tag, float v) {
    // A value that is not a number would spread through every effect it reaches; no
    // source has a reason to send one, so it changes nothing.
    if (!std::isfinite(v))
        return;
    if (tag < 0 || tag >= mfTagCount) {
        mfDebugOutput("setParameter: tag out of range");
        return;
    }
    MFParameterValue& block = registry.values[tag];
    block.raw = v;
    block.copy = v;
    // The raw value is kept as sent, but every form is mapped from it held to 0..1: hosts
    // send values outside the range, and no length or index may follow them out of a buffer.
    const float unit = mfUnitValue(v);
    if (tag < hostParameterCount)
        setHostParameter(tag, unit);
    else
        setInternalParameter(tag, unit);
}

void MFUniClient::setHostParameter(int32_t tag, float v) {
    MFParameterValue& block = registry.values[tag];
    MFEffectChain& c = chain;

    // Bypass switches, the mixes and the smoothing times are per-lane families.
    if (tag >= 102 && tag <= 115) {
        block.mapped = switchForm(v);
        setLaneBypass(laneOfBypass(tag), switchForm(v));
        return;
    }
    if (tag >= 73 && tag <= 100) {
        block.mapped = 1000.0f * v;
        setLaneSmoothing(tag, v);
        return;
    }
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        if (mflane::tags[lane].mix == tag) {
            block.mapped = v;
            setLaneMix(lane, v);
            // Every mix is also a step-table target.
            refreshRecordState(lane);
            return;
        }
    }

    switch (tag) {
    case 0:
        block.mapped = float(int32_t(std::clamp(v * 12.0f, 0.0f, 11.0f)));
        patternKey = int32_t(block.mapped);
        selectPattern();
        break;
    case 1:
        masterLevel = 2.0f * v;
        block.mapped = 2.0f * v;
        break;
    case 2:
        block.mapped = 0.6f * v;
        c.xLoop.setParameter(0, 0.6f * v);
        break;
    case 3:
        c.xLoop.setParameter(1, v);
        break;
    case 4:
        c.xLoop.setParameter(2, v);
        break;
    case 5:
        c.xLoop.setParameter(3, v);
        break;
    case 7:
        c.loop.setParameter(0, v);
        break;
    case 8:
        c.loop.setParameter(2, v);
        break;
    case 9:
        c.loop.setParameter(1, v);
        break;
    case 10:
        block.mappedAlt = decayDisplayMs(v);
        c.loop.setParameter(3, v);
        break;
    case 12:
    case 13:
    case 14:
    case 15:
    case 16:
        c.scratchLoop.setParameter(tag - 12, v);
        break;
    case 18:
        block.mapped = float(int32_t(v / 0.001f)) * 0.001f;
        c.reverse.setParameter(0, block.mapped);
        break;
    case 19:
        block.mapped = (v + 0.09f) * 0.9f;
        c.reverse.setParameter(1, block.mapped);
        break;
    case 20:
        block.mappedAlt = decayDisplayMs(v);
        c.reverse.setParameter(2, v);
        break;
    case 22:
        block.mapped = v;
        block.mappedAlt = float(int32_t(v * 8.0f + 0.1f)) * 0.125f;
        sendStretchSpeed();
        break;
    case 23:
        c.stretch.setParameter(1, v);
        break;
    case 24:
        c.stretch.setParameter(2, v);
        break;
    case 26:
        block.mapped = 0.75f * v;
        c.vinyl.setParameter(0, 0.75f * v);
        c.tapeStop.setParameter(0, 0.75f * v);
        break;
    case 27:
        block.mapped = 0.5f * v;
        c.vinyl.setParameter(1, 0.5f * v);
        break;
    case 28:
        c.vinyl.setParameter(2, v);
        c.tapeStop.setParameter(1, v);
        break;
    case 30:
        block.mapped = 0.565f * v + 0.194f;
        c.tonalDelay.setParameter(0, block.mapped);
        break;
    case 31:
        block.mapped = std::pow(0.5f * v + 0.5f, 0.8f);
        c.tonalDelay.setParameter(1, block.mapped);
        break;
    case 32:
        c.tonalDelay.setParameter(2, v);
        break;
    case 33:
        c.tonalDelay.setParameter(3, v);
        break;
    case 34:
        block.mapped = 0.875f * v + 0.125f;
        block.mappedAlt = 20.0f * std::log10(block.mapped + 1e-08f);
        tonalLevel = block.mapped;
        break;
    case 36:
        setStutterTempo(v);
        break;
    case 37:
        block.mapped = 480.0f * v;
        setStutterAttack(v);
        break;
    case 38:
        block.mapped = 456.0f * v + 24.0f;
        setStutterDecay(v);
        break;
    case 40:
        block.mapped = 0.75f * v;
        c.crush.setParameter(0, 0.75f * v);
        break;
    case 41:
        // The editor shows the reduced rate in hertz.
        block.mappedAlt = std::clamp(v, 0.125f, 1.0f) * context.sampleRate;
        c.crush.setParameter(1, v);
        break;
    case 42:
        block.mapped = float(int32_t(v / 1e-05f)) * 1e-05f;
        c.crush.setParameter(2, block.mapped);
        break;
    case 44:
        block.mapped = v;
        // The editor shows the knob's cutoff, before the envelope moves it, in hertz.
        block.mappedAlt = v * v * v * 19965.0f + 45.0f;
        break;
    case 45:
        c.filter.setParameter(1, v);
        break;
    case 46:
        block.mapped = 4.0f * v - 2.0f;
        filterPeak = block.mapped;
        break;
    case 47:
        block.mapped = 500.0f * v * v;
        setFilterAttack(v);
        break;
    case 48:
        block.mapped = 1000.0f * v * v;
        setFilterDecay(v);
        break;
    case 50:
        c.phaser.setParameter(0, v);
        break;
    case 51:
        c.phaser.setParameter(3, v);
        break;
    case 52:
        c.phaser.setParameter(2, v);
        break;
    case 53:
        c.phaser.setParameter(1, v);
        break;
    case 54:
        c.phaser.setParameter(4, v);
        break;
    case 56:
        block.mapped = 0.6f * v;
        c.chorus.setParameter(0, 0.6f * v);
        break;
    case 57:
        block.mapped = 0.5f * v;
        c.chorus.setParameter(1, 0.5f * v);
        break;
    case 58:
        c.chorus.setParameter(2, v);
        break;
    case 59:
        c.chorus.setParameter(3, v);
        break;
    case 61: {
        const float q = float(int32_t(v / 0.037037f)) * 0.037037f;
        block.mapped = 1.0f - q;
        c.delay.setParameter(0, 1.0f - q);
        break;
    }
    case 62:
        c.delay.setParameter(2, v);
        break;
    case 63:
        c.delay.setParameter(1, v);
        break;
    case 64:
        c.delay.setParameter(3, v);
        break;
    case 65:
    case 71:
        block.mapped = v;
        break;
    case 67:
        c.reverb.setParameter(0, v);
        break;
    case 68:
        block.mapped = 1.0f - v;
        c.reverb.setParameter(2, 1.0f - v);
        break;
    case 69:
        c.reverb.setParameter(3, v);
        break;
    case 70:
        c.reverb.setParameter(4, v);
        break;
    case 101:
        globalWet[0] = v;
        globalWet[1] = std::sqrt(std::max(0.0f, v));
        globalWet[2] = 1.0f - v;
        globalWet[3] = std::sqrt(std::max(0.0f, 1.0f - v));
        refreshWeights();
        break;
    case 116:
        setSwing(v);
        break;
    default:
        break;
    }
    const int32_t lane = targetLane[tag];
    if (lane >= 0)
        refreshRecordState(lane);
}

void MFUniClient::sendStretchSpeed() {
    const MFParameterValue& speed = registry.values[22];
    chain.stretch.setParameter(0, stretchSnap ? float(speed.mappedAlt) : float(speed.mapped));
}

void MFUniClient::refreshWeights() {
    // The pair in force by the wet/dry law; the tick hands it to the driver.
    const bool power = powerLaw != 0;
    wetTarget = power ? float(globalWet[1]) : float(globalWet[0]);
    dryTarget = power ? float(globalWet[3]) : float(globalWet[2]);
}

void MFUniClient::setInternalParameter(int32_t tag, float v) {
    MFParameterValue& block = registry.values[tag];

    // A controller learned on one step of a table: its entry names the step. One float
    // store, as a drawing mouse makes; outside a controller's delivery there is no step.
    if (const int32_t step = midi.lastSub; step >= 0) {
        if (MFTableXY* table = tableOfTag(tag)) {
            table->setNormalised(step, v);
            return;
        }
    }

    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        const MFLaneTags& t = mflane::tags[lane];
        if (tag == t.lane || tag == t.init || tag == t.release || tag == t.attack ||
            tag == t.tableSwitch || tag == t.randomA || tag == t.randomB || tag == t.record ||
            tag == t.listA || tag == t.listB || tag == t.previous || tag == t.next) {
            setLaneParameter(lane, tag, v);
            return;
        }
    }

    switch (tag) {
    case 305: // "initstutter"
        panels.requestRedraw();
        if (buttonReleased(block, v))
            eventTables[0].initCurrent();
        break;
    case 320: { // "gui"
        const int32_t state = int32_t(std::min(13.0f, v * 14.0f + 0.001f));
        block.mapped = float(state);
        showPanel(state);
        break;
    }
    case 321: // "MouseArea": the editor's column state, saved with the preset
        block.mapped = v;
        showColumnRow();
        break;
    case 403: // "StretchSnap"
        block.mapped = switchForm(v);
        stretchSnap = int32_t(switchForm(v));
        sendStretchSpeed();
        break;
    case 421: { // "Switch": vinyl or tape stop at stage 6
        const int32_t which = int32_t(std::min(1.0f, 2.0f * v + 0.001f));
        block.mapped = float(which);
        vinylSwitch = float(which);
        panels.setBit(MFPanelState::tapeStopBit,
                      panels.bit(mflane::tags[mflane::vinyl].pageBit) && which == 1);
        break;
    }
    case 469: { // "classicfiltertyp_"
        const int32_t index = std::min(3, int32_t(4.0f * v + 0.001f));
        block.mapped = float(index);
        panels.requestRedraw();
        chain.filter.setParameter(2, filterModes[index] * 0.1f);
        break;
    }
    case 476: // "env_mode"
        block.mapped = switchForm(v);
        filterEnvMode = int32_t(switchForm(v));
        break;
    case 498: { // "vms"
        const float mode = std::min(1.0f, 2.0f * v + 0.001f);
        block.mapped = mode;
        chain.filter.setParameter(3, mode);
        panels.page(mflane::tags[mflane::filter].pageBit,
                    {MFPanelState::filterModeBits[0], MFPanelState::filterModeBits[1]},
                    int32_t(mode));
        break;
    }
    case 499: // "Tempo": the step length
        setStepLength(v);
        break;
    case 501: // "rstMidi"
        block.mapped = switchForm(v);
        setPositionMode(v);
        break;
    case 503: // "Bypass"
        block.mapped = switchForm(v);
        setSequencerOn(v);
        break;
    case 512: // "powerlaw"
        block.mapped = switchForm(v);
        powerLaw = int32_t(switchForm(v));
        refreshWeights();
        break;
    case 514: // "retrigger"
        block.mapped = switchForm(v);
        setRetrigger(v);
        break;
    case 525: // "PatternOctave"
        patternsOn = std::min(1.0f, 2.0f * v + 0.001f);
        block.mapped = patternsOn;
        panels.setBit(MFPanelState::patternStripBit, patternsOn >= 1.0f);
        selectPattern();
        break;
    case 504: // "aBOUT"
    case 519: // "NextPreset"
    case 520: // "PreviousPreset"
        block.mapped = switchForm(v);
        panels.requestRedraw();
        break;
    case 557: // "init_c"
        panels.requestRedraw();
        if (buttonReleased(block, v))
            runOrPost(actionInit);
        break;
    case 563: // "copy"
        panels.requestRedraw();
        if (buttonReleased(block, v))
            runOrPost(actionCopy);
        break;
    case 564: // "paste"
        panels.requestRedraw();
        if (buttonReleased(block, v))
            runOrPost(actionPaste);
        break;
    case 565: // "Chaos"
        panels.requestRedraw();
        if (buttonReleased(block, v))
            runOrPost(actionChaos);
        break;
    case 558: // "MIDILEARN": the learn overlay's mode, read by the editor
        block.mapped = std::min(3.0f, 4.0f * v);
        break;
    default:
        break;
    }
}

bool MFUniClient::buttonReleased(MFParameterValue& block, float v) {
    // Deliberate departure: init, random, copy, paste and Chaos act on a button release,
    // never on a stored value being loaded, so that a state reads back with its tables.
    const float before = block.mapped;
    block.mapped = switchForm(v);
    return before != 0.0f && block.mapped == 0.0f && !restoringState;
}

template <class Action> void MFUniClient::forEditGroup(Action&& action) {
    for (MFInitInterface* o : context.initObjects)
        if (o && o->id == MFEffectLane::editGroup)
            action(*o);
    context.dirty = true;
}

void MFUniClient::setLaneParameter(int32_t lane, int32_t tag, float v) {
    const MFLaneTags& t = mflane::tags[lane];
    MFParameterValue& block = registry.values[tag];
    MFEffectLane& l = lanes[lane];
    if (tag == t.lane) {
        block.mapped = v * t.panelFactor;
        panels.laneMap[lane] = v * t.panelFactor;
    } else if (tag == t.init) {
        panels.requestRedraw();
        if (buttonReleased(block, v))
            runOrPost(1u << (firstLaneInitBit + lane));
    } else if (tag == t.release || tag == t.attack) {
        // No lane opens or closes faster than 5 ms: a click-free edge at any setting.
        const float ms = 1000.0f * v * v * v + 5.0f;
        block.mapped = ms;
        setLaneEnvelopeTime(lane, tag == t.attack, ms);
        if (tag == 269 || tag == 270 || tag == 332 || tag == 386)
            refreshRecordState(lane);
    } else if (tag == t.tableSwitch) {
        const float mapped = std::min(1.0f, 2.0f * v + 0.001f);
        block.mapped = mapped;
        setTableSwitch(lane, v);
        panels.page(t.pageBit, {t.tablePageA, t.tablePageB}, int32_t(mapped));
    } else if (tag == t.randomA || tag == t.randomB) {
        panels.requestRedraw();
        if (buttonReleased(block, v))
            (tag == t.randomA ? l.tableA : l.tableB).random();
    } else if (tag == t.record) {
        block.mapped = switchForm(v);
        setTableRecord(lane, v);
    } else if (tag == t.listA || tag == t.listB) {
        setTableList(lane, tag == t.listA ? 0 : 1, v);
    } else {
        // prev and next page the displayed row in the editor.
        block.mapped = switchForm(v);
        panels.requestRedraw();
    }
}

void MFUniClient::showPanel(int32_t state) {
    // The gui control chooses one of fourteen effect pages in the top-to-bottom order of
    // the lanes. Every page that came on or went off re-sends its switches, so that the
    // sub-panels of a hidden page hide and those of the shown page show their last choice.
    // Choosing the page on display again still repaints.
    static const int32_t laneOfPage[14] = {
        mflane::xLoop,  mflane::loop,       mflane::scratchLoop, mflane::reverse, mflane::stretch,
        mflane::vinyl,  mflane::tonalDelay, mflane::stutter,     mflane::crush,   mflane::filter,
        mflane::phaser, mflane::chorus,     mflane::delay,       mflane::reverb};
    bool wasOn[mflane::count];
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        wasOn[lane] = panels.bit(mflane::tags[lane].pageBit);
    guiPanel = state;
    panels.effectPanel = state;
    panels.showEffectPage(mflane::tags[laneOfPage[state]].pageBit);
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        if (panels.bit(mflane::tags[lane].pageBit) == wasOn[lane])
            continue;
        if (lane == mflane::vinyl)
            setParameter(421, registry.values[421].raw);
        if (lane == mflane::filter) {
            setParameter(469, registry.values[469].raw);
            setParameter(498, registry.values[498].raw);
        }
        const int32_t switchTag = mflane::tags[lane].tableSwitch;
        setParameter(switchTag, registry.values[switchTag].raw);
    }
    panels.requestRedraw();
}

void MFUniClient::showColumnRow() {
    // The effect column: the row under the press (1 at the top) picks the page, and a
    // loaded state re-sends its saved press the same way.
    const float y = std::clamp(mouseAreas[1].field(3), 0.0f, 1.0f);
    const int32_t row = int32_t(y * 13.999f + 1.0f);
    setParameter(320, float(row - 1) * 0.07692308f);
}

void MFUniClient::selectPattern() {
    const int32_t fromNote = midiKey;
    const int32_t fromKeys = patternKey;
    if (fromNote != midiKeyLast) {
        midiKeyLast = fromNote;
        keyLatched = fromNote;
    }
    if (fromKeys != patternKeyLast) {
        patternKeyLast = fromKeys;
        keyLatched = fromKeys;
    }
    storePattern(int32_t(float(keyLatched) * patternsOn));
}

void MFUniClient::storePattern(int32_t value) {
    pattern = value;
    for (auto& lane : lanes)
        lane.selectPattern(value);
    eventTables[0].setRow(float(value));
    eventTables[1].setRow(float(value));
}

void MFUniClient::runActionsHere(uint32_t actions) {
    if (actions & actionInit)
        forEditGroup([](MFInitInterface& o) { o.initAll(); });
    if (actions & actionCopy)
        forEditGroup([](MFInitInterface& o) { o.copy(0, 0); });
    if (actions & actionPaste)
        forEditGroup([](MFInitInterface& o) { o.paste(); });
    if (actions & actionChaos)
        forEditGroup([](MFInitInterface& o) { o.random(); });
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        if (actions & (1u << (firstLaneInitBit + lane)))
            lanes[lane].zones.initCurrent();
    panels.requestRedraw();
}

MFTableXY* MFUniClient::tableOfTag(int32_t tag) {
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        if (tag == mflane::tags[lane].tableA)
            return &lanes[lane].tableA;
        if (tag == mflane::tags[lane].tableB)
            return &lanes[lane].tableB;
    }
    for (int32_t e = 0; e < 2; ++e)
        if (tag == eventTableTags[e])
            return &eventTables[e];
    return nullptr;
}
