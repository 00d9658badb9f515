#include "effects/MFAlignedArray.h"

#include "effects/MFBufferGrower.h"
#include "effects/MFBufferRegistry.h"

#include <sys/mman.h>
#include <unistd.h>

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

std::size_t pageBytes() {
    static const std::size_t page = std::size_t(sysconf(_SC_PAGESIZE));
    return page;
}

std::size_t wholePages(std::size_t bytes) {
    const std::size_t page = pageBytes();
    return (bytes + page - 1) / page * page;
}
} // namespace

MFAlignedArray::MFAlignedArray(MFBufferRegistry* r, bool a) : registry(r), aligned(a) {}

MFAlignedArray::~MFAlignedArray() {
    release();
}

void MFAlignedArray::release() {
    if (reservation) {
        // The grower may be making this room resident right now; removal waits for it.
        grower->remove(*this);
        if (registered && registry)
            registry->remove(block);
        munmap(reservation, reservedBytes);
        reservation = nullptr;
        reservedBytes = residentBytes = 0;
        grower = nullptr;
    } else if (block) {
        if (registered && registry)
            registry->remove(block);
        std::free(block);
    }
    registered = false;
    block = nullptr;
    capacity.store(0, std::memory_order_release);
    size = 0;
}

void MFAlignedArray::reserve(uint32_t samples, MFBufferGrower& g) {
    release();
    const std::size_t page = pageBytes();
    const std::size_t room = wholePages(std::size_t(samples) * sizeof(float));
    // Address room only: nothing is resident or counted against memory until committed.
    void* p =
        mmap(nullptr, page + room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (p == MAP_FAILED)
        throw std::bad_alloc();
    reservation = static_cast<char*>(p);
    reservedBytes = page + room;
    // One inaccessible page in front catches a negative index too.
    block = reinterpret_cast<float*>(reservation + page);
    ceiling = uint32_t(room / sizeof(float));
    wanted.store(0, std::memory_order_relaxed);
    refused = 0;
    grower = &g;
    grower->add(*this);
    if (registry) {
        registry->addGrowable(block, capacity);
        registered = true;
    }
}

bool MFAlignedArray::commit(uint32_t samples) {
    if (!reservation || samples > ceiling)
        return false;
    const std::size_t need = wholePages(std::size_t(samples) * sizeof(float));
    if (need <= residentBytes)
        return true;
    char* from = reinterpret_cast<char*>(block) + residentBytes;
    if (mprotect(from, need - residentBytes, PROT_READ | PROT_WRITE) != 0)
        return false;
    // Writing every page makes it resident here, so the audio thread never faults on it.
    std::memset(from, 0, need - residentBytes);
    residentBytes = need;
    capacity.store(uint32_t(need / sizeof(float)), std::memory_order_release);
    return true;
}

bool MFAlignedArray::growthPending() const {
    const uint32_t w = wanted.load(std::memory_order_relaxed);
    return w > capacity.load(std::memory_order_relaxed) && w != refused;
}

bool MFAlignedArray::serveRequest() {
    const uint32_t w = wanted.load(std::memory_order_relaxed);
    if (commit(w))
        return true;
    refused = w;
    return false;
}

void MFAlignedArray::setSize(uint32_t samples) {
    if (samples <= capacity.load(std::memory_order_relaxed)) {
        size = samples;
        return;
    }
    if (reservation) {
        if (!grower->growNow(*this, samples))
            throw std::bad_alloc();
        size = samples;
        return;
    }
    const uint32_t old = capacity.load(std::memory_order_relaxed);
    float* grown = allocateSamples(samples, aligned);
    if (block)
        std::memcpy(grown, block, std::size_t(old) * sizeof(float));
    std::memset(grown + old, 0, std::size_t(samples - old) * sizeof(float));
    if (block) {
        if (registered && registry)
            registry->remove(block);
        std::free(block);
    }
    block = grown;
    capacity.store(samples, std::memory_order_release);
    size = samples;
    registered = false;
    if (registry) {
        registry->add(block, std::size_t(samples) * sizeof(float));
        registered = true;
    }
}

bool MFAlignedArray::requestSize(uint32_t samples) {
    const uint32_t room = capacity.load(std::memory_order_acquire);
    if (samples <= room) {
        size = samples;
        return true;
    }
    if (!reservation || !grower->onAudioThread()) {
        setSize(samples);
        return true;
    }
    // Growth never runs on the audio thread: the grower is asked, and until it has made
    // the room resident the caller plays within what there is.
    const uint32_t ask = samples < ceiling ? samples : ceiling;
    if (ask > wanted.load(std::memory_order_relaxed)) {
        wanted.store(ask, std::memory_order_relaxed);
        grower->wake();
    }
    size = room;
    return false;
}

void MFAlignedArray::clear() {
    if (block)
        std::memset(block, 0,
                    std::size_t(capacity.load(std::memory_order_acquire)) * sizeof(float));
}
