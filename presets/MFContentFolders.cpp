#include "presets/MFContentFolders.h"

#include "presets/MFFileio.h"
#include "presets/MFPaths.h"

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

bool readable(const std::string& path) {
    return !path.empty() && ::access(path.c_str(), R_OK) == 0;
}

bool holdsPresets(const std::string& root) {
    return !root.empty() &&
           MFFileio::isFolder(MFPaths::join(root, MFContentFolders::presetsFolder));
}

bool holdsManual(const std::string& folder) {
    return !folder.empty() && (readable(MFPaths::join(folder, MFContentFolders::manualHtml)) ||
                               readable(MFPaths::join(folder, MFContentFolders::manualPdf)));
}

} // namespace

std::vector<std::string> MFContentFolders::dataDirs() {
    const char* value = std::getenv("XDG_DATA_DIRS");
    const std::string_view list = value && value[0] ? value : defaultDataDirs;
    std::vector<std::string> dirs;
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find(':', start);
        if (end == std::string_view::npos)
            end = list.size();
        std::string dir(list.substr(start, end - start));
        if (!dir.empty() && dir[0] == MFPaths::separator) {
            MFPaths::addTrailingSeparator(dir);
            dirs.push_back(std::move(dir));
        }
        start = end + 1;
    }
    return dirs;
}

std::string MFContentFolders::findFactoryRoot(std::string_view product,
                                              const std::string& moduleFolder) {
    for (const std::string& dir : dataDirs()) {
        const std::string root = MFPaths::vendorFolder(dir, product);
        if (holdsPresets(root))
            return root;
    }
    if (moduleFolder.empty())
        return {};
    std::string beside = moduleFolder;
    MFPaths::addTrailingSeparator(beside);
    if (holdsPresets(beside))
        return beside;
    // <prefix>/lib/vst/ -> <prefix>/share/: an install under a prefix no XDG folder names.
    const std::filesystem::path prefix =
        (std::filesystem::path(beside) / ".." / "..").lexically_normal();
    const std::string shared = MFPaths::vendorFolder((prefix / "share").string(), product);
    return holdsPresets(shared) ? shared : std::string();
}

std::string MFContentFolders::findManualFolder(const std::string& moduleFolder,
                                               const std::string& factoryRoot) {
    if (!holdsManual(moduleFolder) && holdsManual(factoryRoot))
        return factoryRoot;
    return moduleFolder;
}

std::string MFContentFolders::defaultPresetPath(const std::string& userPresets,
                                                const std::string& factoryPresets) {
    const std::string own =
        userPresets.empty() ? std::string() : MFPaths::join(userPresets, defaultPreset);
    if (readable(own) || factoryPresets.empty())
        return own;
    return MFPaths::join(factoryPresets, defaultPreset);
}
