#pragma once

#include <string>
#include <string_view>

// Path helpers with the two stored forms the settings rely on: a folder is kept with a
// trailing separator, and "the folder of a file" is the path cut behind its last separator.
// The XDG helpers locate the per-user settings and content roots.
class MFPaths {
public:
    static constexpr char separator = '/';

    // Appends a separator to a non-empty path that does not end in one; true if appended.
    static bool addTrailingSeparator(std::string& path);
    // The path up to and including its last separator; empty when it has none.
    static std::string folderOf(std::string_view path);
    // The file name without folder and without the extension behind its last point.
    static std::string nameOf(std::string_view path);
    // The name of the folder holding the file, without separators; empty at the top.
    static std::string parentFolderName(std::string_view path);
    // folder + name, with exactly one separator between them when folder is non-empty.
    static std::string join(std::string_view folder, std::string_view name);

    // $XDG_CONFIG_HOME or $HOME/.config, with a trailing separator; empty if neither exists.
    static std::string configHome();
    // $XDG_DATA_HOME or $HOME/.local/share, with a trailing separator; empty if neither.
    static std::string dataHome();
    // base + "Maple Forge/" + product + "/"; empty when base is empty.
    static std::string vendorFolder(std::string_view base, std::string_view product);
    // The content root used when the settings name none: the XDG data folder's vendor folder.
    static std::string defaultContentRoot(std::string_view product);
};
