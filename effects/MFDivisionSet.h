#pragma once

#include "effects/MFDivisionTable.h"

// A division table with its three filtered variants: straight values only,
// straight and triplet, straight and dotted.
class MFDivisionSet {
public:
    enum Variant { full = 0, straight = 1, straightTriplet = 2, straightDotted = 3 };
    static constexpr int variantCount = 4;

    struct Row {
        float length;
        const char* name;
    };

    MFDivisionSet(const Row* rows, int rowCount);

    const MFDivisionTable& table(int variant) const;

    // The three sets built once at load.
    static const MFDivisionSet& bars();
    static const MFDivisionSet& noteValues();
    static const MFDivisionSet& shortValues();

private:
    MFDivisionTable tables[variantCount];
};
