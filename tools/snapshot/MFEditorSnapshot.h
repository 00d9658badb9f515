#pragma once

#include <cairo.h>

#include <string>
#include <vector>

// A picture of the editor drawn without a display: a fresh plug-in with a state and a page,
// its editor opened headless and idled until everything bound has settled. The snapshot tool
// and the reference pictures of the tests draw through this one path.
class MFEditorSnapshot {
public:
    static constexpr int pageCount = 14;

    MFEditorSnapshot() = default;
    ~MFEditorSnapshot();
    MFEditorSnapshot(const MFEditorSnapshot&) = delete;
    MFEditorSnapshot& operator=(const MFEditorSnapshot&) = delete;

    // preset: a preset file's bytes, or empty for the start-up state. page: 0 (X-Loop) to 13
    // (Reverb), the effects from the top, or -1 for the start-up page. about: with the about
    // panel open; browser: with the main preset browser open. False, with the reason in
    // error(), when the plug-in refuses the state.
    bool render(const std::vector<char>& preset, int page, bool about, bool browser = false);
    // The file name of the picture with the main browser open, beside the pages'.
    static constexpr const char* browserName = "browser-open";
    // The last picture, opaque RGB; null before a render.
    cairo_surface_t* picture() const { return image; }
    // Writes the last picture as a PNG and reads it back. False with the reason in error().
    bool writePng(const std::string& path);
    const std::string& error() const { return message; }

    // The page's name in file names: "x-loop", "loop", ... "reverb".
    static const char* pageName(int page);
    // A preset file's bytes; false for a file that cannot be read or is no preset.
    static bool readPreset(const std::string& path, std::vector<char>& data, std::string& error);

private:
    cairo_surface_t* image = nullptr;
    std::string message;
};
