#pragma once

#include <atomic>
#include <cstdint>

// How a thread that rebuilds structures keeps the audio thread out of its block, without
// a lock. The audio thread marks itself inside and then looks for holds; a holder adds
// its hold and then looks whether the audio thread is inside. Both sides use sequentially
// consistent accesses, so at least one of them sees the other: either the block stays
// silent or the holder waits for it to end.
//
// Holds are counted: a structure change and a state load may overlap, and each releases
// only its own hold, so neither can end the silence the other still needs.
class MFLoadHandshake {
public:
    // Audio thread, at the start of a block: false while any hold stands; the block is
    // then silent and must not call leaveBlock.
    bool enterBlock() noexcept {
        inside.store(true, std::memory_order_seq_cst);
        if (holds.load(std::memory_order_seq_cst) == 0)
            return true;
        inside.store(false, std::memory_order_release);
        return false;
    }
    // Audio thread, at the end of a block that entered.
    void leaveBlock() noexcept { inside.store(false, std::memory_order_release); }

    // Any other thread: the audio thread stays out from its next block on, until release.
    void hold() noexcept { holds.fetch_add(1, std::memory_order_seq_cst); }
    void release() noexcept { holds.fetch_sub(1, std::memory_order_release); }
    // Whether the audio thread is inside a block; after a hold, false means it stays out,
    // and everything it wrote in its last block is visible.
    bool audioInside() const noexcept { return inside.load(std::memory_order_seq_cst); }
    bool held() const noexcept { return holds.load(std::memory_order_acquire) > 0; }

private:
    std::atomic<int32_t> holds{0};
    std::atomic<bool> inside{false};
};
