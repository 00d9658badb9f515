// Hostile XY table bodies, every older form included: bounded sizes and row counts only.
#include "FuzzContext.h"
#include "pattern/MFTableXY.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFTableXY table(fuzzContext(), 32, true);
    table.setRowCount(12);
    MFChunk skip;
    skip.attachCopy(data, size);
    const int32_t skipStatus = table.readChunk(skip, true);
    if (table.getSize() != 32 || table.getRowCount() != 12 || table.getName() != "Default")
        std::abort(); // skip must change nothing

    MFChunk real;
    real.attachCopy(data, size);
    const int32_t status = table.readChunk(real, false);
    if (status != skipStatus || (status == 1 && real.position != skip.position))
        std::abort();
    table.clearFlags(MFTable::flagBusy);
    for (float row = 0.0f; row < static_cast<float>(table.getRowCount()); row += 0.5f) {
        table.setRow(row);
        table.valueAtPosition(row);
        table.normalisedAt(row);
    }
    fuzzCheckRewrite(table);
    return 0;
}
