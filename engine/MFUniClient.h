#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFAttackDecayEnvelope.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFLevelFollower.h"
#include "effects/MFStutter.h"
#include "effects/MFSystemInfo.h"
#include "engine/MFAligned.h"
#include "engine/MFEditorFactory.h"
#include "engine/MFEffectChain.h"
#include "engine/MFEffectLane.h"
#include "engine/MFLaneGate.h"
#include "engine/MFLaneTags.h"
#include "engine/MFLoadHandshake.h"
#include "engine/MFMidiClient.h"
#include "engine/MFMidiInput.h"
#include "engine/MFMouseAreaChunk.h"
#include "engine/MFPanelState.h"
#include "engine/MFParameterRegistry.h"
#include "engine/MFParameterSink.h"
#include "engine/MFProgramLoader.h"
#include "engine/MFStateCodec.h"
#include "engine/MFStepTableModulator.h"
#include "engine/MFStepTableTargets.h"
#include "engine/MFTransport.h"
#include "platform/MFFileDialog.h"
#include "platform/MFRelaxed.h"
#include "presets/MFPresetCategory.h"
#include "presets/MFPresetHost.h"
#include "presets/MFPresetLibrary.h"
#include "presets/MFPresetManager.h"
#include "presets/MFSettingsStore.h"
#include "vst/AudioEffectX.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <pthread.h>
#include <string>
#include <vector>

class MFBPMChangeInterface;

// The plug-in's common base over the host interface.
class MFPluginBase : public AudioEffectX {
public:
    using AudioEffectX::AudioEffectX;
};

