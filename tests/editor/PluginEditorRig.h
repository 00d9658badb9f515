#pragma once

#include "EditorTestSupport.h"

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "engine/MFUniClient.h"
#include "platform/MFMessageService.h"
#include "support/FakeHost.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// The whole plug-in with its editor, and the odds and ends the tests of the editor in its
// layout share.
namespace editortest {

// A plug-in made as the library's entry point makes it, with its editor, in a fake host.
struct PluginWithEditor {
    PluginWithEditor() {
        host.attach(new MFUniClient(FakeHost::callback(), &MFUniClientEditor::create));
    }
    MFUniClient& plugin() { return host.plugin(); }
    MFUniClientEditor& editor() { return *static_cast<MFUniClientEditor*>(plugin().getEditor()); }
    MFFrame& frame() { return *editor().getFrame(); }
    intptr_t dispatch(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr,
                      float opt = 0.0f) {
        vst::AEffect* e = plugin().getAeffect();
        return e->dispatcher(e, opcode, index, value, ptr, opt);
    }
    void idle() { dispatch(vst::effEditIdle); }
    void click(CPoint where, long buttons = cbutton::left) {
        frame().onMouseDown(where, buttons);
        frame().onMouseUp(where, buttons);
    }
    float raw(int32_t tag) { return plugin().getRegistry().rawValue(tag); }
    uint32_t pixel(int x, int y) { return pixelAt(frame().getBackBuffer(), x, y); }

    FakeHost host;
};

inline CPoint centre(const CRect& r) {
    return CPoint((r.left + r.right) / 2, (r.top + r.bottom) / 2);
}

// A folder of its own under the system's temporary folder, removed at the end.
struct TempFolder {
    TempFolder() {
        namespace fs = std::filesystem;
        std::string pattern = (fs::temp_directory_path() / "cdz-editortest-XXXXXX").string();
        root = mkdtemp(pattern.data());
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    void file(const std::string& relative) const {
        std::filesystem::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << "x";
    }
    std::string path() const { return root.string() + "/"; }
    std::filesystem::path root;
};

// Collects the modal messages shown while it lives, instead of showing them.
struct MessageRecorder {
    MessageRecorder() {
        texts().clear();
        MFMessageService::setHandler([](MFMessageService::Kind, const char* text) {
            texts().emplace_back(text);
            return false;
        });
    }
    ~MessageRecorder() { MFMessageService::setHandler(nullptr); }
    static std::vector<std::string>& texts() {
        static std::vector<std::string> shown;
        return shown;
    }
};

} // namespace editortest
