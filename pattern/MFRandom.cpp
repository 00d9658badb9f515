#include "pattern/MFRandom.h"

#include <atomic>

namespace {
// Relaxed atomic only so that two editor threads cannot race on it formally; the
// sequence is deterministic from a single thread.
std::atomic<int32_t> generatorState{MFRandom::initialSeed};
} // namespace

int32_t MFRandom::nextState() {
    const int32_t s = step(generatorState.load(std::memory_order_relaxed));
    generatorState.store(s, std::memory_order_relaxed);
    return s;
}

float MFRandom::next() {
    return toUnit(nextState());
}

int32_t MFRandom::state() {
    return generatorState.load(std::memory_order_relaxed);
}

void MFRandom::reseed(int32_t seed) {
    generatorState.store(seed, std::memory_order_relaxed);
}