// The one object the host sees. It owns the whole engine by value: the shared
// context, the parameter records and their values, the lanes and tables, the chain of
// effects, the block driver's state and the transport. Its definitions are split by
// concern: MFUniClient.cpp (lifecycle and block driver), MFUniClientParameters.cpp (the
// host's parameter interface and the fan-out of setParameter), MFUniClientTick.cpp (the
// sequencer's work at each tick).
class MFUniClient : public MFPluginBase,
                    public MFMidiClient,
                    public MFStateOwner,
                    public MFPresetHost,
                    public MFProgramLoader::Target,
                    public MFAligned {
public:
    static constexpr int32_t hostParameterCount = 117;
    static constexpr int32_t constructedProgramCount = 128;
    static constexpr int32_t programCount = 64;
    static constexpr int32_t tickPeriod = 64;
    static constexpr float dcCoefficient = 0.998f;
    static constexpr float dcFloor = 1e-20f;
    static constexpr int32_t timeInfoMask = 0x1E02;
    static constexpr int32_t noiseTableSize = 1024;
    static constexpr int32_t loadWaitLimit = 500;
    // A state load waits for the audio block in flight; ten seconds is no block's length.
    static constexpr int32_t loadWaitCeiling = 10000;
    static constexpr int32_t eventSteps = 8;

    // With a factory the plug-in has an editor; without one (the engine's tests and tools)
    // it has none.
    explicit MFUniClient(vst::HostCallback host, MFEditorFactory editorFactory = nullptr);
    ~MFUniClient() override;

    // Host lifecycle.
    void suspend() override;
    void resume() override;
    void setSampleRate(float rate) override;
    void setBlockSize(int32_t size) override;
    void processReplacing(float** inputs, float** outputs, int32_t frames) override;
    void processDoubleReplacing(double**, double**, int32_t) override {}

    // Parameters: every value from any source enters through setParameter.
    void setParameter(int32_t tag, float value) override;
    float getParameter(int32_t index) override;
    void setParameterAutomated(int32_t index, float value) override;
    bool beginEdit(int32_t index) override;
    bool endEdit(int32_t index) override;
    void getParameterName(int32_t index, char* text) override;
    void getParameterLabel(int32_t index, char* text) override;
    void getParameterDisplay(int32_t index, char* text) override;
    bool getParameterProperties(int32_t index, vst::VstParameterProperties* properties) override;
    bool canParameterBeAutomated(int32_t) override { return true; }

    // Identification and capabilities.
    bool getEffectName(char* name) override;
    bool getVendorString(char* text) override;
    bool getProductString(char* text) override;
    int32_t getVendorVersion() override { return 1400; }
    int32_t getVstVersion() override { return 2400; }
    int32_t getPlugCategory() override { return vst::kPlugCategEffect; }
    int32_t canDo(const char* text) override;
    int32_t getGetTailSize() override { return int32_t(getSampleRate()); }
    int32_t getNumMidiInputChannels() override { return 1; }
    int32_t getNumMidiOutputChannels() override { return 0; }
    int32_t setTotalSampleToProcess(int32_t value) override { return value; }

    // MIDI in: queued with their offsets, handled at the ticks.
    int32_t processEvents(vst::VstEvents* events) override;

    // Host chunks: the whole state, for programs and banks alike.
    int32_t getChunk(void** data, bool isPreset) override;
    int32_t setChunk(void* data, int32_t byteSize, bool isPreset) override;

    // The persistent state; category 0 is the whole plug-in, 1 to 14 one effect.
    void writeState(MFChunk& chunk, int32_t category) override;
    bool readState(MFChunk& chunk, int32_t category, bool recallAll, bool silent,
                   bool onAudioThread) override;

    // Programs: the whole-state presets of the library, folder after folder in library
    // order, as far as the host's 64 places reach. Deliberate departure: every name the
    // host lists is what choosing it loads, and an empty place changes nothing.
    void setProgram(int32_t program) override;
    void getProgramName(char* name) override;
    bool getProgramNameIndexed(int32_t category, int32_t index, char* text) override;
    // The editor's previous and next: the program before or after the current one in the
    // same order, wrapping from the last folder to the first and back.
    void stepProgram(int32_t direction);
    // Programs the host can choose: the library's presets, at most programCount.
    int32_t availablePrograms() const;

    // From the setting "ignorePrgChange"; accepting program changes starts their loader.
    void setIgnoreProgramChange(bool ignore);
    const MFProgramLoader& getProgramLoader() const { return programLoader; }
    MFProgramLoader& getProgramLoader() { return programLoader; }

    // Re-derives everything that depends on the sample rate and resends all values.
    void applyAllParameters();
    // Moves every host parameter by a random share of its mutation amount (key F2).
    void mutateParameters();
    // The editor tells the host that names or values changed.
    void notifyHostDisplay() { updateDisplay(); }

    // The main thread's side of the load handshake: silence the audio thread and wait
    // for the block in flight to end; false if it did not end within the limit.
    bool beginStructureChange(int32_t waitLimit) override;
    void endStructureChange() override { handshake.release(); }
    // Whether the audio thread is silenced for a structure change or a load.
    bool isLoading() const { return handshake.held(); }
    // The editor's pass (its events, edits and drawing) and a state change from another
    // thread (a MIDI program change's load, a pattern button from the audio thread, a
    // host's load off its user-interface thread) keep out of each other without a lock.
    // The editor never waits: while a change runs enterEditorPass says no, and the editor
    // leaves its events for the next idle. A change waits for a pass under way to end,
    // which takes a few milliseconds at most. Changes on the editor's own thread need no
    // guard: they run between passes or inside one.
    bool enterEditorPass() {
        editorThread.store(pthread_self(), std::memory_order_relaxed);
        editorThreadKnown.store(true, std::memory_order_release);
        editorInside.store(true, std::memory_order_seq_cst);
        if (writersInside.load(std::memory_order_seq_cst) != 0) {
            leaveEditorPass();
            return false;
        }
        return true;
    }
    void leaveEditorPass() {
        editorInside.store(false, std::memory_order_seq_cst);
        editorInside.notify_all();
    }

    // Read-only views for the editor, the tests and the renderer.
    const MFSystemInfo& getContext() const { return context; }
    const MFTransport& getTransport() const { return transport; }
    float getPeakLeft() const { return peakLeft; }
    float getPeakRight() const { return peakRight; }
    // The meters' floats themselves, for controls bound to them.
    const MFRelaxed<float>& peakLeftValue() const { return peakLeft; }
    const MFRelaxed<float>& peakRightValue() const { return peakRight; }
    float getMasterGain() const { return masterGain; }
    int32_t getNoiseIndex() const { return noiseIndex; }
    const float* getNoiseTable() const { return noiseTable; }
    bool isHostFXpansion() const { return hostIsFXpansion; }
    MFEffectChain& getChain() { return chain; }
    const MFBufferRegistry& getBufferRegistry() const { return bufferRegistry; }
    MFParameterRegistry& getRegistry() { return registry; }
    MFEffectLane& getLane(int32_t lane) { return lanes[lane]; }
    MFZoneHandlerContainer<MFFloatZoneHandler>& getMasterLane() { return masterLane; }
    MFTableXY& getEventTable(int32_t index) { return eventTables[index & 1]; }
    MFMouseAreaChunk& getMouseArea(int32_t index) { return mouseAreas[index]; }
    const MFPanelState& getPanels() const { return panels; }
    // The pattern in force: the later of the pattern keys and a MIDI note, times "PatternOctave".
    int32_t getPattern() const { return pattern; }
    // Sets the touch flag of a parameter, as the editor does while a control is held.
    void setTouched(int32_t tag, bool held);
    MFMidiMaps& getMidiMaps() { return midiMaps; }
    MFMidiInput& getMidiInput() { return midi; }
    const MFLaneGate& getGate(int32_t lane) const { return gates[lane]; }
    const MFStutter& getStutter() const { return stutter; }
    MFStepTableModulator& getModulator(int32_t lane) { return modulator(lane); }
    const std::vector<std::string>& getPresetNames() const { return presetNames; }
    // The editor's copy of the preset names, taken inside its pass, where no change
    // from another thread runs.
    void copyPresetNames(std::string* out, std::size_t count) const {
        for (std::size_t i = 0; i < count && i < presetNames.size(); ++i)
            if (out[i] != presetNames[i])
                out[i] = presetNames[i];
    }
    int32_t getFolderIndex() const { return codec.folderIndex; }
    MFPresetManager& getPresetManager() { return presetManager; }
    MFPresetLibrary& getPresetLibrary() { return presetLibrary; }
    // The factory content found at construction (empty when none), and the folder that
    // holds the manual.
    const std::string& getFactoryRoot() const { return factoryRoot; }
    const std::string& getManualFolder() const { return manualFolder; }
    // Replaces the desktop's file dialog, for tests and for hosts without a display.
    void setFileDialog(MFFileDialog& dialog) { presetManager.setFileDialog(dialog); }

protected:
    // One 64-sample control tick at sample index i of the current block.
    virtual void runTick(int32_t i);

    void setMasterTarget(float value) { masterTarget = value; }
    void setMixWeights(float wet, float dry);

    // MFMidiClient: the note state from the MIDI input, and program changes.
    void noteStateChanged(float noteHeld, int32_t key) override;
    void programChange(int32_t number) override;
    // MFPresetHost: what the preset flows reach.
    std::string& presetName(int32_t category) override;
    void setFolderIndex(int32_t index) override { codec.folderIndex = index; }
    void setCurrentProgram(int32_t program) override;
    void stepPrograms(int32_t direction) override { stepProgram(direction); }
    void lockState() override { stateLock.lock(); }
    void unlockState() override { stateLock.unlock(); }
    float currentTempo() override { return float(context.tempo); }
    float currentSampleRate() override { return context.sampleRate; }
    void refreshHostDisplay() override { updateDisplay(); }
    // MFStateOwner: the load handshake.
    bool beginLoad(bool onAudioThread) override;
    void finishLoad() override;
    // MFProgramLoader::Target: a MIDI program change, on the loader's thread.
    void loadProgramChange(int32_t number) override;
    // MFProgramLoader::Target: pattern buttons pressed on the audio thread.
    void runActions(uint32_t actions) override;

    // The pattern buttons' actions, as bits for the loader.
    static constexpr uint32_t actionInit = 1u << 0;
    static constexpr uint32_t actionCopy = 1u << 1;
    static constexpr uint32_t actionPaste = 1u << 2;
    static constexpr uint32_t actionChaos = 1u << 3;
    static constexpr int32_t firstLaneInitBit = 8; // lane n's init is bit 8 + n

private:
    // Second half of construction: records wired, lanes and tables prepared.
    void wireRecords();
    void setUpMasterLane();
    void readSettings();
    void loadStartPreset();
    // Loads the host's program unconditionally; false when the place is empty.
    bool loadProgram(int32_t program);
    // The name of the host's program, with what a host cannot show replaced.
    void copyProgramName(char* text, const char* name) const;
    // Pattern selection: the later change of the pattern keys or a MIDI note wins.
    void selectPattern();
    void storePattern(int32_t value);
    void setHostParameter(int32_t tag, float v);
    void setInternalParameter(int32_t tag, float v);
    void setLaneParameter(int32_t lane, int32_t tag, float v);
    // Stores a button's switch form; true when that was its release (a fall to 0 from a
    // pressed state) outside a state load.
    bool buttonReleased(MFParameterValue& block, float v);
    void showPanel(int32_t state);
    void showColumnRow();
    void refreshWeights();
    void sendStretchSpeed();
    void resendAllParameters();
    template <class Action> void forEditGroup(Action&& action);
    // The step table a tag stands for, or null.
    MFTableXY* tableOfTag(int32_t tag);
    // The buttons' actions build and free zones: on the audio thread (a learned
    // controller, the host's automation) they go to the loader's thread instead.
    void runOrPost(uint32_t actions);
    void runActionsHere(uint32_t actions);
    bool onAudioThread() const {
        return audioThreadKnown.load(std::memory_order_acquire) &&
               pthread_equal(pthread_self(), audioThread.load(std::memory_order_relaxed));
    }

    // Per-lane state fed by the fan-out (MFUniClientTick.cpp).
    void setLaneBypass(int32_t lane, float on);
    void setLaneMix(int32_t lane, float mix);
    void setLaneEnvelopeTime(int32_t lane, bool attack, float ms);
    void setLaneSmoothing(int32_t tag, float v);
    void setTableSwitch(int32_t lane, float v);
    void setTableRecord(int32_t lane, float v);
    void setTableList(int32_t lane, int32_t table, float v);
    void refreshRecordState(int32_t lane);
    void setStutterTempo(float v);
    void setStutterAttack(float v);
    void setStutterDecay(float v);
    void setFilterAttack(float v);
    void setFilterDecay(float v);
    void setSwing(float v);
    void setStepLength(float v);
    void setPositionMode(float v);
    void setSequencerOn(float v);
    void setRetrigger(float v);
    void runLanes();
    void closeShutGates();
    void tickTables();
    MFStepTableModulator& modulator(int32_t lane) { return modulators[lane]; }
    static int32_t laneOfBypass(int32_t tag) { return tag - 102; }
    static const MFStepTableTargets& targetsOf(int32_t lane);

    void flush(int32_t count, int32_t endIndex);
    // Playback starts or the position jumps before the next sample: that sample ticks,
    // and the tick first restarts the running state.
    void restartAtNextSample();
    void restartRunningState();
    void applyTempoChange();
    void finishBlock(int32_t frames);
    void sizeSwingRing();
    void fillNoiseTable();

    std::vector<std::string> presetNames;
    std::string currentPresetName = "default";

    std::vector<MFBPMChangeInterface*> tempoListeners;
    MFBufferRegistry bufferRegistry;
    MFSystemInfo context;

    float masterTarget = 1.0f;
    float masterGain = 1.0f;
    float masterStep = 0.0f;
    int32_t masterRampLeft = 0; // samples until masterGain stands on masterTarget
    bool restartPending = false;
    MFRelaxed<float> peakLeft = 0.0f;
    MFRelaxed<float> peakRight = 0.0f;
    MFRelaxed<float> wetGain = 1.0f;
    MFRelaxed<float> dryGain = 0.0f;
    float velocityOffsets[3] = {1.2e-06f, 2.4e-06f, 3.6e-06f};
    int32_t velocityOffsetIndex = 0;
    float noiseTable[noiseTableSize];
    int32_t noiseIndex = 0;

    MFParameterRegistry registry;
    MFMouseAreaChunk mouseAreas[3];
    MFPanelState panels;

    MFZoneHandlerContainer<MFFloatZoneHandler> masterLane;
    MFEffectLane lanes[mflane::count];
    MFTableXY eventTables[2];
    static constexpr int32_t eventTableTags[2] = {292, 297};

    // Pattern selection.
    MFRelaxed<int32_t> patternKey = 0;
    MFRelaxed<int32_t> patternKeyLast = 0;
    MFRelaxed<int32_t> midiKey = 0;
    MFRelaxed<int32_t> midiKeyLast = 0;
    MFRelaxed<int32_t> keyLatched = 0;
    MFRelaxed<float> patternsOn = 1.0f;
    MFRelaxed<int32_t> pattern = 0;

    // Mapped values the tick reads.
    MFRelaxed<float> masterLevel = 1.0f;
    MFRelaxed<float> globalWet[4] = {1.0f, 1.0f, 0.0f, 0.0f}; // w, sqrt w, 1 - w, sqrt(1 - w)
    MFRelaxed<int32_t> powerLaw = 0;
    MFRelaxed<float> vinylSwitch = 0.0f;
    MFRelaxed<int32_t> stretchSnap = 0;
    MFRelaxed<float> tonalLevel = 1.0f;
    MFRelaxed<float> filterPeak = 0.0f;
    MFRelaxed<int32_t> filterEnvMode = 0;
    MFRelaxed<int32_t> guiPanel = -1;
    MFRelaxed<float> wetTarget = 1.0f;
    MFRelaxed<float> dryTarget = 0.0f;
    // Set while a state is being read: its values press and release nothing.
    MFRelaxed<bool> restoringState = false;
    // The lane whose step tables can target a tag, or -1.
    int8_t targetLane[mfTagCount];

    MFLaneGate gates[mflane::count];
    MFStepTableModulator modulators[mflane::count];
    MFStutter stutter;
    MFAttackDecayEnvelope filterEnvelope;
    MFLevelFollower follower;
    MFMidiMaps midiMaps;
    MFMidiInput midi;
    MFStateCodec codec;
    MFChunk chunkScratch[2];
    MFPresetLibrary presetLibrary;
    std::vector<MFPresetCategory> presetCategories;
    MFSettingsStore settings;
    MFFileDialog fileDialog;
    MFPresetManager presetManager;
    std::string factoryRoot;
    std::string manualFolder;

    MFEffectChain chain;
    MFTransport transport;
    MFTransport::BlockTiming blockTiming;

    alignas(32) float workLeft[2][tickPeriod] = {};
    alignas(32) float workRight[2][tickPeriod] = {};
    int32_t pendingCount = 0;
    float* blockOutLeft = nullptr;
    float* blockOutRight = nullptr;
    float dcLeftX = 0.0f, dcLeftY = 0.0f, dcRightX = 0.0f, dcRightY = 0.0f;

    float ticksPerSecond = 0.0f;
    float secondsPerTick = 0.0f;
    MFAlignedArray swingRing;

    bool hostIsFXpansion = false;
    uint8_t ignoreProgramChange = 1;
    uint8_t isolateMaps = 0;
    // Whether the state is the current program as loaded (edits aside); choosing the
    // current program loads it when not.
    bool programInForce = false;
    MFLoadHandshake handshake;
    // Serialises the threads that read or replace the state, the library and the names:
    // the host's and the editor's, and the program-change loader. Never the audio thread.
    std::recursive_mutex stateLock;
    // The two sides of the editor's pass against the loader's load: each raises its own
    // flag, then looks at the other's (sequentially consistent, so both cannot pass).
    std::atomic<bool> editorInside{false};
    // The thread that runs the blocks, as last seen by processReplacing.
    std::atomic<pthread_t> audioThread{};
    std::atomic<bool> audioThreadKnown{false};
    std::atomic<int32_t> writersInside{0};
    std::atomic<pthread_t> editorThread{};
    std::atomic<bool> editorThreadKnown{false};
    // A state change's side of the editor's pass, for the scope of one change.
    class EditorExclusion {
    public:
        EditorExclusion(MFUniClient& client, bool onAudioThread);
        ~EditorExclusion();
        EditorExclusion(const EditorExclusion&) = delete;
        EditorExclusion& operator=(const EditorExclusion&) = delete;

    private:
        MFUniClient& owner;
        bool counted = false;
    };
    // Last, so that it is gone before anything its thread could reach.
    MFProgramLoader programLoader{*this};
};
