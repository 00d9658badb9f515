#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One preset category: the whole state (number 0) or one effect (1 to 14). It names the
// content folder, the settings keys ("presetpath%d" by number) and the file extension.
class MFPresetCategory {
public:
    static constexpr int32_t count = 15;
    static constexpr const char* wholeStateExtension = "cdz";

    std::string name;
    std::string fileTypeName;
    int32_t number = 0;
    bool isNamedKey = false;
    bool useKeyFirst = false;
    bool userFolder = false;
    std::string keyName;
    std::string extension;

    // The 15 records in list order, as the plug-in builds them at construction.
    static std::vector<MFPresetCategory> makeList();
    // The file extension of a category number; "cdz" for 0 and for unknown numbers.
    static const char* extensionFor(int32_t number);
    // The record with this number and isNamedKey 0, or null.
    static const MFPresetCategory* findByNumber(const std::vector<MFPresetCategory>& list,
                                                int32_t number);
};
