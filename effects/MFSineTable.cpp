#include "effects/MFSineTable.h"

#include <cmath>

MFSineTable::MFSineTable() {
    for (int k = 0; k <= size; ++k)
        sine[k] = std::sin(2.0f * 3.14159265f * float(k) / float(size));
    for (int k = 0; k < size; ++k)
        slope[k] = sine[k + 1] - sine[k];
}

const MFSineTable& MFSineTable::instance() {
    static const MFSineTable table;
    return table;
}
