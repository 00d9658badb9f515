#pragma once

#include <cstddef>
#include <cstring>

// Copies text into a fixed buffer of capacity bytes, cutting it if needed; the result
// is always terminated. A capacity of 0 writes nothing.
inline void mfCopyText(char* out, std::size_t capacity, const char* text) {
    if (capacity == 0)
        return;
    const std::size_t length = text ? strnlen(text, capacity - 1) : 0;
    std::memcpy(out, text ? text : "", length);
    out[length] = '\0';
}
