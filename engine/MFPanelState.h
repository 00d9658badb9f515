#pragma once

#include "platform/MFRelaxed.h"

#include <atomic>
#include <cstdint>
#include <initializer_list>

// Which of the editor's panels and sub-panels are on display: 128 page bits that the
// engine's paging controls set and the editor reads at its idle. Any thread may change
// a bit; a change only asks the editor to redraw, it never draws.
class MFPanelState {
public:
    static constexpr int32_t bitCount = 128;
    static constexpr int32_t alwaysOnBit = 0;
    static constexpr int32_t patternStripBit = 45;
    static constexpr int32_t tapeStopBit = 46;
    static constexpr int32_t filterModeBits[2] = {47, 48};

    MFPanelState() { setBit(alwaysOnBit, true); }

    bool bit(int32_t index) const;
    // Returns whether the bit changed; a change requests a redraw.
    bool setBit(int32_t index, bool on);

    // A paging control: while the owner's page is off its bits are cleared; while it is
    // on, each bit of the mask takes its value in the chosen state.
    void page(int32_t ownerBit, std::initializer_list<int32_t> mask, int32_t state);
    // Shows the page of one effect (bits 1..14) and hides the others.
    void showEffectPage(int32_t pageBit);

    void requestRedraw() { redrawRequests.store(redrawRequests.load() + 1); }
    uint32_t redrawCount() const { return redrawRequests.load(); }
    uint32_t word(int32_t index) const { return words[index & 3].load(std::memory_order_relaxed); }
    // The four words themselves, for controls that test their page bit at each draw.
    const std::atomic<uint32_t>* pageWords() const { return words; }

    // Lane buttons store their place here: raw * place (1.001 for the first lane).
    MFRelaxed<float> laneMap[14];
    MFRelaxed<int32_t> effectPanel = 0;

private:
    std::atomic<uint32_t> words[bitCount / 32] = {};
    MFRelaxed<uint32_t> redrawRequests = 0u;
};
