#include "engine/MFUniClient.h"

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "engine/MFPluginData.h"
#include "engine/MFRoundingGuard.h"
#include "pattern/MFZone.h"
#include "platform/MFModulePath.h"
#include "presets/MFContentFolders.h"
#include "presets/MFPaths.h"
#include "presets/MFSettingsStartup.h"

#include "platform/MFSleep.h"
#include "platform/MFText.h"
#include <cstdio>

#include <cmath>
#include <cstring>

using namespace vst;

namespace {
constexpr int32_t uniqueId = fourCC('c', 'd', 'z', 'x');
constexpr int32_t presetCategoryCount = 15;
constexpr const char* productName = "Cadenzoid";

void copyText(char* out, const char* text, std::size_t capacity) {
    mfCopyText(out, capacity, text);
}
} // namespace

MFUniClient::MFUniClient(HostCallback hostCallback, MFEditorFactory editorFactory)
    : MFPluginBase(hostCallback, constructedProgramCount, hostParameterCount),
      context(bufferRegistry, tempoListeners),
      masterLane(context, 0, MFEffectLane::patternCount, false),
      lanes{{context, 0},  {context, 1},  {context, 2},  {context, 3}, {context, 4},
            {context, 5},  {context, 6},  {context, 7},  {context, 8}, {context, 9},
            {context, 10}, {context, 11}, {context, 12}, {context, 13}},
      eventTables{{context, eventSteps}, {context, eventSteps}},
      modulators{{lanes[0].tableA, lanes[0].tableB, targetsOf(0), registry.values, *this},
                 {lanes[1].tableA, lanes[1].tableB, targetsOf(1), registry.values, *this},
                 {lanes[2].tableA, lanes[2].tableB, targetsOf(2), registry.values, *this},
                 {lanes[3].tableA, lanes[3].tableB, targetsOf(3), registry.values, *this},
                 {lanes[4].tableA, lanes[4].tableB, targetsOf(4), registry.values, *this},
                 {lanes[5].tableA, lanes[5].tableB, targetsOf(5), registry.values, *this},
                 {lanes[6].tableA, lanes[6].tableB, targetsOf(6), registry.values, *this},
                 {lanes[7].tableA, lanes[7].tableB, targetsOf(7), registry.values, *this},
                 {lanes[8].tableA, lanes[8].tableB, targetsOf(8), registry.values, *this},
                 {lanes[9].tableA, lanes[9].tableB, targetsOf(9), registry.values, *this},
                 {lanes[10].tableA, lanes[10].tableB, targetsOf(10), registry.values, *this},
                 {lanes[11].tableA, lanes[11].tableB, targetsOf(11), registry.values, *this},
                 {lanes[12].tableA, lanes[12].tableB, targetsOf(12), registry.values, *this},
                 {lanes[13].tableA, lanes[13].tableB, targetsOf(13), registry.values, *this}},
      stutter(context), midi(midiMaps, *this), codec(registry, midiMaps, presetNames, *this),
      presetCategories(MFPresetCategory::makeList()),
      presetManager(*this, presetLibrary, settings, productName, fileDialog, presetCategories),
      chain(context), swingRing(&bufferRegistry) {
    char vendor[kVstMaxVendorStrLen + 1] = {};
    if (getHostVendorString(vendor))
        hostIsFXpansion = std::strcmp(vendor, "FXpansion") == 0;

    ignoreProgramChange = 1;

    noTail(false);
    setUniqueID(uniqueId);
    setNumInputs(2);
    setNumOutputs(2);
    canProcessReplacing(true);
    programsAreChunks(true);

    context.setControlBlockSize(tickPeriod);
    context.setSampleRate(getSampleRate());
    transport.setSwingRing(&swingRing);

    wireRecords();
    readSettings();
    if (editorFactory)
        setEditor(editorFactory(*this));
    presetNames.assign(presetCategoryCount, "default");

    // Derived state once: the pattern from the keys, the transport's gate, the pattern
    // stored in every lane and table.
    patternKey = int32_t(registry.rawValue(0) * 12.0f) % 12;
    transport.refreshTransportGate();
    selectPattern();

    applyAllParameters();
    loadStartPreset();
    setNumPrograms(programCount);
    // The first block starts at the level in force, with no fade from unity.
    masterGain = masterTarget = masterLevel;

    noiseIndex = 0;
    fillNoiseTable();
}

