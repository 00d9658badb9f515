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
    // Does nothing when the address is not listed. Inline so that the pattern
    // library, which links below the effects, can use it too.
    void remove(const float* data) {
        for (auto it = entries.begin(); it != entries.end(); ++it) {
            if (it->data == data) {
                entries.erase(it);
                return;
            }
        }
    }
    // Fills every registered block with zero bytes.
    void clearAll();

    const std::vector<Entry>& blocks() const { return entries; }
    std::size_t totalBytes() const;

private:
    std::vector<Entry> entries;
};
