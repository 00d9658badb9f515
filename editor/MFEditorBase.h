#pragma once

#include "vst/AEffGUIEditor.h"

class AudioEffect;

// What every editor of this plug-in shares: the fixed rectangle the host asks for, the
// plug-in it belongs to, and the host calls it has no use for.
class MFEditorBase : public AEffGUIEditor {
public:
    MFEditorBase(AudioEffect& effect, int16_t width, int16_t height);

    bool getRect(vst::ERect** rect) override;
    bool onKeyUp(int32_t, int32_t, int32_t) override { return false; }

    AudioEffect& getEffect() const { return effect; }
    bool isOpen() const { return opened; }
    // Host parameter changes reach the controls through their bound floats, not here.
    virtual void setParameter(int32_t, float) {}
    virtual bool onWheel(float) { return false; }
    virtual void setKnobMode(int32_t mode) { knobMode = mode; }
    int32_t getKnobMode() const { return knobMode; }

protected:
    AudioEffect& effect;
    vst::ERect rect{};
    bool opened = false;
    int32_t knobMode = 0;
};
