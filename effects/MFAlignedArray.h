#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

class MFBufferGrower;
class MFBufferRegistry;

// Growable float sample memory on a 16-byte boundary. It never shrinks: a smaller
// size keeps the block and its contents, a larger one reallocates, keeps the old
// samples and zero-fills the rest. The block is listed in the registry, if any.
//
// A buffer whose length follows the tempo is reserved instead (reserve): address room
// for its largest length is set aside once, and growth makes more of it resident in
// place, so that the samples never move and the growth can run on the grower's thread
// while the audio thread goes on with the room it has. Room beyond what was made
// resident is inaccessible, so a stray index faults instead of reading something else.
class MFAlignedArray {
public:
    explicit MFAlignedArray(MFBufferRegistry* registry = nullptr, bool aligned = true);
    MFAlignedArray(const MFAlignedArray&) = delete;
    MFAlignedArray& operator=(const MFAlignedArray&) = delete;
    ~MFAlignedArray();

    void setRegistry(MFBufferRegistry* r) { registry = r; }
    // Main thread, before the first size: room for up to `ceiling` samples, grown in place.
    void reserve(uint32_t ceiling, MFBufferGrower& grower);
    // Main thread: the size, allocating or making room resident as needed.
    void setSize(uint32_t samples);
    // Safe on the audio thread. Within the capacity it only sets the size. Beyond it, off
    // the audio thread it grows as setSize does; on the audio thread it asks the grower
    // for the room, sets the size to the capacity and returns false: the caller works
    // within getSize() until a later call succeeds.
    bool requestSize(uint32_t samples);
    void clear();

    float* data() { return block; }
    const float* data() const { return block; }
    float& operator[](uint32_t i) { return block[i]; }
    const float& operator[](uint32_t i) const { return block[i]; }
    uint32_t getSize() const { return size; }
    uint32_t getCapacity() const { return capacity.load(std::memory_order_acquire); }
    uint32_t getCeiling() const { return ceiling; }
    bool isRegistered() const { return registered; }
    bool growsInPlace() const { return grower != nullptr; }

    // The grower's side, under its lock.
    bool growthPending() const;
    bool serveRequest();
    bool commit(uint32_t samples);

private:
    void release();

    MFBufferRegistry* registry;
    float* block = nullptr;
    std::atomic<uint32_t> capacity{0};
    uint32_t size = 0;
    bool registered = false;
    bool aligned;
    MFBufferGrower* grower = nullptr;
    uint32_t ceiling = 0;
    // Reserved address room: its start (a guard page in front of the samples) and length.
    char* reservation = nullptr;
    std::size_t reservedBytes = 0;
    std::size_t residentBytes = 0;
    // The largest size asked for on the audio thread, and the last one that could not be
    // made resident (not asked again, so a failing growth does not spin).
    std::atomic<uint32_t> wanted{0};
    uint32_t refused = 0;
};
