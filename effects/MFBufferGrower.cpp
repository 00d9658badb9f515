#include "effects/MFBufferGrower.h"

#include "effects/MFAlignedArray.h"

#include <pthread.h>

#include <algorithm>

MFBufferGrower::~MFBufferGrower() {
    if (!worker.joinable())
        return;
    stopping.store(true, std::memory_order_release);
    requests.fetch_add(1, std::memory_order_release);
    requests.notify_one();
    worker.join();
}

void MFBufferGrower::add(MFAlignedArray& array) {
    std::lock_guard<std::mutex> guard(lock);
    arrays.push_back(&array);
    if (!worker.joinable()) {
        worker = std::thread([this] { run(); });
        // Named, so that a host's thread list shows whose it is.
        pthread_setname_np(worker.native_handle(), "cdz-buffers");
    }
}

void MFBufferGrower::remove(MFAlignedArray& array) {
    std::lock_guard<std::mutex> guard(lock);
    arrays.erase(std::remove(arrays.begin(), arrays.end(), &array), arrays.end());
}

void MFBufferGrower::wake() {
    if (onAudioThread()) {
        wakeAtBlockEnd = true;
        return;
    }
    if (signalled.exchange(true, std::memory_order_acq_rel))
        return;
    requests.fetch_add(1, std::memory_order_release);
    requests.notify_one();
}

void MFBufferGrower::leaveAudioBlock() {
    audioThread.store(std::thread::id(), std::memory_order_relaxed);
    if (wakeAtBlockEnd) {
        wakeAtBlockEnd = false;
        wake();
    }
}

bool MFBufferGrower::growNow(MFAlignedArray& array, uint32_t samples) {
    std::lock_guard<std::mutex> guard(lock);
    return array.commit(samples);
}

bool MFBufferGrower::busy() const {
    std::lock_guard<std::mutex> guard(lock);
    for (const MFAlignedArray* a : arrays)
        if (a->growthPending())
            return true;
    return false;
}

bool MFBufferGrower::serveAll() {
    bool grown = false;
    for (MFAlignedArray* a : arrays)
        if (a->growthPending())
            grown = a->serveRequest() || grown;
    return grown;
}

void MFBufferGrower::run() {
    uint32_t seen = 0;
    for (;;) {
        requests.wait(seen, std::memory_order_acquire);
        seen = requests.load(std::memory_order_acquire);
        if (stopping.load(std::memory_order_acquire))
            return;
        // Cleared before the buffers are looked at: a request noted after this wakes again.
        signalled.exchange(false, std::memory_order_acq_rel);
        // Counted before the lock is let go: whoever sees the requests served sees the count.
        std::lock_guard<std::mutex> guard(lock);
        if (serveAll())
            delivered.fetch_add(1, std::memory_order_release);
    }
}
