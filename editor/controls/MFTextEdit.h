#pragma once

#include "editor/controls/MFControl.h"

#include <string>

// A one-line text field. It shows its text; a press asks for input through
// beginTextInput, which a platform's text editor overrides. Kept as a base: nothing
// in the window uses it yet.
class MFTextEdit : public MFControl {
public:
    static constexpr std::size_t maxLength = 255;

    MFTextEdit(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
               CBitmap* background = nullptr);

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;

    // Keeps at most maxLength bytes and tells the listener.
    void setText(const std::string& text);
    const std::string& getText() const { return text; }

protected:
    // Opens the input; the base has none and reports false.
    virtual bool beginTextInput() { return false; }

    std::string text;
};
