#include "engine/MFMidiInput.h"

#include <bit>

namespace {

// Tiny offsets added to note velocities in turn, so that repeated equal velocities
// still differ and a listener comparing with the last value sees each new note.
constexpr float velocityOffsets[4] = {std::bit_cast<float>(0x35A10FB0u),
                                      std::bit_cast<float>(0x36210FB0u),
                                      std::bit_cast<float>(0x36719787u), 0.0f};
constexpr float velocityScale = 0.0078125f; // 1/128
constexpr float controllerScale = 1.0f / 127.0f;
constexpr int32_t dataMask = 0x7F;
constexpr int32_t bendCentre = 64;

} // namespace

MFMidiInput::MFMidiInput(MFMidiMaps& maps, MFMidiClient& client) : maps(maps), client(client) {
    maps.reserve(reservedMapEntries);
}

int32_t MFMidiInput::processEvents(const vst::VstEvents* events, int32_t samplesSinceTick) {
    if (events == nullptr || events->numEvents <= 0)
        return 1;
    const int32_t phase = samplesSinceTick > 0 ? samplesSinceTick : 0;
    // The host allocates the pointer list past the declared two places.
    const vst::VstEvent* const* list = events->events;
    for (int32_t i = 0; i < events->numEvents; ++i) {
        const vst::VstEvent* event = list[i];
        if (event == nullptr || event->type != vst::kVstMidiType)
            continue;
        const auto* midi = reinterpret_cast<const vst::VstMidiEvent*>(event);
        const int32_t status = uint8_t(midi->midiData[0]);
        const int32_t channel = status & 0x0F;
        MFMidiMessage m;
        m.data1 = uint8_t(midi->midiData[1]) & dataMask;
        m.data2 = uint8_t(midi->midiData[2]) & dataMask;
        const bool editing = maps.editing.get();
        switch (status & 0xF0) {
        case 0x90:
            m.type = m.data2 > 0 ? MFMidiType::noteOn : MFMidiType::noteOff;
            break;
        case 0x80:
            m.type = MFMidiType::noteOff;
            break;
        case 0xB0:
            if (m.data1 == allNotesOffController && channel == 0)
                m.type = MFMidiType::allNotesOff;
            else if (!editing)
                m.type = MFMidiType::controller;
            break;
        case 0xE0:
            m.type = MFMidiType::pitchBend;
            break;
        case 0xC0:
            if (!editing && !ignoreProgramChange)
                m.type = MFMidiType::programChange;
            break;
        case 0xD0:
            if (!editing)
                m.type = MFMidiType::channelPressure;
            break;
        default:
            break;
        }
        if (m.type == 0)
            continue;
        const int64_t offset = int64_t(phase) + (midi->deltaFrames > 0 ? midi->deltaFrames : 0);
        midiQueue.insert(m, offset > MFMidiQueue::maxOffset ? MFMidiQueue::maxOffset
                                                            : int32_t(offset));
    }
    return 1;
}

void MFMidiInput::tick() {
    midiQueue.takeDue([this](const MFMidiMessage& m) { handle(m); });
}

void MFMidiInput::handle(const MFMidiMessage& m) {
    switch (m.type) {
    case MFMidiType::noteOn:
        noteOn(m.data1 & dataMask, m.data2 & dataMask);
        break;
    case MFMidiType::noteOff:
        noteOff(m.data1);
        break;
    case MFMidiType::allNotesOff:
        allNotesOff();
        break;
    case MFMidiType::controller: {
        if (maps.editing.get())
            break;
        const int32_t controller = m.data1 & dataMask;
        const float value = float(m.data2 & dataMask) * controllerScale;
        controllerValues[controller] = value;
        deliver(maps.controllers[controller], value);
        break;
    }
    case MFMidiType::channelPressure: {
        if (maps.editing.get())
            break;
        pressure = float(m.data1 & dataMask) * controllerScale;
        deliver(maps.global, pressure);
        break;
    }
    case MFMidiType::pitchBend: {
        // Only the most significant byte counts.
        const int32_t d = m.data2 - bendCentre;
        bendValue = float(d) / (d < 0 ? 64.0f : 63.0f);
        break;
    }
    case MFMidiType::programChange:
        // Deliberate departure: the number is the message's first data byte; a program
        // change has no second, so reading it always chose program 0.
        client.programChange(m.data1 & dataMask);
        break;
    default:
        break;
    }
}

