#pragma once

#include <cstddef>
#include <vector>

// Every live sample block of the plug-in, so that all sample memory can be
// enumerated (suspend clears them all; a preset load zeroes them).
class MFBufferRegistry {
public:
    struct Entry {
        float* data;
        std::size_t bytes;
    };

    MFBufferRegistry() { entries.reserve(128); }

    void add(float* data, std::size_t bytes) { entries.push_back({data, bytes}); }
    // Does nothing when the address is not listed.
    void remove(const float* data);
    // Fills every registered block with zero bytes.
    void clearAll();

    const std::vector<Entry>& blocks() const { return entries; }
    std::size_t totalBytes() const;

private:
    std::vector<Entry> entries;
};
