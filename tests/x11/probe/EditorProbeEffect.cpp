// A stand-in plug-in with the editor's outer shape, for testing the host's editor mode
// and the X11 window through the plug-in interface: 117 parameters, a window of 770 x 525
// that draws a gradient and one bar for parameter 101 in the place of the GlobalWet knob,
// turns it with a vertical drag there, and moves every parameter on F2. Audio passes
// through unchanged.

#include "platform/MFX11Window.h"
#include "vst/AEffGUIEditor.h"
#include "vst/AudioEffectX.h"

#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr int parameterCount = 117;
constexpr int wetIndex = 101;
constexpr int width = 770;
constexpr int height = 525;
constexpr int knobLeft = 558, knobTop = 447, knobRight = 632, knobBottom = 521;
constexpr float dragPerPixel = 0.005f;
constexpr int f2 = 41;

class EditorProbeEffect;

class EditorProbeEditor : public AEffGUIEditor, private MFWindowEvents {
public:
    explicit EditorProbeEditor(EditorProbeEffect& e) : effect(e) {}

    bool getRect(vst::ERect** out) override {
        *out = &rect;
        return true;
    }
    bool open(void* parent) override;
    void close() override { window.close(); }
    void idle() override;
    bool onKeyDown(int32_t, int32_t virtualKey, int32_t) override;
    bool onKeyUp(int32_t, int32_t, int32_t) override { return false; }

private:
    void windowMouseDown(int x, int y, long buttons) override;
    void windowMouseUp(int, int, long) override;
    void windowMouseMoved(int, int y, long) override;
    void windowWheel(int, int, float, long) override {}
    bool windowKeyDown(int virtualKey, int character, long modifiers) override {
        return onKeyDown(character, virtualKey, int32_t(modifiers));
    }
    void windowEnterLeave(bool) override {}
    void windowExpose(int x, int y, int w, int h) override {
        window.present(bytes(), width * 4, x, y, w, h);
    }
    void windowClosed() override {}

    void drawBackground();
    void drawKnob(float value);
    const unsigned char* bytes() const {
        return reinterpret_cast<const unsigned char*>(pixels.data());
    }

    EditorProbeEffect& effect;
    vst::ERect rect{0, 0, height, width};
    MFX11Window window;
    std::vector<uint32_t> pixels;
    float shown = -1.0f;
    bool dragging = false;
    int lastY = 0;
};

class EditorProbeEffect : public AudioEffectX {
public:
    explicit EditorProbeEffect(vst::HostCallback host) : AudioEffectX(host, 1, parameterCount) {
        setNumInputs(2);
        setNumOutputs(2);
        setUniqueID(vst::fourCC('p', 'r', 'e', 'd'));
        canProcessReplacing(true);
        values[wetIndex] = 1.0f;
        setEditor(new EditorProbeEditor(*this));
    }
    void processReplacing(float** in, float** out, int32_t frames) override {
        for (int c = 0; c < 2; ++c)
            if (in[c] != out[c])
                std::memmove(out[c], in[c], sizeof(float) * std::size_t(frames));
    }
    void setParameter(int32_t index, float value) override {
        if (index >= 0 && index < parameterCount)
            values[index] = value;
    }
    float getParameter(int32_t index) override {
        return index >= 0 && index < parameterCount ? values[index] : 0.0f;
    }
    void mutate() {
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        for (float& v : values)
            v = unit(random);
    }
    void beginEditing() { beginEdit(wetIndex); }
    void edit(float value) { setParameterAutomated(wetIndex, value); }
    void endEditing() { endEdit(wetIndex); }

private:
    float values[parameterCount] = {};
    std::mt19937 random{5};
};

bool EditorProbeEditor::open(void* parent) {
    pixels.assign(std::size_t(width) * height, 0u);
    drawBackground();
    shown = -1.0f;
    return window.open(reinterpret_cast<unsigned long>(parent), width, height, this);
}

void EditorProbeEditor::idle() {
    window.pump();
    if (!window.isOpen())
        return;
    const float value = effect.getParameter(wetIndex);
    if (value != shown) {
        drawKnob(value);
        window.present(bytes(), width * 4, knobLeft, knobTop, knobRight - knobLeft,
                       knobBottom - knobTop);
    }
}

bool EditorProbeEditor::onKeyDown(int32_t, int32_t virtualKey, int32_t) {
    if (virtualKey != f2)
        return false;
    effect.mutate();
    return true;
}

void EditorProbeEditor::windowMouseDown(int x, int y, long buttons) {
    if (!(buttons & 2) || x < knobLeft || x >= knobRight || y < knobTop || y >= knobBottom)
        return;
    dragging = true;
    lastY = y;
    effect.beginEditing();
}

void EditorProbeEditor::windowMouseMoved(int, int y, long) {
    if (!dragging)
        return;
    float value = effect.getParameter(wetIndex) - dragPerPixel * float(y - lastY);
    value = value < 0.0f ? 0.0f : (value > 1.0f ? 1.0f : value);
    lastY = y;
    effect.edit(value);
}

void EditorProbeEditor::windowMouseUp(int, int, long) {
    if (dragging)
        effect.endEditing();
    dragging = false;
}

void EditorProbeEditor::drawBackground() {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[std::size_t(y) * width + std::size_t(x)] =
                0xff000000u | uint32_t(x * 255 / width) << 16 | uint32_t(y * 255 / height) << 8 |
                0x60u;
}

void EditorProbeEditor::drawKnob(float value) {
    const int filled = int(value * float(knobBottom - knobTop));
    for (int y = knobTop; y < knobBottom; ++y)
        for (int x = knobLeft; x < knobRight; ++x)
            pixels[std::size_t(y) * width + std::size_t(x)] =
                knobBottom - y <= filled ? 0xffe0e0e0u : 0xff303030u;
    shown = value;
}

} // namespace

extern "C" __attribute__((visibility("default"))) vst::AEffect*
VSTPluginMain(vst::HostCallback host) {
    if (!host || host(nullptr, vst::audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    return (new EditorProbeEffect(host))->getAeffect();
}
