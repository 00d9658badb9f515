#pragma once

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

// Sets the processor's rounding to toward zero for the life of the scope and
// restores the previous mode after. Constants of the engine rely on truncation.
class MFRoundingGuard {
public:
#if defined(__x86_64__) || defined(__i386__)
    static constexpr unsigned roundingBits = 0x6000; // MXCSR bits 13 and 14
    MFRoundingGuard() : saved(_mm_getcsr() & roundingBits) {
        _mm_setcsr(_mm_getcsr() | roundingBits);
    }
    ~MFRoundingGuard() {
        _mm_setcsr((_mm_getcsr() & ~roundingBits) | saved);
    }
#else
    MFRoundingGuard() : saved(unsigned(std::fegetround())) {
        std::fesetround(FE_TOWARDZERO);
    }
    ~MFRoundingGuard() {
        std::fesetround(int(saved));
    }
#endif
    MFRoundingGuard(const MFRoundingGuard&) = delete;
    MFRoundingGuard& operator=(const MFRoundingGuard&) = delete;

private:
    unsigned saved;
};
