#include "MFEditorSnapshot.h"

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "engine/MFUniClient.h"

#include <fstream>
#include <memory>

namespace {
constexpr int32_t pageTag = 320;
// The page selector's scale: the value that the page index takes as a parameter.
constexpr float pageScale = 0.071428575f;
// No state is anywhere near this size; a larger file is not a preset.
constexpr std::streamoff largestPreset = 16 * 1024 * 1024;
// A point on the about button.
const CPoint aboutButton(219, 28);
const CPoint browserButton(100, 29); // the main preset browser's closed look
// Idles before the picture is taken, so that everything bound has settled.
constexpr int settleIdles = 3;

constexpr const char* pageNames[MFEditorSnapshot::pageCount] = {
    "x-loop",  "loop",  "scratchloop", "reverse", "stretch", "vinyl", "tonal-delay",
    "stutter", "crush", "filter",      "phaser",  "chorus",  "delay", "reverb"};

intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    return opcode == vst::audioMasterVersion ? 2400 : 0;
}
} // namespace

MFEditorSnapshot::~MFEditorSnapshot() {
    if (image)
        cairo_surface_destroy(image);
}

const char* MFEditorSnapshot::pageName(int page) {
    return page >= 0 && page < pageCount ? pageNames[page] : "start";
}

bool MFEditorSnapshot::readPreset(const std::string& path, std::vector<char>& data,
                                  std::string& error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot read " + path;
        return false;
    }
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size <= 0 || size > largestPreset) {
        error = path + " is not a preset file";
        return false;
    }
    file.seekg(0);
    data.resize(static_cast<std::size_t>(size));
    file.read(data.data(), size);
    return true;
}

bool MFEditorSnapshot::render(const std::vector<char>& preset, int page, bool about, bool browser) {
    auto plugin = std::make_unique<MFUniClient>(&hostCallback, &MFUniClientEditor::create);
    // The plug-in reads the state from memory it may touch: a copy of the caller's bytes.
    std::vector<char> state = preset;
    if (!state.empty() && plugin->setChunk(state.data(), int32_t(state.size()), true) == 0) {
        message = "the plug-in did not accept the preset";
        return false;
    }
    if (page >= 0 && page < pageCount)
        plugin->setParameter(pageTag, float(page) * pageScale);

    auto* editor = static_cast<MFUniClientEditor*>(plugin->getEditor());
    editor->openHeadless();
    if (about) {
        editor->getFrame()->onMouseDown(aboutButton, cbutton::left);
        editor->getFrame()->onMouseUp(aboutButton, cbutton::left);
    }
    if (browser) {
        editor->getFrame()->onMouseDown(browserButton, cbutton::left);
        editor->getFrame()->onMouseUp(browserButton, cbutton::left);
    }
    for (int i = 0; i < settleIdles; ++i)
        editor->idle();

    // A copy without alpha: the window is opaque, and the picture outlives the editor.
    cairo_surface_t* drawn = editor->getFrame()->getBackBuffer();
    const int width = cairo_image_surface_get_width(drawn);
    const int height = cairo_image_surface_get_height(drawn);
    if (image)
        cairo_surface_destroy(image);
    image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cairo_t* cr = cairo_create(image);
    cairo_set_source_surface(cr, drawn, 0, 0);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_flush(image);
    editor->close();
    return true;
}

bool MFEditorSnapshot::writePng(const std::string& path) {
    if (!image) {
        message = "nothing drawn";
        return false;
    }
    if (cairo_surface_write_to_png(image, path.c_str()) != CAIRO_STATUS_SUCCESS) {
        message = "cannot write " + path;
        return false;
    }
    // Read back, so that a truncated or unwritable file is reported here and not later.
    cairo_surface_t* check = cairo_image_surface_create_from_png(path.c_str());
    const bool readable =
        cairo_surface_status(check) == CAIRO_STATUS_SUCCESS &&
        cairo_image_surface_get_width(check) == cairo_image_surface_get_width(image) &&
        cairo_image_surface_get_height(check) == cairo_image_surface_get_height(image);
    cairo_surface_destroy(check);
    if (!readable) {
        message = "the picture written to " + path + " does not read back";
        return false;
    }
    return true;
}
