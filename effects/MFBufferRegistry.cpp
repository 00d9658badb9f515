#include "effects/MFBufferRegistry.h"

#include <cstring>

void MFBufferRegistry::clearAll() {
    for (const Entry& e : entries)
        std::memset(e.data, 0, e.length());
}

std::size_t MFBufferRegistry::totalBytes() const {
    std::size_t total = 0;
    for (const Entry& e : entries)
        total += e.length();
    return total;
}