const MFStepTableTargets& MFUniClient::targetsOf(int32_t lane) {
    for (const MFStepTableTargets& t : mfStepTableTargets)
        if (std::strcmp(t.effect, mflane::tags[lane].name) == 0)
            return t;
    return mfStepTableTargets[0];
}

void MFUniClient::wireRecords() {
    for (auto& lane : targetLane)
        lane = -1;
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        const MFStepTableTargets& t = targetsOf(lane);
        for (int32_t k = 0; k < t.targetCount; ++k)
            targetLane[t.targetTags[std::size_t(k)]] = int8_t(lane);
    }

    registry.wire([this](const MFParameterRow& row) -> MFChunkableClass* {
        switch (row.binding) {
        case MFParameterBinding::lane:
            return &lanes[row.bindIndex].zones;
        case MFParameterBinding::masterLane:
            return &masterLane;
        case MFParameterBinding::tableA:
            return &lanes[row.bindIndex].tableA;
        case MFParameterBinding::tableB:
            return &lanes[row.bindIndex].tableB;
        case MFParameterBinding::eventTable:
            return &eventTables[row.bindIndex & 1];
        case MFParameterBinding::mouseArea:
            mouseAreas[row.bindIndex].bindValue(&registry.values[row.tag].raw);
            return &mouseAreas[row.bindIndex];
        default:
            return nullptr;
        }
    });

    // The Stutter's event rows: pan in the middle and full level until drawn otherwise.
    mfSetUpPatternTable(eventTables[0], eventSteps, 0, eventTableTags[0], 0.5f);
    mfSetUpPatternTable(eventTables[1], eventSteps, 0, eventTableTags[1], 1.0f);
    masterLane.tag = 502;
    setUpMasterLane();
}

void MFUniClient::setUpMasterLane() {
    // Loop ranges at start-up: the whole pattern, and two shorter figures that a preset
    // normally replaces.
    struct Range {
        int32_t pattern, start, end;
    };
    static const Range ranges[] = {{0, 0, 31},  {6, 1, 2},    {6, 16, 19},
                                   {6, 22, 22}, {10, 17, 17}, {10, 24, 25}};
    for (const Range& r : ranges) {
        MFFloatZoneHandler* handler = masterLane.handler(r.pattern);
        if (!handler)
            continue;
        MFZone* zone = handler->createZone(0);
        zone->start = r.start;
        zone->end = r.end;
        if (!handler->addZone(zone))
            delete zone;
    }
}

MFUniClient::~MFUniClient() {
    // The loader's thread reaches into everything below: it goes first.
    programLoader.stop();
    // Values that outlive presets go back to the settings under their names.
    if (settings.open(productName)) {
        for (const MFParameterRecord* r : registry.recordsAll) {
            if (!r->keepOnPreset || !r->value)
                continue;
            char text[32];
            std::snprintf(text, sizeof text, "%f", double(*r->value));
            settings.setString(r->name, text);
        }
        settings.close();
    }
}

void MFUniClient::readSettings() {
    const std::string moduleFolder = mfModuleFolder();
    factoryRoot = MFContentFolders::findFactoryRoot(productName, moduleFolder);
    // "installpath" names where the manual is: the shared content folder on a system install.
    manualFolder = MFContentFolders::findManualFolder(moduleFolder, factoryRoot);
    const MFSettingsStartup::Switches switches =
        MFSettingsStartup::run(settings, productName, presetCategories, manualFolder,
                               MFPaths::defaultContentRoot(productName));
    isolateMaps = switches.ccMapRecallIsolate ? 1 : 0;
    setIgnoreProgramChange(switches.ignorePrgChange != 0);
}

void MFUniClient::setIgnoreProgramChange(bool ignore) {
    // Program changes are dropped when the system would not give the loader a thread.
    if (!ignore && !programLoader.start())
        ignore = true;
    ignoreProgramChange = ignore ? 1 : 0;
    midi.setIgnoreProgramChange(ignore);
}

