#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

class MFAlignedArray;

// Grows sample buffers away from the audio thread. A buffer that grows in place
// (MFAlignedArray::reserve) and is asked for more room on the audio thread only notes
// the request and wakes this grower; its thread makes the pages resident and hands the
// room over with a release store, and the effect plays within what it has until then.
// The audio thread never locks or waits here: the lock below is between the grower's
// thread and the main thread, which adds and removes buffers.
class MFBufferGrower {
public:
    MFBufferGrower() = default;
    MFBufferGrower(const MFBufferGrower&) = delete;
    MFBufferGrower& operator=(const MFBufferGrower&) = delete;
    // Stops and joins the thread; every buffer has been removed by then.
    ~MFBufferGrower();

    // Main thread. The first buffer starts the thread.
    void add(MFAlignedArray& array);
    // Main thread; waits while the thread is growing this buffer.
    void remove(MFAlignedArray& array);

    // Any thread, lock-free: a buffer has a new request. Inside an audio block the
    // grower's thread is woken when the block ends.
    void wake();
    // Main thread: makes the room of one buffer resident now, on the calling thread.
    bool growNow(MFAlignedArray& array, uint32_t samples);

    // The thread that runs the audio block declares itself for the block's length;
    // a request made on it is handed to the grower's thread instead of being served.
    void enterAudioBlock() {
        audioThread.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    // Requests of the block are handed over at its end, so that the grower's work does not
    // compete with the rest of the block for the memory bus.
    void leaveAudioBlock();
    bool onAudioThread() const {
        return audioThread.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

    // Rounds of growth handed over so far; a change means that buffers have more room.
    uint32_t deliveries() const { return delivered.load(std::memory_order_acquire); }
    // True while a request is noted that the thread has not served or given up on.
    bool busy() const;

    // Runs on the audio thread as a block; records the thread for the scope.
    class AudioBlock {
    public:
        explicit AudioBlock(MFBufferGrower& g) : grower(g) { grower.enterAudioBlock(); }
        ~AudioBlock() { grower.leaveAudioBlock(); }
        AudioBlock(const AudioBlock&) = delete;
        AudioBlock& operator=(const AudioBlock&) = delete;

    private:
        MFBufferGrower& grower;
    };

private:
    void run();
    // Serves every noted request; returns whether any buffer grew. Caller holds `lock`.
    bool serveAll();

    mutable std::mutex lock;
    std::vector<MFAlignedArray*> arrays;
    std::thread worker;
    std::atomic<uint32_t> requests{0};
    // Set by a wake that is on its way, so several requests of one tick cost one wake-up.
    std::atomic<bool> signalled{false};
    // A request noted inside the audio block, handed over at its end (audio thread only).
    bool wakeAtBlockEnd = false;
    std::atomic<uint32_t> delivered{0};
    std::atomic<bool> stopping{false};
    std::atomic<std::thread::id> audioThread{};
};
