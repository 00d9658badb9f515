#include "effects/MFAlignedArray.h"

#include "effects/MFBufferRegistry.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {
constexpr std::size_t alignment = 16;

float* allocateSamples(uint32_t count, bool aligned) {
    const std::size_t bytes = std::size_t(count) * sizeof(float);
    void* p = aligned
                  ? std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment)
                  : std::malloc(bytes);
    if (!p)
        throw std::bad_alloc();
    return static_cast<float*>(p);
}
} // namespace

MFAlignedArray::MFAlignedArray(MFBufferRegistry* r, bool a) : registry(r), aligned(a) {}

MFAlignedArray::~MFAlignedArray() {
    release();
}

void MFAlignedArray::release() {
    if (!block)
        return;
    if (registered && registry)
        registry->remove(block);
    registered = false;
    std::free(block);
    block = nullptr;
    capacity = 0;
}

void MFAlignedArray::setSize(uint32_t samples) {
    if (samples <= capacity) {
        size = samples;
        return;
    }
    float* grown = allocateSamples(samples, aligned);
    if (block)
        std::memcpy(grown, block, std::size_t(capacity) * sizeof(float));
    std::memset(grown + capacity, 0, std::size_t(samples - capacity) * sizeof(float));
    release();
    block = grown;
    capacity = samples;
    size = samples;
    if (registry) {
        registry->add(block, std::size_t(capacity) * sizeof(float));
        registered = true;
    }
}

void MFAlignedArray::clear() {
    if (block)
        std::memset(block, 0, std::size_t(capacity) * sizeof(float));
}
