#pragma once

// Extra data a menu line may carry; the line owns it.
class MFOptionMenuUserEntry {
public:
    virtual ~MFOptionMenuUserEntry() = default;
};
