#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

// Runs MIDI program changes away from the audio thread. A load allocates and must wait
// for the block in flight, so the audio thread only posts the number: one atomic store
// and a wake-up of the loader's thread, with no lock, no allocation and no wait. The
// loader takes the latest number posted and runs the load as any main-thread load does.
// The pattern buttons (init, copy, paste, random) that a learned controller or the host's
// automation presses on the audio thread are posted the same way, as bits.
class MFProgramLoader {
public:
    // What a load is, on the loader's thread.
    class Target {
    public:
        virtual ~Target() = default;
        virtual void loadProgramChange(int32_t number) = 0;
        // The actions posted since the last look, one bit each.
        virtual void runActions(uint32_t actions) = 0;
    };

    explicit MFProgramLoader(Target& target);
    ~MFProgramLoader();
    MFProgramLoader(const MFProgramLoader&) = delete;
    MFProgramLoader& operator=(const MFProgramLoader&) = delete;

    // Main thread. Starts the thread once; false when the system would not give one
    // (program changes are then dropped).
    bool start();
    // Main thread. Ends the thread after the load it may be running; a number posted
    // and not yet taken is dropped.
    void stop();
    bool isRunning() const { return running.load(std::memory_order_acquire); }

    // Audio thread. Posts a program number, replacing one not yet taken; false when the
    // loader is not running.
    bool request(int32_t number) noexcept;
    // Audio thread. Posts actions (bits, merged with those not yet taken); false when the
    // loader is not running.
    bool requestActions(uint32_t actions) noexcept;

    // Loads run so far; a test or a renderer waits on it.
    uint32_t completed() const { return finished.load(std::memory_order_acquire); }
    // Batches of actions run so far.
    uint32_t actionBatches() const { return actionsRun.load(std::memory_order_acquire); }

private:
    static constexpr int32_t none = -1;

    void run();

    Target& target;
    std::atomic<int32_t> pending{none};
    std::atomic<uint32_t> pendingActions{0};
    std::atomic<uint32_t> wakeups{0};
    std::atomic<bool> quitting{false};
    std::atomic<bool> running{false};
    std::atomic<uint32_t> finished{0};
    std::atomic<uint32_t> actionsRun{0};
    std::thread thread;
};
