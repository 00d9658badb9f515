#pragma once

#include <memory>

// What the window tells the editor. Every call happens inside MFX11Window::pump(), on the
// thread that pumps. Buttons and modifiers are one bit set: left 2, middle 4, right 8,
// shift 16, control 32, alt 64, double click 1024.
struct MFWindowEvents {
    virtual ~MFWindowEvents() = default;
    // The pressed button, the buttons already held and the modifiers.
    virtual void windowMouseDown(int x, int y, long buttons) = 0;
    // The buttons still held after the release, and the modifiers: a release of the only
    // button held reports no button bits.
    virtual void windowMouseUp(int x, int y, long buttons) = 0;
    // While a button is held the coordinates follow the mouse outside the window too.
    virtual void windowMouseMoved(int x, int y, long buttons) = 0;
    // distance is +1 for one notch up (away from the user), -1 for one notch down.
    virtual void windowWheel(int x, int y, float distance, long buttons) = 0;
    // virtualKey as the host's key codes (F2 is 41, 0 for a plain character); character is
    // the ASCII character or 0; modifiers from the same bit set as the mouse (16, 32, 64).
    // Returns whether the key was used; a key not used is handed on to the parent window.
    virtual bool windowKeyDown(int virtualKey, int character, long modifiers) = 0;
    virtual void windowEnterLeave(bool entered) = 0;
    // An area to paint again from the back buffer (exposures of one burst, joined).
    virtual void windowExpose(int x, int y, int w, int h) = 0;
    // The connection was lost or the parent destroyed. The window has already let go of
    // everything; the editor drops it and must not call pump() expecting events.
    virtual void windowClosed() = 0;
};

// The editor's window on X11: a child of the host's window, on a Display connection of
// its own, pumped only from the host's idle calls. No thread of its own and no
// XInitThreads: everything happens on the thread that calls open, pump and close.
// Several windows in one process (several plug-in instances) each have their own
// connection; Xlib's process-wide error handlers are shared and chained.
class MFX11Window {
public:
    MFX11Window();
    ~MFX11Window();
    MFX11Window(const MFX11Window&) = delete;
    MFX11Window& operator=(const MFX11Window&) = delete;

    // Opens a child window of width x height at the top left of the parent and maps it.
    // Returns false, leaving nothing open, when there is no X server, the parent does not
    // exist or the window cannot be made. An open window is closed first.
    bool open(unsigned long parentWindowId, int width, int height, MFWindowEvents* events);
    void close();
    bool isOpen() const;

    // Drains the connection's queued events and turns them into calls of the events
    // object. Call it from the host's idle. A callback may call close().
    void pump();

    // Pushes an area of a back buffer of the window's size, 32-bit pixels as the
    // processor stores 0xAARRGGBB (cairo's ARGB32), rows stride bytes apart.
    void present(const unsigned char* argb32, int stride, int x, int y, int w, int h);

    // 0 the parent's cursor, 2 horizontal resize, 9 hand; other kinds give 0.
    void setCursor(int cursorId);

    unsigned long windowId() const;

    // Keyboard focus to the window, for a press inside it.
    void takeFocus();

    // Shared-memory pixel transfer is used when the server offers it; false before open
    // forces the plain XPutImage path.
    void allowSharedMemory(bool allowed) { sharedMemoryAllowed = allowed; }
    bool usesSharedMemory() const;

    // Process-wide figures of all windows: X errors on the windows' connections that no
    // check expected (each one a fault), and the connections open now.
    static int unexpectedErrorCount();
    static int openConnectionCount();

private:
    struct Native;

    void dispatch(Native& n, void* event);
    void handleKey(Native& n, void* event);
    void dropAfterLoss();

    std::unique_ptr<Native> native;
    MFWindowEvents* events = nullptr;
    bool sharedMemoryAllowed = true;
};
