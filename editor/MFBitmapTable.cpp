// STAND-IN, replaced on merge by the skin branch's table, which decodes the embedded
// skin. Until then the table is empty: every control draws its fallback.
#include "editor/MFBitmapTable.h"

namespace {
int uses = 0;
} // namespace

void MFBitmapTable::acquire() {
    ++uses;
}

void MFBitmapTable::release() {
    if (uses > 0)
        --uses;
}

CBitmap* MFBitmapTable::getBitmap(int) {
    return nullptr;
}

int MFBitmapTable::useCount() {
    return uses;
}
