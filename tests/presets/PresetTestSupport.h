#pragma once

#include "platform/MFMessageService.h"
#include "support/ScopedEnv.h"

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ftw.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace presettest {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempFolder {
public:
    TempFolder() {
        char pattern[] = "/tmp/cadenzoid-presets-XXXXXX";
        const char* made = ::mkdtemp(pattern);
        root = made ? std::string(made) + "/" : std::string();
    }
    ~TempFolder() {
        if (!root.empty())
            ::nftw(root.c_str(), &removeOne, 16, FTW_DEPTH | FTW_PHYS);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // Path of a name inside the folder; the name may contain subfolders.
    std::string path(const std::string& name) const { return root + name; }
    // Creates a subfolder (and its parents) and returns its path with a trailing '/'.
    std::string folder(const std::string& name) const {
        std::string full = root;
        std::size_t start = 0;
        while (start < name.size()) {
            std::size_t end = name.find('/', start);
            if (end == std::string::npos)
                end = name.size();
            full += name.substr(start, end - start) + "/";
            ::mkdir(full.c_str(), 0755);
            start = end + 1;
        }
        return full;
    }
    const std::string& base() const { return root; }

private:
    static int removeOne(const char* path, const struct stat*, int, struct FTW*) {
        return ::remove(path);
    }
    std::string root;
};

inline bool writeFile(const std::string& path, const void* bytes, std::size_t count) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const bool ok = std::fwrite(bytes, 1, count, file) == count;
    return std::fclose(file) == 0 && ok;
}

inline bool writeText(const std::string& path, const std::string& text) {
    return writeFile(path, text.data(), text.size());
}

inline std::string readText(const std::string& path) {
    std::string text;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return text;
    char buffer[4096];
    std::size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        text.append(buffer, got);
    std::fclose(file);
    return text;
}

// Runs check as an unprivileged user and returns its result (0..255). As root, permission
// bits mean nothing to open(), so the check runs in a child that gave its rights up;
// otherwise it runs here. -1 when the child could not be made.
template <typename Check> int asUnprivilegedUser(Check check) {
    if (::geteuid() != 0)
        return check();
    const pid_t child = ::fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        if (::setgid(nobody) != 0 || ::setuid(nobody) != 0)
            ::_exit(255);
        ::_exit(check());
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

inline bool exists(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0;
}

inline bool isFolder(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The words of a small preset as the state writer lays it out: the five-word header,
// header length 5, plug-in version, format version, product id, then the payload.
struct PresetWords {
    int32_t writerVersion = 3;
    int32_t pluginVersion = 1;
    int32_t format = 3;
    int32_t productId = 110108;
    int32_t magic = 26101977;
    std::vector<int32_t> payload{42, -1};

    std::vector<uint32_t> build() const {
        std::vector<uint32_t> words{0, // the size, filled in below
                                    uint32_t(writerVersion),
                                    std::bit_cast<uint32_t>(120.0f),
                                    std::bit_cast<uint32_t>(44100.0f),
                                    uint32_t(magic),
                                    5,
                                    uint32_t(pluginVersion),
                                    uint32_t(format)};
        if (format >= 2)
            words.push_back(uint32_t(productId));
        words.insert(words.end(), payload.begin(), payload.end());
        words[0] = uint32_t(words.size());
        return words;
    }
    bool writeTo(const std::string& path) const {
        const std::vector<uint32_t> words = build();
        return writeFile(path, words.data(), words.size() * 4);
    }
};

// Collects every text the message service would have shown while in scope.
class MessageCapture {
public:
    MessageCapture() {
        texts().clear();
        MFMessageService::setHandler(&record);
    }
    ~MessageCapture() { MFMessageService::setHandler(nullptr); }
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    const std::vector<std::string>& shown() const { return texts(); }
    void clear() { texts().clear(); }

private:
    static std::vector<std::string>& texts() {
        static std::vector<std::string> all;
        return all;
    }
    static bool record(MFMessageService::Kind, const char* text) {
        texts().push_back(text);
        return false;
    }
};

using ::ScopedEnv;

} // namespace presettest
