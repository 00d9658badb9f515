#pragma once

#include <cstddef>
#include <new>

// Marker base: objects of a derived class are allocated on a 32-byte boundary, so
// that their float state can be read with wide loads.
class MFAligned {
public:
    static constexpr std::size_t alignment = 32;

    static void* operator new(std::size_t size) {
        return ::operator new(size, std::align_val_t(alignment));
    }
    static void operator delete(void* p) noexcept {
        ::operator delete(p, std::align_val_t(alignment));
    }
};
