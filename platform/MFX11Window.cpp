// STAND-IN, replaced on merge by the X11 branch's window. Until then no window ever
// opens, so the host's open fails cleanly and the editor runs headless only.
#include "platform/MFX11Window.h"

MFX11Window::MFX11Window() = default;
MFX11Window::~MFX11Window() = default;

bool MFX11Window::open(unsigned long, int, int, MFWindowEvents*) {
    return false;
}
void MFX11Window::close() {}
bool MFX11Window::isOpen() const {
    return false;
}
void MFX11Window::pump() {}
void MFX11Window::present(const unsigned char*, int, int, int, int, int) {}
void MFX11Window::setCursor(int) {}
unsigned long MFX11Window::windowId() const {
    return 0;
}
