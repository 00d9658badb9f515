#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The per-user settings: a flat set of named string and integer values kept in a small
// text file, "<config>/Maple Forge/<product>/settings". Every change rewrites the file
// through a temporary file and a rename, so a crash leaves either the old or the new file;
// between beginChanges and commitChanges the changes are collected and written once.
// A damaged line reads as an absent value: the reader caps the line length and the number
// of entries, drops any line it cannot parse, and takes CRLF line ends as LF. A file that
// exists but cannot be read (no permission, over the size cap, not a regular file) is
// never overwritten: the store opens without values and refuses every change, and says so
// once. The writer never produces a file the reader would refuse.
// Main thread only; no caching beyond one open/close.
class MFSettingsStore {
public:
    static constexpr std::size_t valueBytes = 1024; // longest string value + 1
    static constexpr std::size_t maxFileBytes = 256 * 1024;
    static constexpr std::size_t maxLineBytes = 4096;
    static constexpr std::size_t maxEntries = 1024;
    static constexpr const char* fileName = "settings";

    // configRoot is the folder that holds "Maple Forge"; empty means the XDG config folder.
    explicit MFSettingsStore(std::string configRoot = {});
    ~MFSettingsStore();
    MFSettingsStore(const MFSettingsStore&) = delete;
    MFSettingsStore& operator=(const MFSettingsStore&) = delete;

    // Loads the product's values, creating its folder when missing; false (a null handle,
    // on which every operation returns 0) when the folder cannot be had.
    bool open(const char* productName);
    bool isOpen() const { return opened; }
    // True when the file exists but could not be read: every change is refused.
    bool isReadOnly() const { return readOnly; }
    // 1 with the value in out; 0 when absent or of the other kind, out unchanged.
    int32_t getInteger(const char* name, int32_t& out) const;
    // Copies at most capacity - 1 bytes (and at most valueBytes - 1), terminated.
    int32_t getString(const char* name, char* out, std::size_t capacity) const;
    int32_t getString(const char* name, std::string& out) const;
    // Delete any old value of that name (of either kind), then write; 1 when the file
    // was rewritten (or, between beginChanges and commitChanges, when the change was
    // taken). Strings are cut to valueBytes - 1 bytes. A change that would make the file
    // larger than the reader takes is refused and leaves the values as they were.
    int32_t setInteger(const char* name, int32_t value);
    int32_t setString(const char* name, const char* text);
    // Collects the following changes for one write at commitChanges.
    void beginChanges();
    // Writes the collected changes in one atomic replacement; true when nothing was
    // pending or the file was written.
    bool commitChanges();
    // Commits what is pending, then forgets the values. Idempotent; also fine on a store
    // that never opened.
    void close();

    // The file the store reads and writes for a product (empty without a config root).
    std::string filePath(const char* productName) const;

    // The product name the one-shot helpers below use; "undefined" until the entry point
    // sets it. Set it before any other thread can use the helpers.
    static void setGlobalProductName(const char* name);
    static const char* globalProductName();
    // Open the store under the global product name (XDG config root), do one thing, close.
    static int32_t readInteger(const char* name, int32_t& out);
    static int32_t readString(const char* name, char* out, std::size_t capacity);
    static int32_t writeInteger(const char* name, int32_t value);
    static int32_t writeString(const char* name, const char* text);

private:
    struct Entry {
        std::string name;
        bool isInteger = false;
        int32_t integer = 0;
        std::string text;
    };

    const Entry* find(const char* name) const;
    void erase(const char* name);
    void parse(const std::string& content);
    int32_t put(Entry entry);
    std::string serialise() const;
    bool save() const;

    std::string rootOverride;
    std::string folder;
    std::vector<Entry> entries;
    bool opened = false;
    bool readOnly = false;
    bool collecting = false;
    bool pending = false;
    bool reportedUnreadable = false;
};
