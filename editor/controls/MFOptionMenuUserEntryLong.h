#pragma once

#include "editor/controls/MFOptionMenuUserEntry.h"

#include <cstdint>

// A menu line's extra data: one 32-bit number.
class MFOptionMenuUserEntryLong : public MFOptionMenuUserEntry {
public:
    explicit MFOptionMenuUserEntryLong(int32_t number) : value(number) {}
    int32_t getValue() const { return value; }
    void setValue(int32_t number) { value = number; }

private:
    int32_t value;
};
