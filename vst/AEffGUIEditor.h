#pragma once

#include "vst/VstAbi.h"

// The editor as the host drives it: a fixed-size window opened into a parent
// handle, idled from the host's main thread.
class AEffGUIEditor {
public:
    virtual ~AEffGUIEditor() = default;
    // Writes the editor's rectangle; returns false when there is none.
    virtual bool getRect(vst::ERect** rect) = 0;
    virtual bool open(void* parent) = 0;
    virtual void close() = 0;
    virtual void idle() = 0;
    virtual bool onKeyDown(int32_t character, int32_t virtualKey, int32_t modifiers) = 0;
    virtual bool onKeyUp(int32_t character, int32_t virtualKey, int32_t modifiers) = 0;
};
