#include "presets/MFPaths.h"

#include <cstdlib>

namespace {

// XDG says relative values are invalid and must be ignored.
std::string xdgFolder(const char* variable, const char* fallbackUnderHome) {
    const char* value = std::getenv(variable);
    std::string folder;
    if (value && value[0] == MFPaths::separator) {
        folder = value;
    } else {
        const char* home = std::getenv("HOME");
        if (!home || home[0] != MFPaths::separator)
            return {};
        folder = MFPaths::join(home, fallbackUnderHome);
    }
    MFPaths::addTrailingSeparator(folder);
    return folder;
}

} // namespace

bool MFPaths::addTrailingSeparator(std::string& path) {
    if (path.empty() || path.back() == separator)
        return false;
    path.push_back(separator);
    return true;
}

std::string MFPaths::folderOf(std::string_view path) {
    const std::size_t last = path.rfind(separator);
    if (last == std::string_view::npos)
        return {};
    return std::string(path.substr(0, last + 1));
}

std::string MFPaths::nameOf(std::string_view path) {
    const std::size_t last = path.rfind(separator);
    std::string_view name = last == std::string_view::npos ? path : path.substr(last + 1);
    const std::size_t point = name.rfind('.');
    if (point != std::string_view::npos)
        name = name.substr(0, point);
    return std::string(name);
}

std::string MFPaths::parentFolderName(std::string_view path) {
    const std::size_t last = path.rfind(separator);
    if (last == std::string_view::npos || last == 0)
        return {};
    const std::string_view folder = path.substr(0, last);
    const std::size_t before = folder.rfind(separator);
    return std::string(before == std::string_view::npos ? folder : folder.substr(before + 1));
}

std::string MFPaths::join(std::string_view folder, std::string_view name) {
    std::string path(folder);
    addTrailingSeparator(path);
    path.append(name);
    return path;
}

std::string MFPaths::configHome() {
    return xdgFolder("XDG_CONFIG_HOME", ".config");
}

std::string MFPaths::dataHome() {
    return xdgFolder("XDG_DATA_HOME", ".local/share");
}

std::string MFPaths::vendorFolder(std::string_view base, std::string_view product) {
    if (base.empty())
        return {};
    std::string folder = join(join(base, "Maple Forge"), product);
    addTrailingSeparator(folder);
    return folder;
}

std::string MFPaths::defaultContentRoot(std::string_view product) {
    return vendorFolder(dataHome(), product);
}
