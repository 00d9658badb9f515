#include "support/AllocationCounter.h"

#include <sys/resource.h>

#include <cstdlib>
#include <new>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {
thread_local std::size_t allocations = 0;
thread_local int openScopes = 0;

inline void note() {
    if (openScopes > 0)
        ++allocations;
}

long threadFaults() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt + usage.ru_majflt;
}
} // namespace

AllocationCounter::AllocationCounter() : startCount(allocations), startFaults(threadFaults()) {
    ++openScopes;
}
AllocationCounter::~AllocationCounter() {
    --openScopes;
}
std::size_t AllocationCounter::count() const {
    return allocations - startCount;
}
long AllocationCounter::pageFaults() const {
    return threadFaults() - startFaults;
}

extern "C" {
void* malloc(std::size_t n) {
    note();
    return __libc_malloc(n);
}
void* calloc(std::size_t a, std::size_t b) {
    note();
    return __libc_calloc(a, b);
}
void* realloc(void* p, std::size_t n) {
    note();
    return __libc_realloc(p, n);
}
void* aligned_alloc(std::size_t alignment, std::size_t n) {
    note();
    return __libc_memalign(alignment, n);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t n) {
    note();
    *out = __libc_memalign(alignment, n);
    return *out ? 0 : 12;
}
void free(void* p) {
    __libc_free(p);
}
}

void* operator new(std::size_t n) {
    note();
    if (void* p = __libc_malloc(n ? n : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
    return operator new(n);
}
void* operator new(std::size_t n, std::align_val_t a) {
    note();
    if (void* p = __libc_memalign(std::size_t(a), n ? n : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n, std::align_val_t a) {
    return operator new(n, a);
}
void operator delete(void* p) noexcept {
    __libc_free(p);
}
void operator delete[](void* p) noexcept {
    __libc_free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    __libc_free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    __libc_free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
    __libc_free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
    __libc_free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
    __libc_free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
    __libc_free(p);
}
