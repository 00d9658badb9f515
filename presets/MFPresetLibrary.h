#pragma once

#include "pattern/MFChunk.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The preset tree in memory: each subfolder of the root is one folder of up to 128
// presets, each preset a chunk holding its whole file, so that a MIDI program change
// needs no disk access. The tree may span several roots (the read-only factory content
// and the user's own): subfolders of the same name are one folder, and a file the user
// has under the same name as a factory file takes its place. scan and rescanFolder run
// on the main thread only; the readers are plain lookups that neither allocate nor lock.
class MFPresetLibrary {
public:
    static constexpr int32_t maxFolders = 128;
    static constexpr int32_t maxPresets = 128;
    static constexpr std::size_t nameCharacters = 64;
    static constexpr const char* midiFolderName = "Midi Programs";
    // All presets together stay below this, whatever lies on disk.
    static constexpr std::size_t maxTotalBytes = 256u * 1024u * 1024u;

    explicit MFPresetLibrary(std::string extension = "cdz", int32_t minVersion = 1,
                             int32_t productId = 110108);
    MFPresetLibrary(const MFPresetLibrary&) = delete;
    MFPresetLibrary& operator=(const MFPresetLibrary&) = delete;

    // Rebuilds all folders from the subfolders of rootPath. A missing root leaves the
    // library empty.
    void scan(const std::string& rootPath);
    // The same over several roots, lowest precedence first: a preset in a later root
    // replaces one of the same folder and name in an earlier root. Missing roots are
    // skipped.
    void scan(const std::vector<std::string>& rootPaths);
    // Scans the roots of the last scan again.
    void rescan();
    // Rebuilds one folder from disk, from every root that holds a folder of its name;
    // out-of-range indexes do nothing.
    void rescanFolder(int32_t index);

    // Exact-name lookups; -1 when absent.
    int32_t folderIndex(const char* name) const;
    int32_t presetIndex(int32_t folder, const char* name) const;
    // The chunk, positioned at 0, or null.
    MFChunk* preset(int32_t folder, int32_t index) const;
    // Copies at most 64 characters of the name (fewer if capacity is smaller), or "empty".
    void presetName(char* out, std::size_t capacity, int32_t folder, int32_t index) const;
    // The file a preset was read from (in whichever root it lies), or empty.
    const std::string& presetPath(int32_t folder, int32_t index) const;
    // The chunk at index of the "Midi Programs" folder, or null.
    MFChunk* midiProgram(int32_t index) const;

    // All presets as one list, folder after folder in library order: the host's programs.
    int32_t programCount() const;
    // Where a program of that list lies; false when there is none.
    bool programAt(int32_t program, int32_t& folder, int32_t& index) const;
    // A preset's place in that list, or -1.
    int32_t programNumber(int32_t folder, int32_t index) const;

    int32_t folderCount() const { return usedFolders; }
    int32_t presetCount(int32_t folder) const;
    const std::string& folderName(int32_t folder) const;
    int32_t midiFolder() const { return midiFolderIndex; }
    // The last root of the last scan: the user's, where presets saved into a folder go.
    const std::string& rootPath() const { return root; }
    // Every root of the last scan, each with a trailing separator, lowest precedence first.
    const std::vector<std::string>& rootPaths() const { return roots; }
    const std::string& extension() const { return fileExtension; }

private:
    struct Folder {
        std::string name;
        std::vector<std::unique_ptr<MFChunk>> presets;
        std::vector<std::string> paths; // the file of each preset
        std::size_t bytes = 0;
    };

    bool validFolder(int32_t folder) const { return folder >= 0 && folder < usedFolders; }
    void scanFolder(Folder& folder);
    std::unique_ptr<MFChunk> loadPreset(const std::string& path, const std::string& fileName,
                                        std::size_t budget) const;
    std::size_t totalBytes() const;

    std::string root;
    std::vector<std::string> roots;
    std::array<Folder, maxFolders> folders;
    std::string fileExtension;
    int32_t minVersion;
    int32_t productId;
    int32_t midiFolderIndex = -1;
    int32_t usedFolders = 0;
};
