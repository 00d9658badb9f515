#pragma once

#include "platform/MFRelaxed.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// One learned assignment: a parameter tag and the row of a table control (0 otherwise).
struct MFMapEntry {
    int16_t tag = 0;
    int16_t sub = 0;
};

// The MIDI-learn assignments: a list per controller number and one for channel
// pressure. The main thread changes them only with `editing` set, so that the audio
// thread drops controller messages meanwhile instead of walking a changing list.
struct MFMidiMaps {
    static constexpr int32_t controllerCount = 128;

    std::vector<MFMapEntry> controllers[controllerCount];
    std::vector<MFMapEntry> global;
    MFFlag editing;

    // Gives every list room for n entries, so that a learn completed on the audio
    // thread normally appends without touching the heap.
    void reserve(std::size_t n) {
        for (auto& list : controllers)
            list.reserve(n);
        global.reserve(n);
    }

    // Removes every entry of the tag from all lists; returns how many went.
    int32_t removeTag(int32_t tag) {
        return removeIf([tag](const MFMapEntry& e) { return e.tag == tag; });
    }
    // Removes the entries of one tag and sub pair, leaving the tag's other rows.
    int32_t removePair(int32_t tag, int32_t sub) {
        return removeIf([tag, sub](const MFMapEntry& e) { return e.tag == tag && e.sub == sub; });
    }

private:
    template <typename Match> int32_t removeIf(Match&& match) {
        int32_t removed = 0;
        auto strip = [&](std::vector<MFMapEntry>& list) {
            std::size_t kept = 0;
            for (const MFMapEntry& e : list)
                if (!match(e))
                    list[kept++] = e;
            removed += int32_t(list.size() - kept);
            list.resize(kept);
        };
        for (auto& list : controllers)
            strip(list);
        strip(global);
        return removed;
    }
};
