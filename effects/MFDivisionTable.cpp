#include "effects/MFDivisionTable.h"

#include "platform/MFText.h"

#include <cstring>

void MFDivisionTable::add(float length, const char* name) {
    if (count >= maxEntries)
        return;
    Entry& e = entries[count++];
    e.length = length;
    mfCopyText(e.name, sizeof e.name, name);
    countAsFloat = float(count);
    countRecip = 1.0f / float(count);
}

int MFDivisionTable::rowFor(float v) const {
    if (count <= 0)
        return 0;
    int row = int((1.0f - v) * float(count - 1) + 0.5f);
    // Values outside 0..1 would index past the table; keep them on its ends.
    if (row < 0)
        row = 0;
    if (row >= count)
        row = count - 1;
    return row;
}
