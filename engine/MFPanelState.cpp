#include "engine/MFPanelState.h"

bool MFPanelState::bit(int32_t index) const {
    if (index < 0 || index >= bitCount)
        return false;
    return (words[index / 32].load(std::memory_order_relaxed) >> (index % 32)) & 1u;
}

bool MFPanelState::setBit(int32_t index, bool on) {
    if (index < 0 || index >= bitCount)
        return false;
    const uint32_t mask = 1u << (index % 32);
    const uint32_t old = on ? words[index / 32].fetch_or(mask, std::memory_order_relaxed)
                            : words[index / 32].fetch_and(~mask, std::memory_order_relaxed);
    const bool changed = ((old & mask) != 0) != on;
    if (changed)
        requestRedraw();
    return changed;
}

void MFPanelState::page(int32_t ownerBit, std::initializer_list<int32_t> mask, int32_t state) {
    const bool shown = bit(ownerBit);
    int32_t place = 0;
    for (int32_t b : mask) {
        setBit(b, shown && place == state);
        ++place;
    }
}

void MFPanelState::showEffectPage(int32_t pageBit) {
    for (int32_t b = 1; b <= 14; ++b)
        setBit(b, b == pageBit);
}
