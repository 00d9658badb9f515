#pragma once

#include "engine/MFMidiClient.h"
#include "engine/MFMidiMaps.h"
#include "engine/MFMidiQueue.h"
#include "platform/MFRelaxed.h"
#include "vst/VstAbi.h"

#include <cstddef>
#include <cstdint>

// MIDI into the sequencer. The host's events are queued with their sample offsets on
// the audio thread and handled at the block driver's ticks: notes feed a small note
// stack whose state the client turns into transport and pattern changes; controllers
// and channel pressure move parameters through the learn maps. The learn operations
// run on the main thread.
class MFMidiInput {
public:
    // Voices of the note stack; the sequencer follows one held note.
    static constexpr int32_t voiceCount = 1;
    static constexpr int32_t structureWaitLimit = 500;
    static constexpr int32_t allNotesOffController = 123;
    // Entries each learn list holds before an append on the audio thread would allocate.
    static constexpr std::size_t reservedMapEntries = 8;

    MFMidiInput(MFMidiMaps& maps, MFMidiClient& client);

    // Audio thread, before the block. samplesSinceTick is how far the block starts after
    // the last tick, so that every message is handled at the first tick at or after its
    // own sample. Always 1, as the host expects.
    int32_t processEvents(const vst::VstEvents* events, int32_t samplesSinceTick = 0);
    // Audio thread, once per tick of 64 samples.
    void tick();
    // The tick grid restarts with the next tick `samples` earlier than it would have come.
    void moveTicksEarlier(int32_t samples) { midiQueue.moveTicksEarlier(samples); }
    // Handles one message at once; tick() calls it for the due ones.
    void handle(const MFMidiMessage& message);

    // From the setting "ignorePrgChange"; on at start.
    void setIgnoreProgramChange(bool ignore) { ignoreProgramChange = ignore; }
    bool ignoresProgramChange() const { return ignoreProgramChange; }

    // Main thread, from the editor's learn menu. armLearn and the assignment return
    // false when the audio thread could not be held off; nothing changed then.
    bool armLearn(int32_t tag, int32_t sub);
    // The editor's learn: only the entries of this tag and sub go, so that learning one
    // row of a table keeps the controllers of its other rows.
    bool armLearnPair(int32_t tag, int32_t sub);
    bool clearAssignment(int32_t tag);
    // place: the controller's place in the name menu, 0..126.
    bool assignByMenuPlace(int32_t tag, int32_t sub, int32_t place);

    // The learn target waiting for a controller (-1: none), and the row of the entry
    // being delivered, which a table control reads inside setParameter.
    MFRelaxed<int32_t> learnTag{-1};
    MFRelaxed<int32_t> learnSub{0};
    MFRelaxed<int32_t> lastSub{-1};
    // Raised once learnTag and learnSub are written; the audio thread takes the learn
    // only after seeing it.
    MFFlag learnArmed;

    // Audio-thread state, readable for the driver and tests.
    float noteHeld() const { return held; }
    float noteReleased() const { return released; }
    int32_t midiKey() const { return key; }
    float lastVelocity() const { return velocityLast; }
    float lastNote() const { return noteLast; }
    float bend() const { return bendValue; }
    float controllerValue(int32_t controller) const {
        return controllerValues[controller & (MFMidiMaps::controllerCount - 1)];
    }
    float pressureValue() const { return pressure; }
    const MFMidiQueue& queue() const { return midiQueue; }

private:
    void noteOn(int32_t note, int32_t velocity7);
    void noteOff(int32_t note);
    void allNotesOff();
    void noteState();
    void deliver(std::vector<MFMapEntry>& list, float value);
    // Runs a change of the learn lists under the structure handshake with `editing` set.
    template <typename Change> bool changeMaps(Change&& change);

    MFMidiMaps& maps;
    MFMidiClient& client;
    MFMidiQueue midiQueue;
    MFRelaxed<bool> ignoreProgramChange{true};

    float notes[voiceCount] = {};
    float velocities[voiceCount] = {};
    int32_t voiceIndex = 0;
    uint32_t velocityIndex = 0;
    float velocityLast = 0.0f;
    float noteLast = 0.0f;
    float held = 0.0f;
    float released = 1.0f;
    int32_t key = 0;
    float bendValue = 0.0f;
    float controllerValues[MFMidiMaps::controllerCount] = {};
    float pressure = 0.0f;
};
