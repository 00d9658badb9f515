#pragma once

#include "platform/MFFileDialog.h"
#include "presets/MFPresetCategory.h"

#include <cstdint>
#include <string>
#include <vector>

class MFPresetHost;
class MFPresetLibrary;
class MFSettingsStore;

// The preset file flows: load, save, next and previous. Files are the state chunk byte
// for byte; the magic, the writer version and the size word are checked before the
// state reader sees anything. Main thread only.
class MFPresetManager {
public:
    static constexpr const char* productName = "Cadenzoid";
    static constexpr const char* noDialogNotice =
        "No file dialog is available. Install zenity or kdialog to choose preset files.";

    // settings is opened under settingsProduct for each flow and closed again.
    MFPresetManager(MFPresetHost& host, MFPresetLibrary& library, MFSettingsStore& settings,
                    std::string settingsProduct, MFFileDialog& dialog,
                    std::vector<MFPresetCategory> categories);

    // Loads a preset file into the category; with path null the open dialog asks for one.
    // True when the state reader was called. Categories outside 0..14 do nothing.
    bool loadPreset(const char* path, int32_t category, const char* extension = "cdz");
    // Saves the category's state; name is the file path, or null to ask with the save
    // dialog. True when the file was written.
    bool savePreset(const char* name, int32_t category, const char* extension = "cdz");
    // Loads the file after (or before) the current preset of the category in its load
    // folder, wrapping at either end. Whole states step through the host's programs.
    void nextPreset(int32_t category);
    void previousPreset(int32_t category);

    void setFileDialog(MFFileDialog& replacement) { dialog = &replacement; }
    // The read-only factory content root ("<root>/<category name>/" per category), or
    // empty. Its folders join the user's in the dialogs and in previous and next; saves
    // never start in it.
    void setFactoryRoot(const std::string& root);
    MFFileDialog& getFileDialog() const { return *dialog; }

    // The category's folder in the factory content, with a trailing separator, or empty.
    std::string factoryFolder(int32_t category) const;

private:
    static bool validCategory(int32_t category);
    void stepPreset(int32_t category, int32_t direction);
    // Where the save dialog starts: the remembered folder unless it lies in the factory
    // content, else the user's own save folder, created when missing.
    std::string saveFolder(int32_t category, const std::string& key);
    // True for the category's own load and save folders (and "User" below the load
    // folder) outside the factory content: the folders a first save may create.
    bool isOwnSaveFolder(int32_t category, const std::string& folder);
    std::string readSetting(const char* key);
    void writeSetting(const char* key, const std::string& value);

    MFPresetHost& host;
    MFPresetLibrary& library;
    MFSettingsStore& settings;
    std::string settingsProduct;
    MFFileDialog* dialog;
    std::vector<MFPresetCategory> categories;
    std::string factoryRoot;
};
