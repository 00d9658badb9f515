#include "tools/host/PluginEditorHost.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <chrono>
#include <thread>

using namespace vst;

namespace {

// The host's handler stands first in the process: a plug-in that installs its own passes
// on what is not on its connections, and whatever arrives here counts as a fault.
int hostConnections = 0;
int hostErrors = 0;
XErrorHandler handlerBefore = nullptr;

int onHostXError(Display*, XErrorEvent*) {
    ++hostErrors;
    return 0;
}

} // namespace

PluginEditorHost::PluginEditorHost(PluginHost& host) : plugin(host) {}

PluginEditorHost::~PluginEditorHost() {
    if (editorOpened)
        closeEditor();
    destroyParent();
    if (connection) {
        XCloseDisplay(connection);
        connection = nullptr;
        if (--hostConnections == 0)
            XSetErrorHandler(handlerBefore);
    }
}

int PluginEditorHost::errorCount() {
    return hostErrors;
}

bool PluginEditorHost::connect() {
    if (connection)
        return true;
    connection = XOpenDisplay(nullptr);
    if (!connection)
        return false;
    if (hostConnections++ == 0)
        handlerBefore = XSetErrorHandler(onHostXError);
    return true;
}

bool PluginEditorHost::editorRect(int& width, int& height) {
    ERect* rect = nullptr;
    plugin.dispatch(effEditGetRect, 0, 0, &rect);
    if (!rect)
        return false;
    width = rect->right - rect->left;
    height = rect->bottom - rect->top;
    return width > 0 && height > 0;
}

bool PluginEditorHost::createParent(int x, int y, int width, int height) {
    if (!connection || parent)
        return false;
    const int screen = DefaultScreen(connection);
    parent = XCreateSimpleWindow(connection, RootWindow(connection, screen), x, y, unsigned(width),
                                 unsigned(height), 0, BlackPixel(connection, screen),
                                 BlackPixel(connection, screen));
    XSelectInput(connection, parent, StructureNotifyMask);
    XMapRaised(connection, parent);
    XSync(connection, False);
    // Without a window manager the map is immediate; with one, wait for it.
    for (int attempt = 0; attempt < 200; ++attempt) {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(connection, parent, &attributes) &&
            attributes.map_state == IsViewable)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

void PluginEditorHost::destroyParent() {
    if (!connection || !parent)
        return;
    XDestroyWindow(connection, parent);
    XSync(connection, False);
    parent = 0;
}

intptr_t PluginEditorHost::openEditor() {
    const intptr_t result = plugin.dispatch(effEditOpen, 0, reinterpret_cast<intptr_t>(connection),
                                            reinterpret_cast<void*>(parent));
    editorOpened = editorOpened || result != 0;
    return result;
}

intptr_t PluginEditorHost::openEditorIn(unsigned long windowId) {
    const intptr_t result = plugin.dispatch(effEditOpen, 0, 0, reinterpret_cast<void*>(windowId));
    editorOpened = editorOpened || result != 0;
    return result;
}

void PluginEditorHost::idle() {
    plugin.dispatch(effEditIdle);
    if (!connection)
        return;
    while (XPending(connection) > 0) {
        XEvent event;
        XNextEvent(connection, &event);
    }
}

intptr_t PluginEditorHost::keyDown(int character, int virtualKey, int modifiers) {
    return plugin.dispatch(effEditKeyDown, character, virtualKey, nullptr, float(modifiers));
}

void PluginEditorHost::closeEditor() {
    plugin.dispatch(effEditClose);
    editorOpened = false;
    if (connection)
        XSync(connection, False);
}

unsigned long PluginEditorHost::editorWindow() {
    if (!connection || !parent)
        return 0;
    Window root = 0;
    Window up = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(connection, parent, &root, &up, &children, &count))
        return 0;
    const unsigned long child = count > 0 ? children[0] : 0;
    if (children)
        XFree(children);
    return child;
}
