#pragma once

#include <cstddef>

// Counts heap allocations made by the current thread while a scope is open.
// Linked only into the realtime test executable, which replaces the global
// allocator (operator new and the malloc family) with counting versions.
// It also counts the thread's page faults: memory made resident on this thread
// (a buffer grown in place, a fresh page touched) shows there, not in the allocator.
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    std::size_t count() const;
    long pageFaults() const;

private:
    std::size_t startCount;
    long startFaults;
};
