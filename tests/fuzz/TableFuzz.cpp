// Hostile table bodies: never read outside the input, never allocate from an unchecked count.
#include "FuzzContext.h"
#include "pattern/MFTable.h"

static uint32_t bitsOfEntry(const MFTable& t, int32_t i) {
    const float v = t.rawEntry(i);
    uint32_t u;
    std::memcpy(&u, &v, 4);
    return u;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFTable table(fuzzContext(), 32);
    MFChunk skip;
    skip.attachCopy(data, size);
    const int32_t skipStatus = table.readChunk(skip, true);
    if (table.getSize() != 32 || table.getMaximum() != 1.0f)
        std::abort(); // skip must change nothing

    MFChunk real;
    real.attachCopy(data, size);
    const int32_t status = table.readChunk(real, false);
    if (status != skipStatus || (status == 1 && real.position != skip.position))
        std::abort();
    if (table.getSize() > 0 && bitsOfEntry(table, table.getSize()) != bitsOfEntry(table, 0))
        std::abort(); // the guard entry must repeat the first
    table.clearFlags(MFTable::flagBusy);
    fuzzCheckRewrite(table);
    return 0;
}
