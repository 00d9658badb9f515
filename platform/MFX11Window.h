#pragma once

// The editor's side of its window: what the window reports, called from inside pump().
struct MFWindowEvents {
    virtual ~MFWindowEvents() = default;
    // buttons: the bit set left 2, middle 4, right 8, shift 16, control 32, alt 64,
    // double click 1024.
    virtual void windowMouseDown(int x, int y, long buttons) = 0;
    virtual void windowMouseUp(int x, int y, long buttons) = 0;
    virtual void windowMouseMoved(int x, int y, long buttons) = 0;
    // +1 per notch up.
    virtual void windowWheel(int x, int y, float distance, long buttons) = 0;
    // Virtual keys as the host's: F2 is 41. True when the key was used.
    virtual bool windowKeyDown(int virtualKey, int character, long modifiers) = 0;
    virtual void windowEnterLeave(bool entered) = 0;
    virtual void windowExpose(int x, int y, int w, int h) = 0;
    // The connection was lost or the parent destroyed: the editor must drop the window.
    virtual void windowClosed() = 0;
};

// A child window in the host's parent, on a display connection of its own.
class MFX11Window {
public:
    MFX11Window();
    ~MFX11Window();
    MFX11Window(const MFX11Window&) = delete;
    MFX11Window& operator=(const MFX11Window&) = delete;

    // False on no display or a bad parent, leaving nothing open.
    bool open(unsigned long parentWindowId, int width, int height, MFWindowEvents* events);
    void close();
    bool isOpen() const;
    // Drains the X events and calls the events object; call from the host's idle.
    void pump();
    // Pushes a changed area of the back buffer (argb32 points at the whole buffer).
    void present(const unsigned char* argb32, int stride, int x, int y, int w, int h);
    // 0 default, 2 horizontal resize, 9 hand.
    void setCursor(int cursorId);
    unsigned long windowId() const;
};
