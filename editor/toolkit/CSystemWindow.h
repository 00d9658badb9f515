#pragma once

#include "editor/toolkit/CRect.h"

// The window a frame shows in, as the frame sees it: somewhere to push changed pixels and
// a cursor to set. A frame without one draws into its back buffer only.
class CSystemWindow {
public:
    virtual ~CSystemWindow() = default;
    // argb32 is the whole back buffer (premultiplied, native-endian 32-bit words) with
    // stride bytes per row; area is in device pixels.
    virtual void present(const unsigned char* argb32, int stride, const CRect& area) = 0;
    virtual void setCursor(int kind) = 0;
    // Asks for keyboard focus, at a press.
    virtual void takeFocus() {}
};
