#include "editor/MFEditorBase.h"

MFEditorBase::MFEditorBase(AudioEffect& owner, int16_t width, int16_t height) : effect(owner) {
    rect.top = 0;
    rect.left = 0;
    rect.bottom = height;
    rect.right = width;
}

bool MFEditorBase::getRect(vst::ERect** out) {
    if (!out)
        return false;
    *out = &rect;
    return true;
}