void MFUniClient::loadStartPreset() {
    std::string folder;
    std::string content;
    if (settings.open(productName)) {
        settings.getString("presetpath0", folder);
        settings.getString("contentpath", content);
        settings.close();
    }
    // A content path of the user's choosing holds everything: no factory content beside it.
    if (!content.empty())
        factoryRoot.clear();
    presetManager.setFactoryRoot(factoryRoot);
    const std::string factoryPresets =
        factoryRoot.empty() ? std::string()
                            : MFPaths::join(factoryRoot, MFContentFolders::presetsFolder) + "/";
    MFPaths::addTrailingSeparator(folder);
    // Factory presets are shared and read-only; the user's live apart and win on a name.
    std::vector<std::string> roots;
    if (!factoryPresets.empty() && factoryPresets != folder)
        roots.push_back(factoryPresets);
    if (!folder.empty())
        roots.push_back(folder);
    if (roots.empty())
        return;
    // A missing default preset leaves the constructed defaults in force, silently.
    presetManager.loadPreset(MFContentFolders::defaultPresetPath(folder, factoryPresets).c_str(),
                             0);
    codec.folderIndex = 0;
    presetLibrary.scan(roots);
    presetNames[0] = "default";
}

std::string& MFUniClient::presetName(int32_t category) {
    return presetNames[std::size_t(category >= 0 && category < presetCategoryCount ? category : 0)];
}

int32_t MFUniClient::availablePrograms() const {
    const int32_t inLibrary = presetLibrary.programCount();
    return inLibrary < programCount ? inLibrary : programCount;
}

void MFUniClient::setProgram(int32_t program) {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    // The program shown as current is loaded again when the state is not that preset.
    if (program == curProgram && programInForce)
        return;
    loadProgram(program);
}

void MFUniClient::stepProgram(int32_t direction) {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    const int32_t count = availablePrograms();
    if (count == 0)
        return;
    const int32_t step = direction < 0 ? -1 : 1;
    loadProgram(((curProgram + step) % count + count) % count);
}

bool MFUniClient::loadProgram(int32_t program) {
    int32_t folder = 0, index = 0;
    if (program < 0 || program >= availablePrograms() ||
        !presetLibrary.programAt(program, folder, index))
        return false;
    MFChunk* preset = presetLibrary.preset(folder, index);
    if (!preset)
        return false;
    preset->position = 0;
    if (!readState(*preset, 0, false, true, false))
        return false;
    presetNames[0] = preset->name;
    curProgram = program;
    codec.folderIndex = folder;
    programInForce = true;
    updateDisplay();
    return true;
}

void MFUniClient::setCurrentProgram(int32_t program) {
    // A preset file opened from the library becomes the host's program, when it has a place.
    if (program < 0 || program >= programCount)
        return;
    curProgram = program;
    programInForce = true;
}

void MFUniClient::fillNoiseTable() {
    // The minimal standard generator from a fixed seed, so every instance hears the same noise.
    uint64_t state = 20537;
    for (float& entry : noiseTable) {
        state = (state * 16807u) % 2147483647u;
        entry = float(double(state) * (1.0 / 2147483648.0));
    }
}

void MFUniClient::suspend() {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    bufferRegistry.clearAll();
    // Nothing sounds until the host resumes: no lane stays lit.
    masterLane.markZone(masterLane.noMark);
    for (MFEffectLane& lane : lanes)
        lane.zones.markZone(lane.zones.noMark);
}

void MFUniClient::resume() {
    callHost(audioMasterWantMidi, 0, 1);
    dcLeftX = dcLeftY = dcRightX = dcRightY = 0.0f;
    // Audio starts again from nothing: no fade from an old level.
    masterGain = masterTarget = masterLevel;
    // The pattern buttons pressed on the audio thread need the loader's thread as well as
    // the program changes do.
    programLoader.start();
}

void MFUniClient::setSampleRate(float rate) {
    // A program change may be loading on its own thread.
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    AudioEffectX::setSampleRate(rate);
    context.setSampleRate(rate);
    applyAllParameters();
}

