#pragma once

#include "editor/controls/MFOptionMenuUserEntry.h"

#include <memory>
#include <string>

class MFOptionMenu;

// One line of a menu. The line owns its sub-menu and its extra data.
struct MFOptionMenuEntryInfo {
    std::unique_ptr<MFOptionMenu> subMenu;
    std::unique_ptr<MFOptionMenuUserEntry> userEntry;
    std::string title;
    bool enabled = true;    // the line can be chosen
    bool separator = false; // drawn as a rule, never chosen
};
