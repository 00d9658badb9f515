#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// File and folder access for presets and settings. Everything here runs on the main
// thread; nothing trusts the size or type of what it finds on disk.
class MFFileio {
public:
    struct Entry {
        std::string name;
        bool isFolder = false;
    };

    // A preset never comes near this; anything larger is damaged or hostile.
    static constexpr std::size_t maxPresetBytes = 16u * 1024u * 1024u;
    // A listing stops here, so a pathological folder cannot exhaust memory or time.
    static constexpr std::size_t maxListedEntries = 4096;

    enum class ReadStatus { ok, missing, unreadable, tooLarge, sizeMismatch };

    // Lists a folder into entries(), "." and ".." dropped, in the order the system gives;
    // false (and no entries) when it cannot be opened or the path is empty. Symbolic links count as
    // what they point to.
    bool list(const std::string& folder, bool withFolders = true, bool withFiles = true);
    const std::vector<Entry>& entries() const { return listed; }
    std::size_t count() const { return listed.size(); }
    void clear() { listed.clear(); }

    // Reads the first count bytes of a regular file. False when path or buffer is null,
    // the path is shorter than 2 characters, the file does not open for reading or holds
    // fewer than count bytes.
    static bool readFileBytes(const char* path, void* buffer, std::size_t count);
    // Replaces the file with count bytes, atomically (temporary file, then rename).
    static bool writeFileBytes(const char* path, const void* buffer, std::size_t count);

    // Reads a whole preset whose header claims expectedWords words. The file must be a
    // regular file of exactly expectedWords * 4 bytes and at most maxPresetBytes; the
    // buffer is allocated only after both checks passed.
    static ReadStatus readWholeFile(const char* path, int32_t expectedWords,
                                    std::unique_ptr<uint32_t[]>& words);
    // Reads a regular file of at most maxBytes into text. missing only when nothing exists
    // at path; a file that exists but cannot be read whole is unreadable or tooLarge.
    static ReadStatus readSmallFile(const char* path, std::size_t maxBytes, std::string& text);
    // Writes to a temporary file in the same folder, syncs it and renames it over path.
    static bool writeFileAtomically(const char* path, const void* buffer, std::size_t count);
    // Creates a folder and its missing parents; true when it exists afterwards.
    static bool makeFolders(const std::string& folder);
    static bool isFolder(const std::string& path);

private:
    std::vector<Entry> listed;
};
