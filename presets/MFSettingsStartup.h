#pragma once

#include "presets/MFPresetCategory.h"

#include <cstdint>
#include <string>
#include <vector>

class MFSettingsStore;

// The settings steps of the plug-in's construction: defaults on the first start, the two
// switches, and the move of the old "presetpath" value to "presetpath0".
class MFSettingsStartup {
public:
    struct Switches {
        int32_t ignorePrgChange = 1;    // 1: MIDI program changes are ignored
        int32_t ccMapRecallIsolate = 0; // 1: presets leave the MIDI maps alone
    };

    // Opens store under productName, runs the steps and closes it again.
    // installFolder: the folder the plug-in file was loaded from, written as "installpath"
    // when absent. defaultContentRoot: the content root used when "contentpath" is absent.
    // categories: keyName of named-key records may be filled in, as the steps require.
    static Switches run(MFSettingsStore& store, const char* productName,
                        std::vector<MFPresetCategory>& categories, const std::string& installFolder,
                        const std::string& defaultContentRoot);
};
