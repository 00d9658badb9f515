#pragma once

#include <X11/Xlib.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Input sent through XTest on any connection, in root coordinates.
namespace xtest {
void moveTo(Display* display, int x, int y);
void button(Display* display, unsigned int button, bool press);
void key(Display* display, unsigned long keysym, bool press);
std::vector<uint32_t> capture(Display* display, Window window, int width, int height);
} // namespace xtest

// The test's own side of an X server: its connection, the parents it makes, input sent
// through XTest and pictures read back. The server's pointer is one for all clients, so
// tests that use this run one at a time.
class X11TestServer {
public:
    X11TestServer();
    ~X11TestServer();
    X11TestServer(const X11TestServer&) = delete;
    X11TestServer& operator=(const X11TestServer&) = delete;

    // False when DISPLAY names no server or the server lacks XTest.
    bool ok() const { return display != nullptr; }
    Display* connection() const { return display; }

    // A mapped, viewable top-level window at x, y in root coordinates.
    Window createParent(int x, int y, int width, int height, long eventMask = 0);
    void destroyWindow(Window window);
    // An id the server has never handed out to anyone.
    Window unusedWindowId();

    // X errors on this connection that reached the test's handler.
    int errors() const { return errorCount; }
    // Whether the process's X error handler is the test's own.
    bool ownsErrorHandler();
    void sync() { XSync(display, False); }

    // Input through XTest in root coordinates; every call is flushed at once.
    void moveTo(int x, int y) { xtest::moveTo(display, x, y); }
    void button(unsigned int b, bool press) { xtest::button(display, b, press); }
    void click(int x, int y, unsigned int b = 1) {
        moveTo(x, y);
        button(b, true);
        button(b, false);
    }
    void key(unsigned long keysym, bool press) { xtest::key(display, keysym, press); }
    void tap(unsigned long keysym) {
        key(keysym, true);
        key(keysym, false);
    }

    // A window's pixels as 0x00RRGGBB, row after row; empty when it cannot be read.
    std::vector<uint32_t> capture(Window window, int width, int height) {
        return xtest::capture(display, window, width, height);
    }

    // The next event of the given type on the window, within timeoutMs.
    bool nextEvent(Window window, int type, XEvent& event, int timeoutMs = 1000);

private:
    Display* display = nullptr;
    int errorCount = 0;
    XErrorHandler handlerBefore = nullptr;
    static int onError(Display* display, XErrorEvent* error);
};

// Calls pump every few milliseconds until done() holds or timeoutMs have passed.
bool pumpUntil(const std::function<void()>& pump, const std::function<bool()>& done,
               int timeoutMs = 2000);

// Keeps pumping for a while: events that should not come have had their chance.
void pumpFor(const std::function<void()>& pump, int milliseconds);

// Writes 0x00RRGGBB pixels as an RGB PNG; false when the file cannot be written.
bool writePng(const std::string& path, const std::vector<uint32_t>& pixels, int width, int height);

// What this process holds that a window left open would keep: file descriptors (each X
// connection is a socket) and attached shared-memory segments.
int openFileCount();
int sharedSegmentCount();

// How many distinct colours a picture has: a blank one has one.
std::size_t distinctColours(const std::vector<uint32_t>& pixels);