void MFUniClient::setBlockSize(int32_t size) {
    AudioEffectX::setBlockSize(size);
}

void MFUniClient::applyAllParameters() {
    context.setSampleRate(getSampleRate());
    ticksPerSecond = context.sampleRate / float(tickPeriod);
    secondsPerTick = 1.0f / ticksPerSecond;
    sizeSwingRing();
    for (int k = 0; k < MFEffectChain::size; ++k) {
        MFEffect* effect = chain.all()[k];
        effect->reset();
        effect->updateBuffers(false);
        effect->gateOn();
    }
    resendAllParameters();
    closeShutGates();
    noteStateChanged(midi.noteHeld(), midi.midiKey());
}

void MFUniClient::resendAllParameters() {
    // The raw values are the truth; sending them again recomputes every mapped form at
    // the present rate and tempo. Buttons that act at their release are never sent.
    auto send = [this](int32_t tag) { setParameter(tag, registry.rawValue(tag)); };
    send(320);
    for (int32_t tag : {116, 501, 499, 503, 512, 514, 1, 0, 101, 525})
        send(tag);
    for (int32_t lane = 0; lane < mflane::count; ++lane) {
        const MFLaneTags& t = mflane::tags[lane];
        for (MFParameterRecord* r : registry.recordsByCategory[mflane::presetCategory[lane]])
            if (!r->chunkable && r->index != 305)
                send(r->index);
        for (int32_t tag :
             {t.mix, t.bypass, t.smoothA, t.smoothB, t.tableSwitch, t.record, t.listA, t.listB})
            send(tag);
        setParameter(t.lane, 0.0f);
    }
}

void MFUniClient::sizeSwingRing() {
    // One entry per sample of one second: the longest swing delay there can be.
    const uint32_t entries = uint32_t(context.rateRatio * 44100.0f);
    if (entries > swingRing.getCapacity()) {
        swingRing.setSize(entries);
        swingRing.clear();
    } else {
        swingRing.setSize(entries);
    }
    if (transport.swingWrite >= int32_t(entries))
        transport.swingWrite = 0;
}

void MFUniClient::setParameterAutomated(int32_t index, float value) {
    if (index >= hostParameterCount)
        return;
    AudioEffectX::setParameterAutomated(index, value);
}

bool MFUniClient::beginEdit(int32_t index) {
    return index < hostParameterCount && AudioEffectX::beginEdit(index);
}

bool MFUniClient::endEdit(int32_t index) {
    return index < hostParameterCount && AudioEffectX::endEdit(index);
}

bool MFUniClient::getEffectName(char* name) {
    copyText(name, "Cadenzoid", kVstMaxEffectNameLen);
    return true;
}

bool MFUniClient::getVendorString(char* text) {
    copyText(text, "Maple Forge", kVstMaxVendorStrLen);
    return true;
}

bool MFUniClient::getProductString(char* text) {
    copyText(text, "Cadenzoid", kVstMaxProductStrLen);
    return true;
}

int32_t MFUniClient::canDo(const char* text) {
    static const char* const yes[] = {"receiveVstEvents", "receiveVstMidiEvent",
                                      "receiveVstTimeInfo"};
    static const char* const no[] = {"sendVstMidiEvent", "sendVstEvent"};
    for (const char* s : yes)
        if (std::strcmp(text, s) == 0)
            return 1;
    for (const char* s : no)
        if (std::strcmp(text, s) == 0)
            return 0;
    return -1;
}

void MFUniClient::copyProgramName(char* text, const char* name) const {
    copyText(text, name, kVstMaxProgNameLen + 1);
    // A file name may hold control characters; a host's list cannot show them.
    for (char* c = text; *c; ++c)
        if (static_cast<unsigned char>(*c) < 0x20 || *c == 0x7F)
            *c = ' ';
}

void MFUniClient::getProgramName(char* name) {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    copyProgramName(name, presetNames[0].c_str());
}

