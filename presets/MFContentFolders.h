#pragma once

#include <string>
#include <string_view>
#include <vector>

// Where the plug-in finds its content without being told: the factory content, read-only
// and shared by every user of the machine, lies in "Maple Forge/<product>/" under one of
// the XDG data folders or beside the plug-in file; the manual lies beside the plug-in or
// in the factory content. The user's own presets live elsewhere (the settings' preset
// folders, under the XDG data home), so nothing here is ever written.
class MFContentFolders {
public:
    static constexpr const char* presetsFolder = "Presets";
    static constexpr const char* defaultPreset = "default.cdz";
    static constexpr const char* manualHtml = "Manual.htm";
    static constexpr const char* manualPdf = "Manual.pdf";
    // What XDG prescribes when $XDG_DATA_DIRS is unset or empty.
    static constexpr const char* defaultDataDirs = "/usr/local/share/:/usr/share/";

    // The entries of $XDG_DATA_DIRS in order, each with a trailing separator; relative
    // entries are dropped, as XDG says.
    static std::vector<std::string> dataDirs();
    // The first folder that holds a "Presets" folder, from: "Maple Forge/<product>/" in
    // each data folder in order; the plug-in's own folder; "share/Maple Forge/<product>/"
    // of the prefix the plug-in is installed under ("<prefix>/lib/vst/"). Empty if none.
    static std::string findFactoryRoot(std::string_view product, const std::string& moduleFolder);
    // The folder holding the manual: the plug-in's own folder, else the factory root; the
    // plug-in's own folder when neither holds one.
    static std::string findManualFolder(const std::string& moduleFolder,
                                        const std::string& factoryRoot);
    // The start-up preset: "default.cdz" of the user's preset folder when there is one,
    // else that of the factory preset folder. Either folder may be empty.
    static std::string defaultPresetPath(const std::string& userPresets,
                                         const std::string& factoryPresets);
};
