#pragma once

#include "vst/VstAbi.h"

#include <cstdint>
#include <cstring>
#include <vector>

// A host-style event list: the header followed by as many event pointers as needed,
// built in storage reserved up front so that handing it over allocates nothing.
class MidiTestEvents {
public:
    explicit MidiTestEvents(std::size_t capacity = 16)
        : store(capacity), bytes(sizeof(vst::VstEvents) + capacity * sizeof(vst::VstEvent*), 0) {}

    void add(int32_t delta, uint8_t status, uint8_t data1, uint8_t data2) {
        vst::VstMidiEvent& e = store[used++];
        e = vst::VstMidiEvent{};
        e.type = vst::kVstMidiType;
        e.byteSize = int32_t(sizeof(vst::VstMidiEvent));
        e.deltaFrames = delta;
        e.midiData[0] = char(status);
        e.midiData[1] = char(data1);
        e.midiData[2] = char(data2);
    }
    // An event of another kind, which a MIDI input must skip.
    void addSysEx(int32_t delta) {
        add(delta, 0x90, 60, 100);
        store[used - 1].type = vst::kVstSysExType;
    }
    void clear() { used = 0; }

    const vst::VstEvents* list() {
        auto* l = reinterpret_cast<vst::VstEvents*>(bytes.data());
        l->numEvents = int32_t(used);
        for (std::size_t i = 0; i < used; ++i)
            l->events[i] = reinterpret_cast<vst::VstEvent*>(&store[i]);
        return l;
    }

private:
    std::vector<vst::VstMidiEvent> store;
    std::vector<uint8_t> bytes;
    std::size_t used = 0;
};
