#pragma once

#include <cstdint>

class MFBufferRegistry;

// Growable float sample memory on a 16-byte boundary. It never shrinks: a smaller
// size keeps the block and its contents, a larger one reallocates, keeps the old
// samples and zero-fills the rest. The block is listed in the registry, if any.
class MFAlignedArray {
public:
    explicit MFAlignedArray(MFBufferRegistry* registry = nullptr, bool aligned = true);
    MFAlignedArray(const MFAlignedArray&) = delete;
    MFAlignedArray& operator=(const MFAlignedArray&) = delete;
    ~MFAlignedArray();

    void setRegistry(MFBufferRegistry* r) { registry = r; }
    void setSize(uint32_t samples);
    void clear();

    float* data() { return block; }
    const float* data() const { return block; }
    float& operator[](uint32_t i) { return block[i]; }
    const float& operator[](uint32_t i) const { return block[i]; }
    uint32_t getSize() const { return size; }
    uint32_t getCapacity() const { return capacity; }
    bool isRegistered() const { return registered; }

private:
    void release();

    MFBufferRegistry* registry;
    float* block = nullptr;
    uint32_t capacity = 0;
    uint32_t size = 0;
    bool registered = false;
    bool aligned;
};
