// cadenzoid-snapshot: draws the editor without a display and writes it as a PNG, for a
// given state (a preset file) and page, or every page at once. Used by the tests and for
// pictures of the editor.

#include "MFEditorSnapshot.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {
constexpr const char* usage =
    "usage: cadenzoid-snapshot [--preset FILE] [--page N] [--about] [-o FILE.png]\n"
    "       cadenzoid-snapshot [--preset FILE] --all-pages DIR\n"
    "  --preset FILE    load a preset file (the plug-in's state) before drawing\n"
    "  --page N         show the page of the Nth effect from the top, 0 (X-Loop) to 13\n"
    "  --about          with the about panel open, as a click on its button opens it\n"
    "  -o FILE.png      where to write the picture (default cadenzoid-snapshot.png)\n"
    "  --all-pages DIR  write every page as DIR/page-NN-NAME.png (the tests' references)\n";

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "cadenzoid-snapshot: %s\n", message.c_str());
    std::exit(1);
}

void writeOne(MFEditorSnapshot& snapshot, const std::vector<char>& preset, int page, bool about,
              const std::string& output) {
    if (!snapshot.render(preset, page, about) || !snapshot.writePng(output))
        fail(snapshot.error());
    std::printf("cadenzoid-snapshot: wrote %s (%d x %d)\n", output.c_str(),
                cairo_image_surface_get_width(snapshot.picture()),
                cairo_image_surface_get_height(snapshot.picture()));
}
constexpr int filterPage = 9;
} // namespace

// Read by a leak checker only: fontconfig leaks a few hundred bytes once per process while
// it parses its configuration, which sanitized builds of this tool would otherwise report.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}

int main(int argc, char** argv) {
    std::string preset, output = "cadenzoid-snapshot.png", allPages;
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
            if (text.empty() || *end || n < 0 || n >= MFEditorSnapshot::pageCount)
                fail("page must be 0 to 13, not '" + text + "'");
            page = int(n);
        } else if (a == "--about") {
            about = true;
        } else if (a == "-o") {
            output = value();
        } else if (a == "--all-pages") {
            allPages = value();
        } else if (a == "-h" || a == "--help") {
            std::fputs(usage, stdout);
            return 0;
        } else {
            std::fputs(usage, stderr);
            fail("unknown option " + a);
        }
    }

    std::vector<char> state;
    std::string error;
    if (!preset.empty() && !MFEditorSnapshot::readPreset(preset, state, error))
        fail(error);

    MFEditorSnapshot snapshot;
    if (allPages.empty()) {
        writeOne(snapshot, state, page, about, output);
        return 0;
    }
    for (int p = 0; p < MFEditorSnapshot::pageCount; ++p) {
        char name[64];
        std::snprintf(name, sizeof name, "/page-%02d-%s.png", p, MFEditorSnapshot::pageName(p));
        writeOne(snapshot, state, p, about, allPages + name);
    }
    if (!snapshot.render(state, filterPage, false, true) ||
        !snapshot.writePng(allPages + "/" + MFEditorSnapshot::browserName + ".png"))
        fail(snapshot.error());
    std::printf("cadenzoid-snapshot: wrote %s/%s.png\n", allPages.c_str(),
                MFEditorSnapshot::browserName);
    return 0;
}
