#include "engine/MFProgramLoader.h"

#include <system_error>

MFProgramLoader::MFProgramLoader(Target& loadTarget) : target(loadTarget) {}

MFProgramLoader::~MFProgramLoader() {
    stop();
}

bool MFProgramLoader::start() {
    if (isRunning())
        return true;
    quitting.store(false, std::memory_order_release);
    try {
        thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    }
    running.store(true, std::memory_order_release);
    return true;
}

void MFProgramLoader::stop() {
    if (!thread.joinable())
        return;
    running.store(false, std::memory_order_release);
    quitting.store(true, std::memory_order_release);
    wakeups.fetch_add(1, std::memory_order_release);
    wakeups.notify_one();
    thread.join();
    pending.store(none, std::memory_order_relaxed);
    pendingActions.store(0, std::memory_order_relaxed);
}

bool MFProgramLoader::request(int32_t number) noexcept {
    if (number < 0 || !isRunning())
        return false;
    pending.store(number, std::memory_order_release);
    // The count changes with every request, so the loader never sleeps past one; the
    // wake-up is a futex call that neither blocks nor allocates.
    wakeups.fetch_add(1, std::memory_order_release);
    wakeups.notify_one();
    return true;
}

bool MFProgramLoader::requestActions(uint32_t actions) noexcept {
    if (actions == 0 || !isRunning())
        return false;
    pendingActions.fetch_or(actions, std::memory_order_release);
    wakeups.fetch_add(1, std::memory_order_release);
    wakeups.notify_one();
    return true;
}

void MFProgramLoader::run() {
    uint32_t seen = 0;
    for (;;) {
        // Returns at once when a request came after the last look.
        wakeups.wait(seen, std::memory_order_acquire);
        seen = wakeups.load(std::memory_order_acquire);
        if (quitting.load(std::memory_order_acquire))
            return;
        // A program change first: actions posted with it act on the state it brings.
        const int32_t number = pending.exchange(none, std::memory_order_acq_rel);
        if (number != none) {
            target.loadProgramChange(number);
            finished.fetch_add(1, std::memory_order_release);
        }
        const uint32_t actions = pendingActions.exchange(0, std::memory_order_acq_rel);
        if (actions != 0) {
            target.runActions(actions);
            actionsRun.fetch_add(1, std::memory_order_release);
        }
    }
}