bool MFUniClient::getProgramNameIndexed(int32_t, int32_t index, char* text) {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    int32_t folder = 0, place = 0;
    if (index == -1)
        copyProgramName(text, presetNames[0].c_str());
    else if (index >= 0 && index < availablePrograms() &&
             presetLibrary.programAt(index, folder, place))
        copyProgramName(text, presetLibrary.preset(folder, place)->name.c_str());
    else
        copyProgramName(text, "empty");
    return true;
}

bool MFUniClient::beginStructureChange(int32_t waitLimit) {
    handshake.hold();
    for (int32_t tries = 0; handshake.audioInside(); ++tries) {
        if (waitLimit >= 0 && tries >= waitLimit) {
            // Holds are counted: one left standing would silence the audio for good.
            handshake.release();
            return false;
        }
        mfSleepOneMillisecond();
    }
    return true;
}

void MFUniClient::setMixWeights(float wet, float dry) {
    wetGain = wet;
    dryGain = dry;
}

void MFUniClient::flush(int32_t count, int32_t endIndex) {
    chain.run(workLeft[0], workRight[0], count, vinylSwitch);
    const int32_t start = endIndex - count;
    const float weight[2] = {wetGain, dryGain};
    for (int row = 0; row < 2; ++row) {
        for (int32_t k = 0; k < count; ++k)
            blockOutLeft[start + k] = workLeft[row][k] * weight[row] + blockOutLeft[start + k];
        for (int32_t k = 0; k < count; ++k)
            blockOutRight[start + k] = workRight[row][k] * weight[row] + blockOutRight[start + k];
    }
    // Ramped over the tick that set it, not the host block: the host's slicing must not show.
    if (masterRampLeft > 0 || masterGain != 1.0f) {
        for (int32_t k = start; k < endIndex; ++k) {
            if (masterRampLeft > 0) {
                masterGain += masterStep;
                if (--masterRampLeft == 0)
                    masterGain = masterTarget;
            }
            blockOutLeft[k] *= masterGain;
            blockOutRight[k] *= masterGain;
        }
    }
    pendingCount = 0;
}

void MFUniClient::restartAtNextSample() {
    // Messages keep their samples: the next tick comes this many samples early.
    midi.moveTicksEarlier(tickPeriod - context.controlBlockCounter);
    context.controlBlockCounter = tickPeriod;
    restartPending = true;
}

void MFUniClient::restartRunningState() {
    restartPending = false;
    noiseIndex = 0;
    masterGain = masterTarget = masterLevel;
    masterRampLeft = 0;
    transport.restart();
    for (MFLaneGate& g : gates)
        g.restart();
    for (MFStepTableModulator& m : modulators)
        m.restart();
    // The Stutter's run and the Filter's envelope are struck anew by the gates to come;
    // held while stopped, they would otherwise carry the last playback into the next.
    stutter.reset();
    filterEnvelope.reset();
    for (int k = 0; k < MFEffectChain::size; ++k)
        chain.all()[k]->restart();
}