void MFMidiInput::noteOn(int32_t note, int32_t velocity7) {
    const float velocity = float(velocity7) * velocityScale + velocityOffsets[velocityIndex & 3];
    velocityIndex = (velocityIndex + 1) & 3;
    int32_t place = voiceIndex;
    if (velocities[place] > 0.0f) {
        for (int32_t step = 1; step < voiceCount; ++step) {
            const int32_t candidate = (voiceIndex + step) % voiceCount;
            if (velocities[candidate] <= 0.0f) {
                place = candidate;
                break;
            }
        }
    }
    velocities[place] = velocity;
    velocityLast = velocity;
    notes[place] = float(note);
    noteLast = float(note);
    voiceIndex = (place + 1) % voiceCount;
    noteState();
}

void MFMidiInput::noteOff(int32_t note) {
    const float n = float(note);
    for (int32_t i = 0; i < voiceCount; ++i)
        if (notes[i] == n && velocities[i] > 0.0f)
            velocities[i] = 0.0f;
    // The latest voice that still sounds, searching backward from the write place.
    velocityLast = 0.0f;
    for (int32_t step = 1; step <= voiceCount; ++step) {
        const int32_t i = (voiceIndex - step + voiceCount) % voiceCount;
        if (velocities[i] > 0.0f) {
            velocityLast = velocities[i];
            break;
        }
    }
    noteState();
}

void MFMidiInput::allNotesOff() {
    for (float& v : velocities)
        v = 0.0f;
    velocityLast = 0.0f;
    voiceIndex = 0;
    noteState();
}

void MFMidiInput::noteState() {
    held = velocityLast > 0.0f ? 1.0f : 0.0f;
    released = 1.0f - held;
    // Unsigned so that the octave never matters: C is pattern 0, B pattern 11.
    key = int32_t(uint32_t(int32_t(noteLast)) % 12u);
    client.noteStateChanged(held, key);
}

void MFMidiInput::deliver(std::vector<MFMapEntry>& list, float value) {
    // The flag is published after the tag and the sub: once it is seen, both are.
    if (learnArmed.get()) {
        const int32_t armed = learnTag.load();
        if (armed >= 0)
            list.push_back(MFMapEntry{int16_t(armed), int16_t(learnSub.load())});
        learnTag = -1;
        learnArmed.set(false);
    }
    for (const MFMapEntry& e : list) {
        lastSub = e.sub;
        client.setParameter(e.tag, value);
    }
    // Only a controller's delivery names a step: a preset or the host setting the same
    // tag afterwards must not write one.
    lastSub = -1;
}

template <typename Change> bool MFMidiInput::changeMaps(Change&& change) {
    if (!client.beginStructureChange(structureWaitLimit))
        return false;
    maps.editing.set(true);
    change();
    maps.editing.set(false);
    client.endStructureChange();
    return true;
}

bool MFMidiInput::armLearn(int32_t tag, int32_t sub) {
    // Armed while the audio thread is held off, so that it never pairs a new sub with
    // an older tag.
    return changeMaps([&] {
        maps.removeTag(tag);
        learnSub = sub;
        learnTag = tag;
        learnArmed.set(true);
    });
}

bool MFMidiInput::armLearnPair(int32_t tag, int32_t sub) {
    return changeMaps([&] {
        maps.removePair(tag, sub);
        learnSub = sub;
        learnTag = tag;
        learnArmed.set(true);
    });
}

bool MFMidiInput::clearAssignment(int32_t tag) {
    return changeMaps([&] { maps.removeTag(tag); });
}

bool MFMidiInput::assignByMenuPlace(int32_t tag, int32_t sub, int32_t place) {
    // The name menu lists 127 controllers; the last, 127, cannot be chosen there.
    if (place < 0 || place >= MFMidiMaps::controllerCount - 1)
        return false;
    return changeMaps([&] {
        maps.removeTag(tag);
        maps.controllers[place].push_back(MFMapEntry{int16_t(tag), int16_t(sub)});
    });
}
