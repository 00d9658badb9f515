#pragma once

#include <cstdint>

// A counted list of note lengths (fractions of a bar) with their display names.
struct MFDivisionTable {
    static constexpr int maxEntries = 16;
    struct Entry {
        float length;
        char name[12];
    };

    Entry entries[maxEntries] = {};
    int count = 0;
    float countAsFloat = 0.0f;
    float countRecip = 0.0f;

    void add(float length, const char* name);

    // Row for a normalised value: v = 1 is the first (longest) row, v = 0 the last.
    int rowFor(float v) const;
    const Entry& entryFor(float v) const { return entries[rowFor(v)]; }
    // Sample length of a row: the fraction of a bar times four beats, truncated.
    static int32_t samplesFor(float length, float samplesPerBeat) {
        return int32_t(length * samplesPerBeat * 4.0f);
    }
};