void MFUniClient::processReplacing(float** inputs, float** outputs, int32_t frames) {
    if (!handshake.enterBlock()) {
        std::memset(outputs[0], 0, sizeof(float) * std::size_t(frames > 0 ? frames : 0));
        if (outputs[1])
            std::memset(outputs[1], 0, sizeof(float) * std::size_t(frames > 0 ? frames : 0));
        return;
    }
    audioThread.store(pthread_self(), std::memory_order_relaxed);
    audioThreadKnown.store(true, std::memory_order_release);
    // Buffers asked for more room inside the block are grown by the grower's thread.
    MFBufferGrower::AudioBlock audioBlock(context.bufferGrower);

    blockTiming = transport.beginBlock(getTimeInfo(timeInfoMask), frames, context.samplesPerBeat);
    // A render must not depend on what the host did before it: playback restarts the ticks.
    if (blockTiming.restart)
        restartAtNextSample();

    blockOutLeft = outputs[0];
    blockOutRight = outputs[1];
    const float* inLeft = inputs[0];
    const float* inRight = inputs[1];
    {
        MFRoundingGuard truncation;
        // Runs of samples between ticks: the samples of a run only feed the work rows, the
        // level follower and the position, each in a loop of its own that the compiler can
        // keep in registers or vectorise.
        int32_t i = 0;
        while (i < frames) {
            if (context.controlBlockCounter >= tickPeriod)
                runTick(i);
            const int32_t room = tickPeriod - context.controlBlockCounter;
            bool jumped = false;
            // A jump ends the run after its sample: the next tick comes at once.
            const int32_t n = transport.advanceRun(blockTiming, std::min(room, frames - i), jumped);
            float* const rowLeft = workLeft[0] + pendingCount;
            float* const rowRight = workRight[0] + pendingCount;
            float* const dryLeft = workLeft[1] + pendingCount;
            float* const dryRight = workRight[1] + pendingCount;
            for (int32_t k = 0; k < n; ++k) {
                // A bad host sample must not settle in the level follower or the output filter.
                const float left = mfdsp::finiteInput(inLeft[i + k]);
                const float right = mfdsp::finiteInput(inRight[i + k]);
                rowLeft[k] = left;
                rowRight[k] = right;
                dryLeft[k] = left;
                dryRight[k] = right;
            }
            // Outputs are cleared only after the input was read: hosts may run in place.
            std::fill_n(blockOutLeft + i, n, 0.0f);
            std::fill_n(blockOutRight + i, n, 0.0f);
            follower.feedRun(rowLeft, rowRight, n);
            context.controlBlockCounter += n;
            pendingCount += n;
            i += n;
            if (jumped)
                restartAtNextSample();
        }
        if (pendingCount != 0)
            flush(pendingCount, frames);
        if (frames > 0)
            finishBlock(frames);
    }
    handshake.leaveBlock();
}

void MFUniClient::finishBlock(int32_t frames) {
    float* left = blockOutLeft;
    float* right = blockOutRight;

    // Largest sample, not largest magnitude: the meters read positive excursions only.
    float peakL = 0.0f, peakR = 0.0f;
    for (int32_t i = 0; i < frames; ++i) {
        peakL = left[i] > peakL ? left[i] : peakL;
        peakR = right[i] > peakR ? right[i] : peakR;
    }
    peakLeft = peakL;
    peakRight = peakR;

    // DC blocker on everything that leaves the plug-in. Its decay after the input stops
    // would pass through the denormal range for thousands of samples; a state far below
    // audibility (-400 dB) is set to zero instead.
    float xl = dcLeftX, yl = dcLeftY, xr = dcRightX, yr = dcRightY;
    for (int32_t i = 0; i < frames; ++i) {
        const float inL = left[i];
        yl = (inL - xl) + yl * dcCoefficient;
        yl = std::fabs(yl) < dcFloor ? 0.0f : yl;
        xl = inL;
        left[i] = yl;
        const float inR = right[i];
        yr = (inR - xr) + yr * dcCoefficient;
        yr = std::fabs(yr) < dcFloor ? 0.0f : yr;
        xr = inR;
        right[i] = yr;
    }
    dcLeftX = xl;
    dcLeftY = yl;
    dcRightX = xr;
    dcRightY = yr;
}

// --- MIDI ----------------------------------------------------------------------------------

int32_t MFUniClient::processEvents(VstEvents* events) {
    return midi.processEvents(events, context.controlBlockCounter);
}

void MFUniClient::noteStateChanged(float noteHeld, int32_t key) {
    transport.setNoteHeld(noteHeld);
    midiKey = key;
    selectPattern();
}

void MFUniClient::programChange(int32_t number) {
    // Deliberate departure: the load runs on the loader's thread, never in the block,
    // where it would allocate and outlast the block; the audio thread only posts.
    programLoader.request(number);
}

void MFUniClient::loadProgramChange(int32_t number) {
    // The editor's pass under way ends first; the next one stays out until the load is
    // done and redraws what it replaced. The state lock comes after: a pass may take it.
    const EditorExclusion exclusion(*this, false);
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    MFChunk* preset = presetLibrary.midiProgram(number);
    if (!preset)
        return;
    preset->position = 0;
    if (readState(*preset, 0, false, true, false))
        presetNames[0] = preset->name;
}

void MFUniClient::runActions(uint32_t actions) {
    // Kept apart from the editor's pass and the main thread's loads, as a load is.
    const EditorExclusion exclusion(*this, false);
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    runActionsHere(actions);
}

