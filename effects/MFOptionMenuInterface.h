#pragma once

// What an effect fills with the names of a division table; the editor's option
// menus implement it.
class MFOptionMenuInterface {
public:
    virtual ~MFOptionMenuInterface() = default;
    virtual void addEntry(const char* text) = 0;
};
