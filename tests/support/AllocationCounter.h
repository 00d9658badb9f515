#pragma once

#include <cstddef>

// Counts heap allocations made by the current thread while a scope is open.
// Linked only into the realtime test executable, which replaces the global
// allocator (operator new and the malloc family) with counting versions.
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    std::size_t count() const;

private:
    std::size_t startCount;
};
