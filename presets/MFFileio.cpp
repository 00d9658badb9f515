#include "presets/MFFileio.h"

#include "presets/MFPaths.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Opens without following into a FIFO or device wait, then insists on a regular file.
int openRegular(const char* path, int flags, struct stat& info) {
    const int fd = ::open(path, flags | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return -1;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool readFully(int fd, void* buffer, std::size_t count) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = ::read(fd, bytes + done, count - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        done += std::size_t(got);
    }
    return true;
}

bool writeFully(int fd, const void* buffer, std::size_t count) {
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t put = ::write(fd, bytes + done, count - done);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        done += std::size_t(put);
    }
    return true;
}

bool atEnd(int fd) {
    unsigned char extra;
    for (;;) {
        const ssize_t got = ::read(fd, &extra, 1);
        if (got < 0 && errno == EINTR)
            continue;
        return got == 0;
    }
}

} // namespace

bool MFFileio::list(const std::string& folder, bool withFolders, bool withFiles) {
    listed.clear();
    // An unset path is no folder: never fall back to whatever the current folder is.
    if (folder.empty())
        return false;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return false;
    while (listed.size() < maxListedEntries) {
        const dirent* entry = ::readdir(dir);
        if (!entry)
            break;
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        bool folderFlag = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK)
            folderFlag = isFolder(MFPaths::join(folder, entry->d_name));
        if (folderFlag ? withFolders : withFiles)
            listed.push_back(Entry{entry->d_name, folderFlag});
    }
    ::closedir(dir);
    return true;
}

bool MFFileio::readFileBytes(const char* path, void* buffer, std::size_t count) {
    if (!path || !buffer || std::strlen(path) < 2)
        return false;
    struct stat info;
    // Read-only: factory presets installed for all users belong to root.
    const int fd = openRegular(path, O_RDONLY, info);
    if (fd < 0)
        return false;
    const bool ok = readFully(fd, buffer, count);
    ::close(fd);
    return ok;
}

bool MFFileio::writeFileBytes(const char* path, const void* buffer, std::size_t count) {
    if (!path || std::strlen(path) < 2 || (!buffer && count > 0))
        return false;
    return writeFileAtomically(path, buffer, count);
}

MFFileio::ReadStatus MFFileio::readWholeFile(const char* path, int32_t expectedWords,
                                             std::unique_ptr<uint32_t[]>& words) {
    words.reset();
    if (!path)
        return ReadStatus::unreadable;
    struct stat info;
    const int fd = openRegular(path, O_RDONLY, info);
    if (fd < 0)
        return ReadStatus::unreadable;
    ReadStatus status = ReadStatus::ok;
    const std::size_t fileBytes = std::size_t(info.st_size);
    if (info.st_size < 0 || fileBytes > maxPresetBytes)
        status = ReadStatus::tooLarge;
    else if (expectedWords <= 0 || std::size_t(expectedWords) * 4 != fileBytes)
        status = ReadStatus::sizeMismatch;
    if (status == ReadStatus::ok) {
        std::unique_ptr<uint32_t[]> buffer(new uint32_t[std::size_t(expectedWords)]());
        // The file may change under us: exactly the announced bytes, then its end.
        if (readFully(fd, buffer.get(), fileBytes) && atEnd(fd))
            words = std::move(buffer);
        else
            status = ReadStatus::sizeMismatch;
    }
    ::close(fd);
    return status;
}

MFFileio::ReadStatus MFFileio::readSmallFile(const char* path, std::size_t maxBytes,
                                             std::string& text) {
    text.clear();
    if (!path)
        return ReadStatus::unreadable;
    struct stat info;
    const int fd = openRegular(path, O_RDONLY, info);
    if (fd < 0) {
        struct stat entry;
        return ::lstat(path, &entry) != 0 && errno == ENOENT ? ReadStatus::missing
                                                             : ReadStatus::unreadable;
    }
    ReadStatus status = ReadStatus::ok;
    if (info.st_size < 0 || std::size_t(info.st_size) > maxBytes) {
        status = ReadStatus::tooLarge;
    } else {
        text.resize(std::size_t(info.st_size));
        if (!readFully(fd, text.data(), text.size()) || !atEnd(fd))
            status = ReadStatus::unreadable;
    }
    ::close(fd);
    if (status != ReadStatus::ok)
        text.clear();
    return status;
}

bool MFFileio::writeFileAtomically(const char* path, const void* buffer, std::size_t count) {
    if (!path || !path[0])
        return false;
    // The temporary name is unique per process; O_EXCL refuses to reuse a stale one.
    std::string temporary = std::string(path) + ".tmp-" + std::to_string(::getpid());
    ::unlink(temporary.c_str());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    bool ok = writeFully(fd, buffer, count) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok)
        ok = ::rename(temporary.c_str(), path) == 0;
    if (!ok)
        ::unlink(temporary.c_str());
    return ok;
}

bool MFFileio::makeFolders(const std::string& folder) {
    if (folder.empty())
        return false;
    std::string partial;
    std::size_t start = 0;
    while (start <= folder.size()) {
        std::size_t end = folder.find(MFPaths::separator, start);
        if (end == std::string::npos)
            end = folder.size();
        partial = folder.substr(0, end);
        if (!partial.empty() && ::mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST)
            return false;
        start = end + 1;
    }
    return isFolder(folder);
}

bool MFFileio::isFolder(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}
