// cadenzoid-snapshot: draws the editor without a display and writes it as a PNG, for a
// given state (a preset file) and page. Used by the tests and for pictures of the editor.

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "engine/MFUniClient.h"

#include <cairo.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {
constexpr const char* usage =
    "usage: cadenzoid-snapshot [--preset FILE] [--page N] [-o FILE.png]\n"
    "  --preset FILE   load a preset file (the plug-in's state) before drawing\n"
    "  --page N        show the page of the Nth effect from the top, 0 (X-Loop) to 13\n"
    "  --about         with the about panel open, as a click on its button opens it\n"
    "  -o FILE.png     where to write the picture (default cadenzoid-snapshot.png)\n";
constexpr int pageCount = 14;
constexpr int32_t pageTag = 320;
// The page selector's scale: the value that the page index takes as a parameter.
constexpr float pageScale = 0.071428575f;
// No state is anywhere near this size; a larger file is not a preset.
constexpr std::streamoff largestPreset = 16 * 1024 * 1024;
// A point on the about button.
const CPoint aboutButton(219, 28);
// Idles before the picture is taken, so that everything bound has settled.
constexpr int settleIdles = 3;

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "cadenzoid-snapshot: %s\n", message.c_str());
    std::exit(1);
}

intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    return opcode == vst::audioMasterVersion ? 2400 : 0;
}

std::vector<char> readPreset(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        fail("cannot read " + path);
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size <= 0 || size > largestPreset)
        fail(path + " is not a preset file");
    file.seekg(0);
    std::vector<char> data(static_cast<std::size_t>(size));
    file.read(data.data(), size);
    return data;
}
} // namespace

// Read by a leak checker only: fontconfig leaks a few hundred bytes once per process while
// it parses its configuration, which sanitized builds of this tool would otherwise report.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}

int main(int argc, char** argv) {
    std::string preset, output = "cadenzoid-snapshot.png";
    int page = -1;
    bool about = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc)
                fail("missing value after " + a);
            return argv[++i];
        };
        if (a == "--preset") {
            preset = value();
        } else if (a == "--page") {
            const std::string text = value();
            char* end = nullptr;
            const long n = std::strtol(text.c_str(), &end, 10);
            if (text.empty() || *end || n < 0 || n >= pageCount)
                fail("page must be 0 to 13, not '" + text + "'");
            page = int(n);
        } else if (a == "--about") {
            about = true;
        } else if (a == "-o") {
            output = value();
        } else if (a == "-h" || a == "--help") {
            std::fputs(usage, stdout);
            return 0;
        } else {
            std::fputs(usage, stderr);
            fail("unknown option " + a);
        }
    }

    MFUniClient* plugin = new MFUniClient(&hostCallback, &MFUniClientEditor::create);
    if (!preset.empty()) {
        std::vector<char> data = readPreset(preset);
        if (plugin->setChunk(data.data(), int32_t(data.size()), true) == 0)
            fail("the plug-in did not accept " + preset);
    }
    if (page >= 0)
        plugin->setParameter(pageTag, float(page) * pageScale);

    auto* editor = static_cast<MFUniClientEditor*>(plugin->getEditor());
    editor->openHeadless();
    if (about) {
        editor->getFrame()->onMouseDown(aboutButton, cbutton::left);
        editor->getFrame()->onMouseUp(aboutButton, cbutton::left);
    }
    for (int i = 0; i < settleIdles; ++i)
        editor->idle();
    cairo_surface_t* picture = editor->getFrame()->getBackBuffer();
    if (cairo_surface_write_to_png(picture, output.c_str()) != CAIRO_STATUS_SUCCESS)
        fail("cannot write " + output);
    const int width = cairo_image_surface_get_width(picture);
    const int height = cairo_image_surface_get_height(picture);
    editor->close();
    delete plugin;

    // Read back, so that a truncated or unwritable file is reported here and not later.
    cairo_surface_t* check = cairo_image_surface_create_from_png(output.c_str());
    const bool readable = cairo_surface_status(check) == CAIRO_STATUS_SUCCESS &&
                          cairo_image_surface_get_width(check) == width &&
                          cairo_image_surface_get_height(check) == height;
    cairo_surface_destroy(check);
    if (!readable)
        fail("the picture written to " + output + " does not read back");
    std::printf("cadenzoid-snapshot: wrote %s (%d x %d)\n", output.c_str(), width, height);
    return 0;
}
