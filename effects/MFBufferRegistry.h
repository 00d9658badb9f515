#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

// Every live sample block of the plug-in, so that all sample memory can be
// enumerated (suspend clears them all; a preset load zeroes them).
class MFBufferRegistry {
public:
    struct Entry {
        float* data;
        std::size_t bytes;
        // A block that grows in place: its resident length in samples, which the grower's
        // thread raises; null for a block of fixed length.
        const std::atomic<uint32_t>* growingSamples = nullptr;
        std::size_t length() const {
            return growingSamples ? std::size_t(growingSamples->load(std::memory_order_acquire)) *
                                        sizeof(float)
                                  : bytes;
        }
    };

    MFBufferRegistry() { entries.reserve(128); }

    void add(float* data, std::size_t bytes) { entries.push_back({data, bytes}); }
    void addGrowable(float* data, const std::atomic<uint32_t>& samples) {
        entries.push_back({data, 0, &samples});
    }
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
