#include "effects/MFDivisionSet.h"

#include <iterator>

namespace {
// Classification is by exact float comparison against these reference lists.
constexpr float straightValues[] = {0.25f,   1.0f,     0.5f,      0.25f,     0.125f,
                                    0.0625f, 0.03125f, 0.015625f, 0.0078125f};
constexpr float tripletValues[] = {0.666666f,  0.3333333f, 0.1666667f, 0.0833333f,
                                   0.0416667f, 0.0208333f, 0.0104167f, 0.0052083f};
constexpr float dottedValues[] = {1.5f,     0.75f,     0.375f,     0.1875f,
                                  0.09375f, 0.046875f, 0.0234375f, 0.0117188f};

template <std::size_t N> bool contains(const float (&list)[N], float v) {
    for (float x : list)
        if (x == v)
            return true;
    return false;
}

const MFDivisionSet::Row barRows[] = {
    {0.0f, "Off"},       {4.0f, "4 bars"},   {3.0f, "3 bars"},     {2.0f, "2 bars"},
    {1.5f, "1.5 bars"},  {1.0f, "bar"},      {0.75f, "3//4 bar"},  {0.5f, "1//2 bar"},
    {0.375f, "3//8"},    {0.25f, "1\\4"},    {0.1875f, "3//16"},   {0.125f, "1//8"},
    {0.09375f, "3//32"}, {0.0625f, "1//16"}, {0.046875f, "3//64"}, {0.03125f, "1//32"},
};

const MFDivisionSet::Row noteRows[] = {
    {1.0f, "bar"},        {0.666666f, "1\\1T"},   {0.5f, "1\\2"},         {0.3333333f, "1\\2T"},
    {0.25f, "1\\4"},      {0.1666667f, "1\\4T"},  {0.125f, "1\\8"},       {0.0833333f, "1\\8T"},
    {0.0625f, "1\\16"},   {0.0416667f, "1\\16T"}, {0.03125f, "1\\32"},    {0.0208333f, "1\\32T"},
    {0.015625f, "1\\64"}, {0.0104167f, "1\\64T"}, {0.0078125f, "1\\128"}, {0.0052083f, "1\\128T"},
};

const MFDivisionSet::Row shortRows[] = {
    {0.5f, "1\\2"},      {0.3333333f, "1\\2T"},  {0.25f, "1\\4"},    {0.1666667f, "1\\4T"},
    {0.125f, "1\\8"},    {0.0833333f, "1\\8T"},  {0.0625f, "1\\16"}, {0.0416667f, "1\\16T"},
    {0.03125f, "1\\32"}, {0.0208333f, "1\\32T"},
};
} // namespace

MFDivisionSet::MFDivisionSet(const Row* rows, int rowCount) {
    for (int i = 0; i < rowCount; ++i) {
        const float v = rows[i].length;
        const bool isStraight = contains(straightValues, v);
        tables[full].add(v, rows[i].name);
        if (isStraight)
            tables[straight].add(v, rows[i].name);
        if (isStraight || contains(tripletValues, v))
            tables[straightTriplet].add(v, rows[i].name);
        if (isStraight || contains(dottedValues, v))
            tables[straightDotted].add(v, rows[i].name);
    }
}

const MFDivisionTable& MFDivisionSet::table(int variant) const {
    if (variant < 0 || variant >= variantCount)
        variant = full;
    return tables[variant];
}

const MFDivisionSet& MFDivisionSet::bars() {
    static const MFDivisionSet set(barRows, int(std::size(barRows)));
    return set;
}

const MFDivisionSet& MFDivisionSet::noteValues() {
    static const MFDivisionSet set(noteRows, int(std::size(noteRows)));
    return set;
}

const MFDivisionSet& MFDivisionSet::shortValues() {
    static const MFDivisionSet set(shortRows, int(std::size(shortRows)));
    return set;
}