void MFUniClient::runOrPost(uint32_t actions) {
    // Dropped when the loader cannot run: the audio thread never builds zones.
    if (onAudioThread())
        programLoader.requestActions(actions);
    else
        runActionsHere(actions);
}

// --- state and chunks ----------------------------------------------------------------------

void MFUniClient::writeState(MFChunk& chunk, int32_t category) {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    codec.curProgram = curProgram;
    codec.writeState(chunk, category);
}

MFUniClient::EditorExclusion::EditorExclusion(MFUniClient& client, bool onAudioThread)
    : owner(client) {
    // The audio thread never waits; the editor's own thread is never inside another pass.
    if (onAudioThread ||
        (owner.editorThreadKnown.load(std::memory_order_acquire) &&
         pthread_equal(pthread_self(), owner.editorThread.load(std::memory_order_relaxed))))
        return;
    counted = true;
    owner.writersInside.fetch_add(1, std::memory_order_seq_cst);
    while (owner.editorInside.load(std::memory_order_seq_cst))
        owner.editorInside.wait(true, std::memory_order_seq_cst);
}

MFUniClient::EditorExclusion::~EditorExclusion() {
    if (counted)
        owner.writersInside.fetch_sub(1, std::memory_order_seq_cst);
}

bool MFUniClient::readState(MFChunk& chunk, int32_t category, bool recallAll, bool silent,
                            bool onAudioThread) {
    // Before the state lock: a pass under way may itself take it.
    const EditorExclusion exclusion(*this, onAudioThread);
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    codec.curProgram = curProgram;
    codec.isolateMaps = isolateMaps;
    const bool loaded = codec.readState(chunk, category, recallAll, silent, onAudioThread);
    chunk.position = 0;
    curProgram = codec.curProgram;
    // Whoever loaded a program says so afterwards.
    if (loaded)
        programInForce = false;
    return loaded;
}

bool MFUniClient::beginLoad(bool onAudioThread) {
    handshake.hold();
    // The block in flight ends within a few milliseconds; a host whose audio thread
    // never returns must not hang this thread here too. A caller on the audio thread is
    // that block itself.
    for (int32_t tries = 0; !onAudioThread && handshake.audioInside(); ++tries) {
        if (tries >= loadWaitCeiling) {
            handshake.release();
            return false;
        }
        mfSleepOneMillisecond();
    }
    restoringState = true;
    return true;
}

void MFUniClient::finishLoad() {
    restoringState = false;
    bufferRegistry.clearAll();
    handshake.release();
    context.dirty = true;
    panels.requestRedraw();
}

int32_t MFUniClient::getChunk(void** data, bool) {
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    MFChunk& chunk = chunkScratch[0];
    chunk.beginMeasure(float(context.tempo), context.sampleRate);
    writeState(chunk, 0);
    chunk.allocateMeasured();
    writeState(chunk, 0);
    *data = chunk.data;
    return chunk.position * 4;
}

int32_t MFUniClient::setChunk(void* data, int32_t byteSize, bool) {
    if (!data || byteSize <= 0)
        return 1;
    std::lock_guard<std::recursive_mutex> lock(stateLock);
    // The host's bytes are copied, so that no read can leave the size it gave.
    MFChunk chunk;
    chunk.attachCopy(data, std::size_t(byteSize));
    if (readState(chunk, 0, true, false, false)) {
        // A session saved with a library program in force (edits aside) holds it still;
        // one saved on another state loads the program when the host chooses it.
        int32_t folder = 0, index = 0;
        programInForce = curProgram >= 0 && curProgram < availablePrograms() &&
                         presetLibrary.programAt(curProgram, folder, index) &&
                         presetLibrary.preset(folder, index)->name == presetNames[0];
    }

    // The last state received, kept as written back.
    MFChunk& copy = chunkScratch[1];
    copy.beginMeasure(float(context.tempo), context.sampleRate);
    writeState(copy, 0);
    copy.allocateMeasured();
    writeState(copy, 0);
    copy.name = presetNames[0];
    return 1;
}
