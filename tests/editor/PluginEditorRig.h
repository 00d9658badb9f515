#pragma once

#include "EditorTestSupport.h"

#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "engine/MFUniClient.h"
#include "presets/PresetTestSupport.h"
#include "support/FakeHost.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
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
    // Chooses an effect's page as the effect column does (the Filter's is 9).
    void showPage(int32_t page) { plugin().setParameter(320, float(page) * 0.071428575f); }
    uint32_t pixel(int x, int y) { return pixelAt(frame().getBackBuffer(), x, y); }

    FakeHost host;
};

// The same white noise at every run, at half of full scale.
inline float noiseAt(int64_t sample) {
    uint32_t x = uint32_t(sample) * 2654435761u + 12345u;
    x ^= x >> 15;
    x *= 2246822519u;
    x ^= x >> 13;
    return 0.5f * (float(x) * (2.0f / 4294967296.0f) - 1.0f);
}

// Plays noise through the plug-in at 48 kHz and 120 bpm, the sequencer in sixteenth steps
// of 6000 samples by the host's song position, the Filter fully wet at unity master level.
// afterBlock sees the samples played so far; the left output is returned.
constexpr int64_t noiseStepSamples = 6000;
inline std::vector<float> playNoise(PluginWithEditor& rig, int64_t samples,
                                    const std::function<void(int64_t)>& afterBlock = {}) {
    constexpr float rate = 48000.0f;
    constexpr int block = 256;
    MFUniClient& p = rig.plugin();
    p.setSampleRate(rate);
    p.setParameter(1, 0.5f); // "masterlevel": unity
    p.resume();
    rig.host.setPlaying(0.0, 120.0);
    p.setParameter(499, 0.15f); // "Tempo": four steps per beat
    p.setParameter(501, 0.0f);  // position by the host's song position
    p.setParameter(49, 1.0f);   // "FilterMix"
    std::vector<float> l(block), r(block), ol(block), orr(block), out;
    for (int64_t sample = 0; sample < samples;) {
        for (int k = 0; k < block; ++k)
            l[std::size_t(k)] = r[std::size_t(k)] = noiseAt(sample + k);
        float* in[2] = {l.data(), r.data()};
        float* o[2] = {ol.data(), orr.data()};
        p.processReplacing(in, o, block);
        out.insert(out.end(), ol.begin(), ol.end());
        rig.host.advance(block, rate);
        sample += block;
        if (afterBlock)
            afterBlock(sample);
    }
    return out;
}

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

using presettest::MessageCapture;

} // namespace editortest
