#pragma once

#include <atomic>

// A value that one thread writes and another reads without a lock. Each access
// is a single relaxed atomic load or store: on x86-64 this compiles to the same
// plain move as a float field, but the C++ memory model knows it is shared.
template <typename T> class MFRelaxed {
public:
    constexpr MFRelaxed() noexcept : value(T{}) {}
    constexpr MFRelaxed(T v) noexcept : value(v) {}
    MFRelaxed(const MFRelaxed& other) noexcept : value(other.load()) {}
    MFRelaxed& operator=(const MFRelaxed& other) noexcept {
        store(other.load());
        return *this;
    }
    MFRelaxed& operator=(T v) noexcept {
        store(v);
        return *this;
    }
    operator T() const noexcept { return load(); }
    T load() const noexcept { return value.load(std::memory_order_relaxed); }
    void store(T v) noexcept { value.store(v, std::memory_order_relaxed); }

private:
    std::atomic<T> value;
    static_assert(std::atomic<T>::is_always_lock_free, "shared values must be lock-free");
};

// A handshake byte: the writer publishes with release, the reader observes with acquire,
// so that whatever was written before the flag changed is visible after it is seen.
class MFFlag {
public:
    constexpr MFFlag(bool v = false) noexcept : value(v ? 1 : 0) {}
    MFFlag(const MFFlag&) = delete;
    MFFlag& operator=(const MFFlag&) = delete;
    void set(bool v) noexcept { value.store(v ? 1 : 0, std::memory_order_release); }
    bool get() const noexcept { return value.load(std::memory_order_acquire) != 0; }
    explicit operator bool() const noexcept { return get(); }

private:
    std::atomic<unsigned char> value;
};
