#pragma once

#include "tools/host/PluginHost.h"

#include <cstdint>

struct _XDisplay;

// The editor side of a Linux host around a PluginHost: a top-level window on the host's
// own X connection for the plug-in to open its editor in, and the calls hosts make from
// their GUI thread (get the rectangle, open, idle, keys, close). Every call belongs on
// one thread; audio may run on another through the PluginHost.
class PluginEditorHost {
public:
    explicit PluginEditorHost(PluginHost& host);
    ~PluginEditorHost();
    PluginEditorHost(const PluginEditorHost&) = delete;
    PluginEditorHost& operator=(const PluginEditorHost&) = delete;

    // Opens the host's connection to the X server of DISPLAY; false when there is none.
    bool connect();
    _XDisplay* display() const { return connection; }

    // effEditGetRect: false when the plug-in reports no rectangle.
    bool editorRect(int& width, int& height);

    // A mapped, viewable top-level window at x, y of the given size.
    bool createParent(int x, int y, int width, int height);
    unsigned long parentWindow() const { return parent; }
    void destroyParent();

    // effEditOpen with the parent's id in ptr and the host's Display* in value, as hosts
    // that pass their display do.
    intptr_t openEditor();
    // effEditOpen with any id in ptr and no display: bad ids, hosts without X.
    intptr_t openEditorIn(unsigned long windowId);
    // One idle of the host's GUI loop: effEditIdle, then the host's own events drained.
    void idle();
    // effEditKeyDown: the character in index, the virtual key in value, modifiers in opt.
    intptr_t keyDown(int character, int virtualKey, int modifiers);
    void closeEditor();

    // The editor's window: the first child of the parent, 0 when there is none.
    unsigned long editorWindow();

    // X errors on the hosts' connections and any other error that reached the host's
    // handler unclaimed, in this process since the first connect.
    static int errorCount();

private:
    PluginHost& plugin;
    _XDisplay* connection = nullptr;
    unsigned long parent = 0;
    bool editorOpened = false;
};
